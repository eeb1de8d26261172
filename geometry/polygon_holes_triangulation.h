// Triangulation of a polygon with holes by ear clipping, for the flat caps of
// the plane cut: holes are bridged into the outer ring (Eberly, "Triangulation
// by ear clipping", 2002; among repeated points the bridge takes the one whose
// sector holds it, as earcut does), then ears are cut with exact orientation
// tests on the double coordinates.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace vekmesh {

using PlanePoint = std::array<double, 2>;

// Appends to `triangles` counter-clockwise index triples into `points` that
// cover the outer ring rings[0] (counter-clockwise) less its holes rings[1..]
// (clockwise). Consecutive repeats of one index are skipped; rings left with
// fewer than three indices are ignored. One index may appear in several rings
// (outlines that touch at a vertex).
//
// Whatever the input, no triangle repeats an index, and together the
// triangles use every edge of the rings once in its own direction and every
// other edge once each way, as a triangulated disc with holes does: a mesh
// whose open border runs along these rings is closed by them. The one
// exception is a hole with no edge of the outline to its right (it lies
// outside), which is left out.
//
// Returns true when every triangle was a true ear; false when crossing or
// overlapping rings left no ear and triangles had to be forced (they may then
// overlap), or a hole was left out.
bool triangulatePolygonWithHoles(const std::vector<PlanePoint>& points,
                                 const std::vector<std::vector<uint32_t>>& rings,
                                 std::vector<std::array<uint32_t, 3>>& triangles);

}  // namespace vekmesh
