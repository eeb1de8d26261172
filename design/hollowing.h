// Hollowing ("light weight"): voxelise, fill, peel inward by the wall
// thickness and hand back the surface of the remaining core, cleaned up and
// reduced, with the core's share of the model's volume in the log. Log name:
// "light weight".
//
// Choices of this library beyond the operation's fixed steps:
// - A thickness that is NaN counts as negative (everything is peeled: the
//   caution result); wall counts beyond the 32-bit range are clamped to it.
// - A model volume that is NaN gives the smallest voxel size, 0.4.
// - The export's scratch (the voxel maps, the face tables, the clean-up's
//   lists) belongs to the call and is released before the operation returns
//   on every path, so the export has nothing left over to free.
// - When the core holds 100 voxels or more but exports no face (every
//   component too small), the result is the caution case as well.
#pragma once

#include <cstdint>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// What hollowing measured, for callers that report it (the tool).
struct HollowReport {
  float voxelSize = 0.0f;
  int32_t layers = 0;
  double modelVolume = 0.0;  // V0
  double coreVolume = 0.0;   // V1, of the reduced core; 0 in the caution case
};

// The voxel size for a model of `volume` cubic units: (V / 1.2e6)^0.33,
// clamped to [0.4, 2.0].
float hollowVoxelSize(double volume);

// Wall layers: trunc((thickness - 0.5) / s + 1).
int32_t hollowWallLayers(float thickness, float voxel_size);

// Replaces `mesh` by the core's surface, wound out of the core, and writes
// 10, 30, 40, 50, 60 and on success 70, 80, 85 through `run` (fractions of
// its span). Returns 0 when a core was produced, 1 when nothing could be
// hollowed: the mesh is then empty and "\n[Caution] hollow nothing!\n" is
// logged.
int hollowMesh(SubMesh& mesh, float wall_thickness, const RunContext& run = {},
               HollowReport* report = nullptr);

}  // namespace vekmesh
