// OpenMesh's uniform Loop subdivider as the yardstick of the subdivision
// benchmark, kept in its own translation unit so that OpenMesh's headers reach
// nothing else. Built only when libopenmesh-dev is found.
#pragma once

#include <cstddef>

#include "mesh_builders.h"

namespace vekmesh {
namespace bench {

struct OpenMeshLoopRun {
  double build_seconds = 0.0;      // add_vertex and add_face: the half-edge structure
  double subdivide_seconds = 0.0;  // LoopT attach, one or more rounds, detach
  size_t faces = 0, vertices = 0;
  test::IndexedMesh result;  // filled only when asked for, outside both timers
};

// Builds OpenMesh's TriMesh_ArrayKernelT from `mesh` and subdivides it
// `rounds` times with OpenMesh::Subdivider::Uniform::LoopT, its weight table
// long enough for `max_valence` (the highest valence of the input).
OpenMeshLoopRun openMeshLoop(const test::IndexedMesh& mesh, int rounds, size_t max_valence,
                             bool keep_result);

}  // namespace bench
}  // namespace vekmesh
