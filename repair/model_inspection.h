// What a model is like, as `vekmesh info` and `vekmesh repair` report it and
// the scripting library's census hands it out: counts, bounds, signed volume,
// area, the census with its "printable" verdict and reasons, and beside it
// the host's flaw test (the exports' printability test in each mode and the
// post-detection counters), which reads differently.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"
#include "repair/mesh_census.h"

namespace vekmesh {

// "1 open edge", "3 open edges".
std::string counted(size_t n, const char* one, const char* many);

struct ModelInspection {
  size_t triangles = 0;
  size_t vertices = 0;
  std::array<float, 3> lower{};
  std::array<float, 3> upper{};
  MeshCensus census;
  // Closed shells of positive volume: the solid parts (a CAD assembly's
  // bodies, each piece of a kit).
  size_t solids = 0;
  // Pairs of closed shells of some volume (solids, cavities, inside-out
  // shells) that pass through one another; -1 when not searched.
  int64_t intersecting_pairs = -1;
  // The host's test: strict, orientation ignored, lenient; and post-detection's
  // faces with a repeated vertex, open edges, non-manifold edges, faces of
  // shells whose top faces point down (which the exports' repair turns over).
  std::array<bool, 3> flawed{};
  std::array<int32_t, 4> counters{};

  // No faces, open, non-manifold or mis-oriented edges, duplicate faces, inside-out shells,
  // zero-volume parts or (when searched) intersecting shell pairs.
  bool printable() const;
  // Why not, one short phrase per kind of flaw ("3 open edges"); empty when
  // printable.
  std::vector<std::string> reasons() const;
};

// Inspects `mesh`, which needs current shells and incidence lists and the
// adjacency the shells came from; the mesh itself is not changed. With
// `find_intersections`, the closed shells are searched for pairs passing through one
// another. The host's flaw tests log through `run`. With `edges`, the census
// lists the open and non-manifold edges it counts there.
ModelInspection inspectModel(const TriMesh& mesh, const CornerAdjacency& adjacency,
                             bool find_intersections, const RunContext& run = {},
                             CensusEdges* edges = nullptr);

}  // namespace vekmesh
