// Triangulation of the polygon faces of the OBJ reader: ear clipping in the
// plane that fits the polygon best (Newell's normal), with a fan as the
// fallback for flat-less or very large polygons.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {

// Polygons with more corners than this are fanned from their first corner:
// ear clipping costs up to the cube of the corner count, and a hostile file
// must not turn a few bytes into seconds of work.
constexpr size_t kMaxEarClipCorners = 64;

// Appends to `triangles` triples of indices into `points` that cover the
// polygon, wound as the polygon is: n - 2 triangles for n >= 3 corners,
// nothing for fewer. The caller removes repeated consecutive points first.
void triangulateFace(const std::vector<std::array<float, 3>>& points,
                        std::vector<std::array<uint32_t, 3>>& triangles);

}  // namespace vekmesh
