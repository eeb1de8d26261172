// Andrew's monotone chain: the points sorted by x then y, a lower chain from
// left to right and an upper chain back, each popping every corner that does
// not turn strictly left. Many points first go without sorting when they lie
// strictly inside the polygon of the extreme points in eight directions
// (Akl and Toussaint): the sort is the cost, and most points of a projected
// solid are inside.
#include "geometry/convex_hull_2d.h"

#include <algorithm>
#include <cmath>

#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace {

// Below this many points the filter costs more than the sort saves.
constexpr size_t kFilterMinimum = 256;

std::vector<int32_t> monotoneChain(const std::vector<Point2d>& points, std::vector<int32_t> order);

// Drops the entries of `order` strictly inside the hull of the points that
// are extreme along x, y, x + y and x - y. Those can be neither corners nor
// on an edge of the whole hull; the extremes only choose the polygon, the
// exact predicate decides who is inside.
void dropInteriorPoints(const std::vector<Point2d>& points, std::vector<int32_t>& order) {
  int32_t extreme[8];
  double best[8];
  for (int k = 0; k < 8; ++k) extreme[k] = order[0], best[k] = -INFINITY;
  for (const int32_t i : order) {
    const double x = points[size_t(i)][0], y = points[size_t(i)][1];
    const double value[8] = {x, -x, y, -y, x + y, -x - y, x - y, y - x};
    for (int k = 0; k < 8; ++k)
      if (value[k] > best[k]) best[k] = value[k], extreme[k] = i;
  }
  const std::vector<int32_t> polygon =
      monotoneChain(points, std::vector<int32_t>(extreme, extreme + 8));
  if (polygon.size() < 3) return;
  const size_t m = polygon.size();
  const auto inside = [&](int32_t q) {
    for (size_t e = 0; e < m; ++e)
      if (exact::orient2d(points[size_t(polygon[e])].data(),
                          points[size_t(polygon[(e + 1) % m])].data(),
                          points[size_t(q)].data()) <= 0)
        return false;
    return true;
  };
  order.erase(std::remove_if(order.begin(), order.end(), inside), order.end());
}

std::vector<int32_t> monotoneChain(const std::vector<Point2d>& points, std::vector<int32_t> order) {
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

}  // namespace

std::vector<int32_t> convexHull2d(const std::vector<Point2d>& points) {
  std::vector<int32_t> order;
  order.reserve(points.size());
  for (size_t i = 0; i < points.size(); ++i)
    if (std::isfinite(points[i][0]) && std::isfinite(points[i][1]))
      order.push_back(static_cast<int32_t>(i));
  if (order.size() >= kFilterMinimum) dropInteriorPoints(points, order);
  return monotoneChain(points, std::move(order));
}

}  // namespace vekmesh
