// The scene primitives as closed, outward triangle meshes at a fixed
// resolution, centred on the origin with their axis along y (as scenes
// define them): box, UV sphere (24 segments around, 12 from pole to pole),
// cylinder and cone (32 segments around, flat caps).
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace vekmesh {

struct PrimitiveMesh {
  std::vector<std::array<double, 3>> points;
  std::vector<std::array<uint32_t, 3>> triangles;  // counter-clockwise from outside
};

PrimitiveMesh boxPrimitive(double sx, double sy, double sz);
PrimitiveMesh spherePrimitive(double radius);
// Parts left out (a cylinder without its caps) leave the mesh open there.
PrimitiveMesh cylinderPrimitive(double radius, double height, bool side, bool top, bool bottom);
PrimitiveMesh conePrimitive(double bottom_radius, double height, bool side, bool bottom);

}  // namespace vekmesh
