// The sectional analysis driver: per direction, turn the vertices (from a
// saved copy), cut, score, select, turn the weak outlines back and record
// them; the saved coordinates are restored however the run ends.
#include "analysis/sectional_analysis.h"

#include <cmath>
#include <string>
#include <vector>

#include "analysis/section_cutting.h"
#include "analysis/section_score.h"
#include "mesh/operation_log.h"

namespace vekmesh {
namespace {

using Matrix = std::array<std::array<double, 3>, 3>;

// Puts the vertices' positions back when the analysis ends, by any path.
class SavedPositions {
 public:
  explicit SavedPositions(SubMesh& mesh) : mesh_(mesh) {
    saved_.reserve(mesh.vertices.size());
    for (const Vertex& v : mesh.vertices) saved_.push_back(v.position);
  }
  ~SavedPositions() {
    for (size_t i = 0; i < saved_.size() && i < mesh_.vertices.size(); ++i)
      mesh_.vertices[i].position = saved_[i];
  }
  SavedPositions(const SavedPositions&) = delete;
  SavedPositions& operator=(const SavedPositions&) = delete;

  void turn(const Matrix& r) {
    for (size_t i = 0; i < saved_.size(); ++i) mesh_.vertices[i].position = apply(r, saved_[i]);
  }

  static std::array<float, 3> apply(const Matrix& r, const std::array<float, 3>& p) {
    std::array<float, 3> out;
    for (int k = 0; k < 3; ++k)
      out[k] = static_cast<float>(r[k][0] * p[0] + r[k][1] * p[1] + r[k][2] * p[2]);
    return out;
  }

 private:
  SubMesh& mesh_;
  std::vector<std::array<float, 3>> saved_;
};

// Rodrigues' rotation by `angle` radians about the unit axis u.
Matrix rotation(const std::array<double, 3>& u, double angle) {
  const double c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
  const double x = u[0], y = u[1], z = u[2];
  return {{{t * x * x + c, t * x * y - s * z, t * x * z + s * y},
           {t * x * y + s * z, t * y * y + c, t * y * z - s * x},
           {t * x * z - s * y, t * y * z + s * x, t * z * z + c}}};
}

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
      for (const auto& p : polygon) turned.push_back(SavedPositions::apply(back, p));
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
  return rotation(axis, across > 0.0 ? angle : 0.0);
}

int sectionalAnalysis(SubMesh& mesh, float change_ratio, uint8_t axes_only, const RunContext& run) {
  const int32_t start_ms = logClock();
  run.log(startLine("sectional analysis"));
  const bool axes = axes_only != 0;
  const size_t directions = axes ? kAxisDirections : kSectionDirections.size();
  size_t weak = 0;
  {
    SavedPositions positions(mesh);
    for (size_t i = 0; i < directions; ++i) {
      const std::array<double, 3>& d = kSectionDirections[i];
      positions.turn(directionRotation(d, false));
      std::vector<Section> sections = cutSections(mesh, change_ratio, 0.0);
      std::vector<float> scores;
      scores.reserve(sections.size());
      for (const Section& s : sections) scores.push_back(sectionScore(s.groups, axes));
      const float threshold = weakThreshold(scores, axes);
      const Matrix back = directionRotation(d, true);
      for (size_t k = 0; k < sections.size(); ++k)
        if (isWeak(scores[k], threshold)) {
          mesh.analysisRecords.push_back(weakRecord(sections[k], scores[k], d, back));
          ++weak;
        }
      run.report(double(i + 1) / double(directions));
    }
  }
  run.log("\nsection num : " + std::to_string(weak));
  run.log(successLine("section analysis", elapsedSeconds(start_ms, logClock())));
  return 0;
}

}  // namespace vekmesh
