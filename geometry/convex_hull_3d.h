// The 3-D convex hull of a point set by the quickhull method (Barber, Dobkin
// and Huhdanpaa, "The quickhull algorithm for convex hulls", 1996): hull
// vertices and outward triangles.
//
// Every decision that shapes the hull (which side of a face a point lies on,
// whether points are collinear or coplanar) is taken by the exact orientation
// predicate, so the result is convex for any finite input, at any scale,
// without a tolerance: every input point lies on or below the plane of every
// hull triangle. A point strictly outside the hull of the others is always a
// hull vertex; a point on a face or edge of the hull of the others is not.
// Coplanar neighbouring triangles are kept as they are (a flat side of a box
// comes out as triangles, not one merged facet).
//
// Degenerate sets get a defined answer instead of a failure:
//   - points that are not finite are ignored, and repeated points count once;
//   - no point: empty; one distinct point or all points on one line: the
//     extreme points as vertices (one or two) and no triangle;
//   - all points on one plane: a two-sided hull, the planar convex polygon
//     (no collinear points) fanned into triangles facing one way from its
//     first corner and facing the other way from its second, so each side of
//     a flat plate is a face of its own and the hull is still closed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "geometry/vectors.h"

namespace vekmesh {
namespace quickhull {

struct Hull {
  std::vector<Vec3d> vertices;  // hull vertices
  std::vector<int32_t> source;  // index of each vertex in the input
  std::vector<std::array<int32_t, 3>>
      triangles;        // into `vertices`, counter-clockwise seen from outside
  bool planar = false;  // the two-sided hull of coplanar points
};

// `poll`, when given, is called on the calling thread every kPollEvery points
// added to the hull, so that a caller can give up a long build by throwing
// from it (the exception leaves computeHull; nothing is held).
constexpr size_t kPollEvery = 4096;
Hull computeHull(const std::vector<Vec3d>& points, const std::function<void()>& poll = {});

}  // namespace quickhull
}  // namespace vekmesh
