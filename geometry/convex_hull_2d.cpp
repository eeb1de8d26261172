// Andrew's monotone chain: the points sorted by x then y, a lower chain from
// left to right and an upper chain back, each popping every corner that does
// not turn strictly left.
#include "geometry/convex_hull_2d.h"

#include <algorithm>
#include <cmath>

#include "geometry/exact_predicates.h"

namespace vekmesh {

std::vector<int32_t> convexHull2d(const std::vector<Point2d>& points) {
  std::vector<int32_t> order;
  order.reserve(points.size());
  for (size_t i = 0; i < points.size(); ++i)
    if (std::isfinite(points[i][0]) && std::isfinite(points[i][1]))
      order.push_back(static_cast<int32_t>(i));
  std::sort(order.begin(), order.end(),
            [&](int32_t a, int32_t b) { return points[size_t(a)] < points[size_t(b)]; });
  order.erase(
      std::unique(order.begin(), order.end(),
                  [&](int32_t a, int32_t b) { return points[size_t(a)] == points[size_t(b)]; }),
      order.end());
  if (order.size() < 3) return order;

  const auto turnsLeft = [&](int32_t a, int32_t b, int32_t c) {
    return exact::orient2d(points[size_t(a)].data(), points[size_t(b)].data(),
                           points[size_t(c)].data()) > 0;
  };
  std::vector<int32_t> hull;
  hull.reserve(order.size() + 1);
  for (const int32_t p : order) {
    while (hull.size() >= 2 && !turnsLeft(hull[hull.size() - 2], hull.back(), p)) hull.pop_back();
    hull.push_back(p);
  }
  const size_t lower = hull.size();
  for (size_t i = order.size() - 1; i-- > 0;) {
    const int32_t p = order[i];
    while (hull.size() > lower && !turnsLeft(hull[hull.size() - 2], hull.back(), p))
      hull.pop_back();
    hull.push_back(p);
  }
  hull.pop_back();  // the first point again
  return hull;      // points on one line leave the two ends
}

}  // namespace vekmesh
