// Triangulation of a simple polygon with interior points in integer
// coordinates: ear clipping, Lawson edge flips to the constrained Delaunay
// triangulation, then incremental insertion of interior points with flips.
// Predicates are exact (64-bit orientation, 128-bit in-circle).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {

struct IntPoint2 {
  int64_t x;
  int64_t y;
};

// Coordinates must lie within +-2^29 so that the predicates cannot overflow.
constexpr int64_t kPlanarCoordinateLimit = int64_t(1) << 29;

// Triangulates the counter-clockwise simple polygon points[0..rim_count) and
// inserts points[rim_count..) that lie strictly inside it; interior points on
// an existing vertex or on the rim are skipped. The polygon edges are kept;
// every other edge ends locally Delaunay. Triangles are counter-clockwise, as
// index triples into `points`. Returns false (and no triangles) when the
// polygon is not simple enough to triangulate: no ear can be found, or the
// triangles do not tile the polygon's area exactly.
bool triangulatePolygon(const std::vector<IntPoint2>& points, size_t rim_count,
                        std::vector<std::array<int32_t, 3>>& triangles);

// Twice the signed area of triangle a, b, c (positive when counter-clockwise).
int64_t orient2d(const IntPoint2& a, const IntPoint2& b, const IntPoint2& c);

}  // namespace vekmesh
