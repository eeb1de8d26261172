// Flaw detection: the yes/no printability test (closed, two-manifold,
// consistently wound, even face counts, turned outwards) by a breadth-first
// walk of each shell over incidentCorners, and the counting post-detection run
// after repair and reduction. Log names: "flaw detection", "post detection".
#pragma once

#include <array>
#include <cstdint>

#include "mesh/corner_adjacency.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// True when the mesh is flawed; stops at the first flaw. Needs current
// incidentCorners.
//   mode 0: strict. An odd face count (whole mesh or one shell), an open edge,
//           an edge whose single neighbour runs the same way, an edge with an
//           even, non-zero number of other faces, or a shell whose top faces
//           point down is a flaw.
//   mode 1: as 0, but a same-direction neighbour is not by itself a flaw and
//           the outward orientation is not tested.
//   mode 2: lenient: odd face counts pass and so do edges with an even number
//           of other faces; open edges still fail; orientation not tested.
// Other modes behave like 1. An edge shared by four faces (three others) passes
// in every mode: two closed solids glued along an edge are printable. An empty
// mesh is not flawed. Logs "flaw detection" (mode, faces, answer) through `run`.
bool detectFlaws(const SubMesh& mesh, uint32_t mode, const RunContext& run = {});

// Post-detection. Sets the four counters to 0, rebuilds the shells, then counts
// per shell:
//   counters[0]  faces whose three vertex indices are not all different;
//   counters[1]  open edges (used by one live face);
//   counters[2]  non-manifold edges (used by three or more live faces), each
//                counted once;
//   counters[3]  faces turned over: a shell whose top faces point down
//                (the inside-out test of detectFlaws) has all its faces turned
//                over, colours and texture references with them, and counted.
// True when any counter ends above 0. Needs current incidentCorners and keeps
// them current. Logs "post detection" with the four counters through `run`.
bool postDetection(SubMesh& mesh, std::array<int32_t, 4>& counters, const RunContext& run = {});

// The flaw test in modes 0, 1 and 2 and post-detection's four counters,
// without changing the mesh, in one pass over the shells: needs current shells
// and the adjacency they came from (RemovedFaces::kSkip). A mesh with removed
// faces gets the long way, with its own adjacency for the flaw test. Logs
// "flaw detection" once per mode, then "post detection", as four calls would.
struct TopologyInspection {
  std::array<bool, 3> flawed{};
  std::array<int32_t, 4> counters{};
};
TopologyInspection inspectTopology(const SubMesh& mesh, const CornerAdjacency& adjacency,
                                   const RunContext& run = {});

}  // namespace vekmesh
