// Flaw detection: the yes/no printability test (closed, two-manifold,
// consistently wound, even face counts, turned outwards) and the counting
// post-detection run after repair and reduction.
#pragma once

#include <array>
#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// mode 0: strict; 1: winding and outward orientation are not judged;
// 2: lenient on parity and on edges shared by an even number of other faces.
// True when the mesh is flawed. Needs current incidentCorners.
bool detectFlaws(const SubMesh& mesh, uint32_t mode);

// Sets the four counters to 0, rebuilds the shells, counts flaws and turns
// inside-out shells outwards. True when any counter ends above 0.
bool postDetection(SubMesh& mesh, std::array<int32_t, 4>& counters);

}  // namespace vekmesh
