// The patch that closes one boundary loop. The loop is projected onto the
// plane of its Newell normal; where ClipperLib finds the projection simple,
// the patch is a constrained Delaunay triangulation of the projected loop and
// of lattice points kept half a rim edge inside it (a ClipperLib offset),
// lifted back to 3-D by a least-squares quadric and mean value interpolation of
// the rim. Other loops get a minimum-weight triangulation, or a fan when long.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mesh/mesh_utils.h"

namespace vekmesh {

struct HolePatch {
  enum class Method { kSingleTriangle, kPlanar, kMinimumWeight, kFan };
  Method method = Method::kSingleTriangle;
  // New vertices inside the patch.
  std::vector<std::array<float, 3>> points;
  // Triangles over patch indices: i < rim size names rim vertex i, and
  // rim size + j names points[j]. Wound along the rim order.
  std::vector<std::array<int32_t, 3>> triangles;
};

// Aspect ratio of a triangle: longest edge over shortest altitude, scaled so
// that an equilateral triangle has 1 (a right isosceles one has about 1.73).
// Infinite for a degenerate triangle.
double triangleAspectRatio(const Vec3d& a, const Vec3d& b, const Vec3d& c);

// Patch triangles of the projected method are meant to stay at or below this
// aspect ratio wherever the rim allows it: the lattice step is the mean rim
// edge, interior points keep half a step from the rim and the triangulation is
// Delaunay. A rim can force worse (three nearly collinear rim vertices with
// nothing between them); edges of the rim are never split, since that would
// leave T-junctions with the faces already there.
constexpr double kPatchAspectRatioBound = 5.0;

// `rim`: the loop's points in patch order, that is against the direction in
// which the faces along the hole run their edges, so that patch triangles
// wound along the rim match those faces. `apex[i]`: the third corner of the
// face along rim edge (i, i + 1), the last one along (n - 1, 0). Loops of
// fewer than 3 points give an empty patch.
// How many new points a patch may bring. The lattice spacing is the mean rim
// edge, so a round hole would get about n^2 / 11 points for n rim vertices;
// a budget per rim vertex keeps the patch proportional to its rim instead
// (the spacing grows), which a long open border wants. 0: up to 250000.
struct PatchLimits {
  double interior_points_per_rim_vertex = 0.0;
  // Leave a hole open rather than give an edge of the mesh a third face (a
  // patch chord between rim vertices that faces already join).
  bool keep_edges_manifold = false;
};

HolePatch buildHolePatch(const std::vector<Vec3d>& rim, const std::vector<Vec3d>& apex,
                         const PatchLimits& limits = {});

}  // namespace vekmesh
