// The peer of the voxel benchmark: OpenVDB's meshToVolume (a narrow-band
// signed distance grid) and volumeToMesh (its surface at an iso-value),
// behind a small interface so that OpenVDB's headers stay in one translation
// unit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {
namespace bench {

struct VdbRun {
  double toVolumeSeconds = 0.0;
  double toMeshSeconds = 0.0;
  size_t activeVoxels = 0;
  // The surface, quads split in two.
  std::vector<float> positions;
  std::vector<uint32_t> triangles;
};

// Limits OpenVDB's task scheduler to `threads` for the rest of the process
// (until called again).
void setVdbThreads(int threads);

// meshToVolume at `voxel_size` with `interior_band` voxels inside (3 outside),
// then volumeToMesh at `iso_value` (model units; negative = inside) with no
// adaptivity. positions: x, y, z per vertex; triangles: three indices each.
VdbRun vdbMeshToVolumeToMesh(const std::vector<float>& positions,
                             const std::vector<uint32_t>& triangles, double voxel_size,
                             float interior_band, double iso_value);

}  // namespace bench
}  // namespace vekmesh
