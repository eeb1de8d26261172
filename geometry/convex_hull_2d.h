// The convex hull of points in the plane by Andrew's monotone chain, with the
// exact orientation predicate deciding every turn.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace vekmesh {

using Point2d = std::array<double, 2>;

// Indices of the hull's corners, counter-clockwise, starting at the point of
// least x (least y among those). Points on a hull edge, repeated points and
// points that are not finite are left out; all points on one line give the
// two ends, one distinct point gives that point, no finite point nothing.
std::vector<int32_t> convexHull2d(const std::vector<Point2d>& points);

}  // namespace vekmesh
