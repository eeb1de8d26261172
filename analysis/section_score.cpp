// Centroid, reach, score and threshold of the sectional analysis, in double
// precision from the outline's float points.
#include "analysis/section_score.h"

#include <algorithm>
#include <cmath>

namespace vekmesh {

std::array<double, 3> sectionCentroid(const std::vector<OutlineGroup>& groups) {
  std::array<double, 3> sum = {0.0, 0.0, 0.0};
  size_t count = 0;
  for (const OutlineGroup& group : groups)
    for (const SectionPolygon& polygon : group) {
      if (polygon.empty()) continue;
      const std::array<double, 3> c = polygonCentroid(polygon);
      for (int k = 0; k < 3; ++k) sum[k] += c[k];
      ++count;
    }
  if (count == 0) return sum;
  for (double& s : sum) s /= double(count);
  return sum;
}

double sectionReach(const std::vector<OutlineGroup>& groups, const std::array<double, 3>& c,
                    double theta) {
  const double cs = std::cos(theta), sn = std::sin(theta);
  double largest = -INFINITY;
  for (const OutlineGroup& group : groups)
    for (const SectionPolygon& polygon : group)
      for (const auto& p : polygon) largest = std::max(largest, cs * p[1] - sn * p[0]);
  return largest - (cs * c[1] - sn * c[0]);
}

float sectionScore(const std::vector<OutlineGroup>& groups, bool axes_only) {
  const std::array<double, 3> centroid = sectionCentroid(groups);
  std::array<double, kScoreAngles> reach, cs, sn;
  for (int k = 0; k < kScoreAngles; ++k) {
    const double theta = double(k + 1) * kScoreAngleStep;
    cs[k] = std::cos(theta);
    sn[k] = std::sin(theta);
    reach[k] = sectionReach(groups, centroid, theta);
    if (reach[k] < kShortReach) reach[k] *= kShortReachFactor;
  }
  double score = 0.0;
  for (const OutlineGroup& group : groups)
    for (const SectionPolygon& polygon : group) {
      const size_t n = polygon.size();
      for (size_t i = 0; i < n; ++i) {
        const auto& p = polygon[i];
        const auto& prev = polygon[i == 0 ? n - 1 : i - 1];
        const auto& next = polygon[i + 1 == n ? 0 : i + 1];
        const auto edge = [](const std::array<float, 3>& a, const std::array<float, 3>& b) {
          const double x = double(a[0]) - b[0], y = double(a[1]) - b[1], z = double(a[2]) - b[2];
          return std::sqrt(x * x + y * y + z * z);
        };
        const double weight = 0.5 * (edge(prev, p) + edge(p, next));
        const double dx = p[0] - centroid[0], dy = p[1] - centroid[1], dz = p[2] - centroid[2];
        // The terms of all angles side by side (this loop vectorises), then
        // summed in angle order; an angle that does not count adds 0.
        double terms[kScoreAngles];
        for (int k = 0; k < kScoreAngles; ++k) {
          const double c = cs[k], s = sn[k];
          const double w = -dx * s + dy * c;
          const double along = dx * c + dy * s;
          const double a = (1.0 - c * c) * along - s * c * w;
          const double b = (1.0 - s * s) * w - s * c * along;
          const double dist = std::sqrt(a * a + b * b + dz * dz);
          // A point on the axis has q = infinity: 1 / q adds nothing.
          const double q = reach[k] * kReachMultiple / dist;
          const bool counts = reach[k] > 0.0 && (q < kCountedQ || axes_only);
          terms[k] = counts ? 1.0 / q : 0.0;
        }
        double sum = 0.0;
        for (int k = 0; k < kScoreAngles; ++k) sum += terms[k];
        score += sum * weight;
      }
    }
  return static_cast<float>(score);
}

float weakThreshold(const std::vector<float>& scores, bool axes_only) {
  if (!axes_only) return kWeakThreshold;
  if (scores.empty()) return INFINITY;
  std::vector<float> ascending = scores;
  std::sort(ascending.begin(), ascending.end(),
            [](float a, float b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
  const size_t k = std::max<size_t>(1, scores.size() / 10);
  return ascending[ascending.size() - k];
}

}  // namespace vekmesh
