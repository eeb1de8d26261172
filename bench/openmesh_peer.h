// The OpenMesh quadric decimater as a yardstick for the reduction benchmark,
// kept in its own translation unit so that OpenMesh's headers reach nothing
// else. Built only when libopenmesh-dev is found.
#pragma once

#include <cstddef>

#include "mesh_builders.h"

namespace vekmesh {
namespace bench {

using test::IndexedMesh;

// Decimates `mesh` to `target_faces` with OpenMesh's DecimaterT and its
// quadric module alone (no error limit, no other module). `seconds` receives
// the time of the decimation itself (module set-up, collapses and garbage
// collection), not that of building OpenMesh's half-edge structure.
IndexedMesh openMeshDecimate(const IndexedMesh& mesh, size_t target_faces, double& seconds);

}  // namespace bench
}  // namespace vekmesh
