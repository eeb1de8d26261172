// The sectional analysis driver: per direction, turn a copy of the vertices,
// cut, score, select, turn the weak outlines back and record them.
#include "analysis/sectional_analysis.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
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

// Faces shared by the directions in a batch: each turns its own copy of the
// vertices, and at least this many faces make the copies worth it.
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
  // Directions run side by side in batches, one per thread, each on its own
  // turned copy (the mesh itself is never moved); the records and the
  // progress of a batch follow in direction order.
  const size_t batch = mesh.faces.size() >= kParallelDirectionsMinimum
                           ? std::min<size_t>(directions, size_t(std::max(1, loopParts(INT64_MAX))))
                           : 1;
  std::vector<SubMesh> copies(batch);
  for (SubMesh& copy : copies) copy.faces = mesh.faces, copy.vertices = mesh.vertices;
  std::vector<std::vector<AnalysisRecord>> found(batch);
  size_t weak = 0;
  for (size_t first = 0; first < directions; first += batch) {
    const int64_t count = int64_t(std::min(batch, directions - first));
    std::exception_ptr failure;
#pragma omp parallel for schedule(static, 1) num_threads(int(batch)) if (count > 1)
    for (int64_t t = 0; t < count; ++t) {
      try {
        const std::array<double, 3>& d = kSectionDirections[first + size_t(t)];
        SubMesh& copy = copies[size_t(t)];
        const Matrix r = directionRotation(d, false);
        for (size_t v = 0; v < mesh.vertices.size(); ++v)
          copy.vertices[v].position = turned(r, mesh.vertices[v].position);
        std::vector<Section> sections = cutSections(copy, change_ratio, 0.0);
        std::vector<float> scores;
        scores.reserve(sections.size());
        for (const Section& s : sections) scores.push_back(sectionScore(s.groups, axes));
        const float threshold = weakThreshold(scores, axes);
        const Matrix back = directionRotation(d, true);
        found[size_t(t)].clear();
        for (size_t k = 0; k < sections.size(); ++k)
          if (isWeak(scores[k], threshold))
            found[size_t(t)].push_back(weakRecord(sections[k], scores[k], d, back));
      } catch (...) {
#pragma omp critical(sectional_analysis_failure)
        failure = std::current_exception();
      }
    }
    if (failure) std::rethrow_exception(failure);
    for (int64_t t = 0; t < count; ++t) {
      weak += found[size_t(t)].size();
      for (AnalysisRecord& record : found[size_t(t)])
        mesh.analysisRecords.push_back(std::move(record));
      run.report(double(first + size_t(t) + 1) / double(directions));
    }
  }
  run.log("\nsection num : " + std::to_string(weak));
  run.log(successLine("section analysis", elapsedSeconds(start_ms, logClock())));
  return 0;
}

}  // namespace vekmesh
