// Checks shared by the tests, the benchmarks and the fuzz targets: the TriMesh
// construction invariants, an edge census, and a recorder of what an
// operation reports through its run context.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh::test {

// The first broken construction invariant of `mesh`, or "" when it holds them
// all: distinct in-range vertices per face, every live corner listed exactly
// once in its vertex's incidentCorners (and nothing else listed), own indices
// equal to positions, untextured faces with no uv, textured faces with three
// texture coordinates used by no other corner.
std::string invariantViolation(const SubMesh& mesh);

// Undirected edges, classified by how the triangles use them.
struct EdgeCensus {
  size_t edges = 0, boundary = 0;  // distinct edges; edges used by one triangle
  size_t nonManifold = 0;          // used more than twice
  size_t misoriented = 0;          // used twice in the same direction
  bool closedManifoldOriented() const {
    return edges > 0 && boundary == 0 && nonManifold == 0 && misoriented == 0;
  }
};
// Of three vertex indices per triangle, or of the live faces of `mesh`.
EdgeCensus edgeCensus(const std::vector<uint32_t>& triangles);
EdgeCensus edgeCensus(const SubMesh& mesh);

// Keeps what operations report and log through the contexts it makes.
struct RunRecorder {
  std::vector<int32_t> percents;
  std::string log;
  RunContext context();
};

}  // namespace vekmesh::test
