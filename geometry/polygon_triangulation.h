// Polygon triangulation, one interface for three methods:
//  - ear clipping of a 3-D polygon in the plane of its Newell normal (the
//    polygon faces of the file readers), with a fan for hostile sizes;
//  - constrained Delaunay triangulation of a simple integer polygon with
//    interior points (hole patches): ear clipping, Lawson flips, insertion;
//  - minimum-weight triangulation of a closed 3-D loop by dynamic programming
//    (Barequet and Sharir 1995) with the weight of Liepa 2003.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "geometry/vectors.h"

namespace vekmesh {

// ---- ear clipping of file polygons -------------------------------------------

// Polygons with more corners than this are fanned from their first corner:
// ear clipping costs up to the cube of the corner count, and a hostile file
// must not turn a few bytes into seconds of work.
constexpr size_t kMaxEarClipCorners = 64;

// Appends to `triangles` triples of indices into `points` that cover the
// polygon, wound as the polygon is: n - 2 triangles for n >= 3 corners,
// nothing for fewer. The caller removes repeated consecutive points first.
void triangulateFace(const std::vector<std::array<float, 3>>& points,
                     std::vector<std::array<uint32_t, 3>>& triangles);

// ---- constrained Delaunay triangulation in integer coordinates ---------------

// Coordinates must lie within +-2^29 so that the predicates cannot overflow.
constexpr int64_t kPlanarCoordinateLimit = int64_t(1) << 29;

// Triangulates the counter-clockwise simple polygon points[0..rim_count) and
// inserts points[rim_count..) that lie strictly inside it; interior points on
// an existing vertex or on the rim are skipped. The polygon edges are kept;
// every other edge ends locally Delaunay. Triangles are counter-clockwise, as
// index triples into `points`. Returns false (and no triangles) when the
// polygon is not simple enough to triangulate: no ear can be found, or the
// triangles do not tile the polygon's area exactly. Predicates are exact
// (64-bit orientation, 128-bit in-circle).
bool triangulatePolygon(const std::vector<IntPoint2>& points, size_t rim_count,
                        std::vector<std::array<int32_t, 3>>& triangles);

// Twice the signed area of triangle a, b, c (positive when counter-clockwise).
int64_t orient2d(const IntPoint2& a, const IntPoint2& b, const IntPoint2& c);

// ---- minimum-weight triangulation of a 3-D loop ------------------------------

// Loops longer than this are not triangulated this way: the cost is cubic.
constexpr size_t kMinimumWeightLoopLimit = 200;

// `points`: the polygon in patch order. `rim_normals[i]`: unit normal of the
// existing face across edge (i, i + 1) (the last one across (n - 1, 0)), or
// zero when there is none. Writes triangles (i, m, k) with i < m < k, wound
// along the polygon; the weight compares the largest dihedral angle between
// neighbouring triangles (rim faces included) first, then the total area.
// False for fewer than 3 or more than kMinimumWeightLoopLimit points.
bool triangulateLoopMinimumWeight(const std::vector<Vec3d>& points,
                                  const std::vector<Vec3d>& rim_normals,
                                  std::vector<std::array<int32_t, 3>>& triangles);

}  // namespace vekmesh
