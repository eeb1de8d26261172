// What `vekmesh info` reports about a model: counts, bounds, volume, area, the
// printability test in each of its modes and the post-detection counters.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "mesh/corner_adjacency.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh::cli {

struct ModelReport {
  size_t triangles = 0;
  size_t vertices = 0;
  size_t shells = 0;
  std::array<float, 3> lower{};
  std::array<float, 3> upper{};
  double volume = 0.0;
  double area = 0.0;
  std::array<bool, 3> flawed{};  // strict, orientation ignored, lenient
  // Faces with a repeated vertex, open edges, non-manifold edges, faces of
  // shells that are inside out (which the repair turns over).
  std::array<int32_t, 4> counters{};
};

// Inspects `mesh`, which needs current shells and incidence lists and the
// adjacency the shells came from (every flaw test and count reads that one
// adjacency); the mesh itself is not changed. The flaw tests log through `run`.
ModelReport inspectModel(const TriMesh& mesh, const CornerAdjacency& adjacency,
                         const RunContext& run = {});

// Human-readable lines, each prefixed by `indent`.
std::string reportText(const ModelReport& report, const std::string& indent = "");

// One JSON object.
std::string reportJson(const ModelReport& report);

}  // namespace vekmesh::cli
