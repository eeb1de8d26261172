// The sectional analysis driver: per direction, turn a copy of the vertices,
// cut, score, select, turn the weak outlines back and record them.
#include "analysis/sectional_analysis.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "analysis/section_cutting.h"
#include "analysis/section_score.h"
#include "geometry/rotation.h"
#include "mesh/operation_log.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

using Matrix = Rotation;

// Directions run side by side on at least this many faces: each thread turns
// its own copy of the vertices, which only then is worth it.
constexpr size_t kParallelDirectionsMinimum = 2000;

AnalysisRecord weakRecord(const Section& section, float score, const std::array<double, 3>& d,
                          const Matrix& back) {
  AnalysisRecord record;
  record.score = score;
  record.direction = d;
  record.outlineGroups.reserve(section.groups.size());
  for (const OutlineGroup& group : section.groups) {
    std::vector<AnalysisRecord::Polygon> polygons;
    polygons.reserve(group.size());
    for (const SectionPolygon& polygon : group) {
      AnalysisRecord::Polygon turned;
      turned.reserve(polygon.size());
      for (const auto& p : polygon) turned.push_back(vekmesh::turned(back, p));
      polygons.push_back(std::move(turned));
    }
    record.outlineGroups.push_back(std::move(polygons));
  }
  return record;
}

}  // namespace

Matrix directionRotation(const std::array<double, 3>& d, bool inverse) {
  const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
  const double tilt = std::acos(d[2] / length) * kDegreesPerRadian;
  const double across = std::hypot(d[0], d[1]);
  // Along z there is no horizontal axis to turn about, and nothing to turn.
  const std::array<double, 3> axis = across > 0.0
                                         ? std::array<double, 3>{d[1] / across, -d[0] / across, 0.0}
                                         : std::array<double, 3>{1.0, 0.0, 0.0};
  const double angle = inverse ? tilt * -1.0 * kRadiansPerDegree : tilt * kRadiansPerDegree;
  return rotationAbout(axis, across > 0.0 ? angle : 0.0);
}

int sectionalAnalysis(SubMesh& mesh, float change_ratio, uint8_t axes_only, const RunContext& run) {
  const int32_t start_ms = logClock();
  run.log(startLine("sectional analysis"));
  const bool axes = axes_only != 0;
  const size_t directions = axes ? kAxisDirections : kSectionDirections.size();
  // Directions run side by side, each thread taking the next direction left
  // and turning its own copy (the mesh itself is never moved). Directions
  // differ in cost, so no thread waits for a partner between them. The
  // records and the progress follow in direction order: the calling thread
  // reports each direction once it and all before it are done.
  const size_t team = mesh.faces.size() >= kParallelDirectionsMinimum
                          ? std::min<size_t>(directions, size_t(std::max(1, loopParts(INT64_MAX))))
                          : 1;
  std::vector<SubMesh> copies(team);
  for (SubMesh& copy : copies) copy.faces = mesh.faces, copy.vertices = mesh.vertices;
  std::vector<std::vector<AnalysisRecord>> found(directions);
  std::unique_ptr<std::atomic<bool>[]> done(new std::atomic<bool>[directions]);
  for (size_t k = 0; k < directions; ++k) done[k] = false;
  std::atomic<size_t> next{0};
  std::atomic<bool> failed{false};
  std::exception_ptr failure;
  size_t reported = 0;
  const auto reportFinished = [&] {
    while (reported < directions && done[reported].load(std::memory_order_acquire))
      run.report(double(++reported) / double(directions));
  };
  // Nothing may leave the parallel region: a failure (a cancel check's throw
  // from a report included) is kept and ends every thread's loop.
  const auto keepFailure = [&] {
#pragma omp critical(sectional_analysis_failure)
    failure = std::current_exception();
    failed = true;
  };
#pragma omp parallel num_threads(int(team)) if (team > 1)
  {
    SubMesh& copy = copies[size_t(threadIndex())];
    for (size_t k; !failed && (k = next++) < directions;) {
      try {
        const std::array<double, 3>& d = kSectionDirections[k];
        const Matrix r = directionRotation(d, false);
        for (size_t v = 0; v < mesh.vertices.size(); ++v)
          copy.vertices[v].position = turned(r, mesh.vertices[v].position);
        std::vector<Section> sections = cutSections(copy, change_ratio, 0.0);
        std::vector<float> scores;
        scores.reserve(sections.size());
        for (const Section& s : sections) scores.push_back(sectionScore(s.groups, axes));
        const float threshold = weakThreshold(scores, axes);
        const Matrix back = directionRotation(d, true);
        for (size_t i = 0; i < sections.size(); ++i)
          if (isWeak(scores[i], threshold))
            found[k].push_back(weakRecord(sections[i], scores[i], d, back));
      } catch (...) {
        keepFailure();
      }
      done[k].store(true, std::memory_order_release);
      if (threadIndex() == 0) {
        try {
          reportFinished();
        } catch (...) {
          keepFailure();
        }
      }
    }
  }
  if (failure) std::rethrow_exception(failure);
  reportFinished();
  size_t weak = 0;
  for (std::vector<AnalysisRecord>& records : found) {
    weak += records.size();
    for (AnalysisRecord& record : records) mesh.analysisRecords.push_back(std::move(record));
  }
  run.log("\nsection num : " + std::to_string(weak));
  run.log(successLine("section analysis", elapsedSeconds(start_ms, logClock())));
  return 0;
}

}  // namespace vekmesh
