// Hollowing by voxel peeling: the model is voxelised and filled solid, thin
// skin is thickened when the wall is under five layers, the wall layers are
// peeled off, and the core's exposed faces are exported, cleaned of voxel
// contacts and reduced (quality routine, ratio 0, error 0.05, cosine 0.9).
// Choices (also in hollowing.h): a NaN wall peels everything, wall counts
// are clamped to 32 bits, a NaN volume gives the smallest voxel, a core that
// exports no face is the caution case, and the call's scratch (maps, face
// tables, clean-up lists) is released before it returns.
#include "design/hollowing.h"

#include <cmath>
#include <limits>

#include "design/voxel_grid.h"
#include "design/voxel_mesh_cleanup.h"
#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/mesh_reducer.h"

namespace vekmesh {
namespace {

constexpr double kVolumeScale = 1.2e6;
constexpr double kSizePower = 0.33;  // not one third: sizes must match across versions
constexpr float kSmallestSize = 0.4f;
constexpr float kLargestSize = 2.0f;
constexpr int32_t kReviseBelowLayers = 5;
constexpr int kRevisePasses = 2;
constexpr uint64_t kLeastCoreVoxels = 100;

void emptyMesh(SubMesh& mesh) {
  mesh.faces.clear();
  mesh.vertices.clear();
  mesh.incidentCorners.clear();
  mesh.texCoords.clear();
  mesh.shells.clear();
}

}  // namespace

float hollowVoxelSize(double volume) {
  const double s0 = std::pow(volume / kVolumeScale, kSizePower);
  if (s0 > kLargestSize) return kLargestSize;
  if (!(s0 >= kSmallestSize)) return kSmallestSize;  // NaN too
  return static_cast<float>(s0);
}

int32_t hollowWallLayers(float thickness, float voxel_size) {
  const double n = (double{thickness} - 0.5) / voxel_size + 1.0;
  if (std::isnan(n)) return -1;
  if (n >= std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (n <= std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(n);
}

int hollowMesh(SubMesh& mesh, float wall_thickness, const RunContext& run, HollowReport* report) {
  run.report(0.10);
  OperationLog log(run, "light weight");
  log.parameter("thickness", double{wall_thickness});

  const double model_volume = enclosedVolume(mesh);
  const float size = hollowVoxelSize(model_volume);
  const int32_t layers = hollowWallLayers(wall_thickness, size);
  if (report) *report = {size, layers, model_volume, 0.0};

  int exported = 1;
  uint64_t core_voxels = 0;
  {
    VoxelGrid grid(size);
    bool going = voxelizeMesh(grid, mesh, mesh.vertices, run) == 0;
    run.report(0.30);
    if (going) fillInterior(grid, false);
    run.report(0.40);
    going = going && !grid.overflow;
    if (going && layers < kReviseBelowLayers) reviseThinSkin(grid, kRevisePasses);
    run.report(0.50);
    going = going && !grid.overflow;
    if (going) peelLayers(grid, layers, nullptr);
    run.report(0.60);
    if (going) {
      formSurface(grid, nullptr, kMinComponentFaces, run);
      exported = exportVoxel(mesh, grid, run);
      core_voxels = grid.voxelCount;
    } else if (grid.overflow && !grid.voxels.empty()) {
      // voxelizeMesh reports its own overflow and leaves the grid empty.
      run.log(cautionLine("too many voxels!"));
    }
  }  // both maps are released here, whichever way the steps went

  if (core_voxels < kLeastCoreVoxels || exported != 0) {
    emptyMesh(mesh);
    log.caution("hollow nothing!");
    return 1;
  }
  run.report(0.70);
  separateVoxelContacts(mesh);
  run.report(0.80);
  reduceMesh(mesh, 0.0, 0.05, 0.9, run);
  run.report(0.85);
  const double core_volume = enclosedVolume(mesh);
  if (report) report->coreVolume = core_volume;
  run.log(labelText("hollow volume") + formatFixed(core_volume / model_volume * 100.0) + " %");
  log.succeed();
  return 0;
}

}  // namespace vekmesh
