// The grid's key arithmetic and face ids, the whole voxelisation
// (voxelizeMesh) and the voxelize operation that exports its surface.
#include "design/voxel_grid.h"

#include <cmath>
#include <string>

#include "mesh/operation_log.h"

namespace vekmesh {

VoxelKey VoxelGrid::keyOf(double x, double y, double z) const {
  const double kx = std::floor(x / voxelSize[0] + 0.5);
  const double ky = std::floor(y / voxelSize[1] + 0.5);
  const double kz = std::floor(z / voxelSize[2] + 0.5);
  // Rows and slices are not range-checked: beyond about 400 cells from the
  // centre along x or y a key lands in another row. Callers keep positions
  // within what a 64-bit key holds (formVoxels refuses larger boxes).
  return static_cast<VoxelKey>(2.0 * kx + 2.0 * ky * rowStride + 2.0 * kz * sliceStride);
}

VoxelKey VoxelGrid::faceOffset(int k) const {
  switch (k) {
    case 0:
      return 2 * VoxelKey{sliceStride};
    case 1:
      return 2;
    case 2:
      return 2 * VoxelKey{rowStride};
    case 3:
      return -2 * VoxelKey{sliceStride};
    case 4:
      return -2;
    default:
      return -2 * VoxelKey{rowStride};
  }
}

VoxelKey VoxelGrid::stepOffset(int dx, int dy, int dz) const {
  return 2 * (VoxelKey{dx} + VoxelKey{dy} * rowStride + VoxelKey{dz} * sliceStride);
}

bool VoxelGrid::put(VoxelKey key, const Voxel& v) {
  if (voxels.size() >= kMaxVoxels && !voxels.contains(key)) {
    overflow = true;
    return false;
  }
  voxels.assign(key, v);
  voxelCount = voxels.size();
  return true;
}

void VoxelGrid::erase(VoxelKey key) {
  voxels.erase(key);
  voxelCount = voxels.size();
}

void VoxelGrid::release() {
  voxels.clear();
  tilt.clear();
  voxelCount = 0;
}

int64_t faceId(VoxelKey key, int k) {
  return 6 * key + k;
}

int faceDirectionOf(int64_t face_id) {
  const int64_t r = face_id % 6;  // C++ keeps the sign of the dividend
  return static_cast<int>(r < 0 ? r + 6 : r);
}

VoxelKey faceVoxelKey(int64_t face_id) {
  return (face_id - faceDirectionOf(face_id)) / 6;
}

namespace {

// Empties the mesh but keeps its tag and side lists.
void emptyMesh(SubMesh& mesh) {
  mesh.faces.clear();
  mesh.vertices.clear();
  mesh.incidentCorners.clear();
  mesh.texCoords.clear();
  mesh.shells.clear();
}

void logTooMany(VoxelGrid& grid, const RunContext& run) {
  grid.release();
  grid.overflow = true;
  run.log(cautionLine("too many voxels!"));
}

}  // namespace

int voxelizeMesh(VoxelGrid& grid, const SubMesh& mesh, const std::vector<Vertex>& vertices,
                 const RunContext& run) {
  run.log(stepHeading("voxelization"));
  const int32_t start = logClock();
  formVoxels(grid, mesh, vertices, run);
  if (grid.overflow) {
    logTooMany(grid, run);
    return 2;
  }
  formSurface(grid, nullptr, kMinComponentFaces, run);
  std::vector<VoxelKey> bare;
  grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
    if (v.faceFlags == 0) bare.push_back(key);
  });
  for (VoxelKey key : bare) grid.erase(key);
  offsetVoxelLayers(grid, -3, 1, nullptr);
  peelLayers(grid, 2, nullptr);
  if (grid.overflow) {
    logTooMany(grid, run);
    return 2;
  }
  run.log(timingLine("time voxelize", elapsedSeconds(start, logClock())));
  run.log(parameterLine("voxel size", double{grid.voxelSize[0]}));
  run.log(parameterLine("voxel num", static_cast<int64_t>(grid.voxelCount)));
  return 0;
}

int voxelizeToSurface(SubMesh& mesh, float voxel_size, const RunContext& run) {
  if (!(voxel_size > 0.0f) || !std::isfinite(voxel_size)) {
    run.log(cautionLine("voxel size invalid!"));
    emptyMesh(mesh);
    return 2;
  }
  VoxelGrid grid(voxel_size);
  if (voxelizeMesh(grid, mesh, mesh.vertices, run) != 0) {
    emptyMesh(mesh);
    return 2;
  }
  const int exported = exportVoxel(mesh, grid, run);
  grid.release();
  return exported;
}

}  // namespace vekmesh
