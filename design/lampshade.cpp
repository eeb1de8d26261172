// The lampshade build: the model's ends are stretched (large meshes), the
// model is voxelised with taller voxels on large meshes, grown one layer,
// coloured by height, filled, its base extruded and k + 3 layers peeled off;
// the core's components that reach the bottom are exported, cleaned of voxel
// contacts, reduced (fast routine, ratio 0, error 0.05, cosine 0.96), turned
// inwards and added to the model as its inner wall; the stretch is undone and
// the base is cut flat, tried at six heights in the mirrored frame.
// Choices (also in lampshade.h): the shade keeps the model's own outer
// surface; the base extrusion lets the core reach the limit's slice; edge
// contacts of the core are filled before the export; the
// caller's heights are restored bit for bit; a thickness that is not a
// positive number, an empty mesh or a model of no finite height fails at once.
#include "design/lampshade.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "design/lampshade_steps.h"
#include "design/voxel_grid.h"
#include "design/voxel_mesh_cleanup.h"
#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/mesh_reducer.h"

namespace vekmesh {
namespace {

constexpr size_t kTallVoxelsAbove = 5000;  // faces: z-factor 2.5 from 5001
constexpr size_t kStretchFrom = 5000;
constexpr double kVolumeScale = 1e6;
constexpr double kSizePower = 0.33;
constexpr float kLargestSize = 1.0f;
constexpr float kSmallestSize = 0.2f;
constexpr int32_t kReviseBelowLayers = 5;
constexpr int kRevisePasses = 2;
constexpr uint64_t kLeastExposedVoxels = 10000;
constexpr double kStretchFactor = 2.0;
constexpr double kBaseBand = 1.0;
constexpr int kBaseAttempts = 6;
constexpr int kContactPasses = 8;
// Wall layers beyond this peel everything from any grid a limit allows.
constexpr double kMostLayers = 1.0e6;

float voxelSizeFor(double volume) {
  float s = static_cast<float>(std::pow(volume / kVolumeScale, kSizePower));
  if (s > kLargestSize) s = kLargestSize;
  if (!(s >= kSmallestSize)) s = kSmallestSize;  // NaN too
  return s;
}

int32_t wallLayers(float thickness, float s) {
  const double k = (double{thickness} - 0.5) / s + 1.0;
  return static_cast<int32_t>(std::min(k, kMostLayers));
}

// The lowest z and, among the vertices less than kBaseBand above it, the
// highest: the height the base is finished at.
double baseHeight(const SubMesh& mesh) {
  float lowest = std::numeric_limits<float>::infinity();
  for (const Vertex& v : mesh.vertices) lowest = std::min(lowest, v.position[2]);
  float base = lowest;
  for (const Vertex& v : mesh.vertices)
    if (v.position[2] < double{lowest} + kBaseBand && v.position[2] > base) base = v.position[2];
  return base;
}

// The core's components that do not reach down to `limit` are erased.
void keepComponentsAtBottom(VoxelGrid& grid, const std::vector<std::vector<int64_t>>& components,
                            double limit) {
  for (const std::vector<int64_t>& component : components) {
    if (component.empty()) continue;
    const Voxel* first = grid.voxels.find(faceVoxelKey(component.front()));
    if (!first || !(limit < double{grid.modelCentre[2]} + first->z)) continue;
    for (int64_t id : component) grid.erase(faceVoxelKey(id));
  }
}

uint64_t exposedVoxelCount(const VoxelGrid& grid) {
  uint64_t count = 0;
  grid.voxels.forEach([&](VoxelKey, const Voxel& v) { count += v.faceFlags != 0; });
  return count;
}

}  // namespace

void buildLampshade(SubMesh& mesh, float wall_thickness, const RunContext& run,
                    LampshadeReport* report) {
  LampshadeReport r;
  OperationLog log(run, "lampshade");
  const size_t n = mesh.faces.size();
  r.zFactor = n < kTallVoxelsAbove + 1 ? 1.0f : 2.5f;

  float zmin = std::numeric_limits<float>::infinity();
  float zmax = -zmin;
  for (const Vertex& v : mesh.vertices) {
    zmin = std::min(zmin, v.position[2]);
    zmax = std::max(zmax, v.position[2]);
  }
  const bool usable = n > 0 && wall_thickness > 0.0f && std::isfinite(wall_thickness) &&
                      std::isfinite(zmin) && std::isfinite(zmax) && zmax > zmin;
  if (!usable) {
    if (report) *report = r;
    log.fail();
    return;
  }

  const bool wide = endBandTest(wall_thickness, zmax, zmin, n, mesh);
  const float c = endBandWidth(wide, wall_thickness, zmax, zmin);
  r.endBand = c;
  r.stretched = n >= kStretchFrom;
  StretchedHeights kept;
  if (r.stretched) stretchEnds(mesh, zmin, zmax, c, &kept);

  r.voxelSize = voxelSizeFor(enclosedVolume(mesh));
  r.layers = wallLayers(wall_thickness, r.voxelSize);
  r.peelDepth = r.layers + 3;
  const double limit = r.stretched ? double{zmin} - 2.0 * c : double{zmin};

  {
    // The factor's integer part: 2.5 gives voxels twice as tall as wide.
    VoxelGrid grid(r.voxelSize);
    grid.voxelSize[2] = static_cast<float>(static_cast<int>(r.zFactor)) * r.voxelSize;
    r.voxelHeight = grid.voxelSize[2];
    formVoxels(grid, mesh, mesh.vertices, run);
    // The steps make no progress marks of their own; a cancel is heard
    // between them.
    run.checkpoint();
    if (!grid.overflow) {
      formSurface(grid, nullptr, kMinComponentFaces, run);
      run.checkpoint();
      offsetVoxelLayers(grid, 1, 1, nullptr);
      colourByHeight(grid);
      fillInterior(grid, false);
      run.checkpoint();
    }
    if (!grid.overflow && r.layers < kReviseBelowLayers) reviseThinSkin(grid, kRevisePasses);
    if (!grid.overflow) {
      extrudeBase(grid, r.layers + 4, limit);
      run.checkpoint();
      resurface(grid, run);
      run.checkpoint();
      peelLayers(grid, r.peelDepth, nullptr);
      std::vector<std::vector<int64_t>> components;
      formSurface(grid, &components, kMinComponentFaces, run);
      run.checkpoint();
      keepComponentsAtBottom(grid, components, limit);
      closeEdgeContacts(grid, kContactPasses);
      r.exposedVoxels = exposedVoxelCount(grid);
      run.checkpoint();
    }
    if (grid.overflow) {
      r.exposedVoxels = 0;
      run.log(cautionLine("too many voxels!"));
    }

    // Too little core, or more faces than an export may write: the model
    // goes back as it came.
    SubMesh core;
    if (r.exposedVoxels < kLeastExposedVoxels || exportVoxel(core, grid, run) != 0) {
      grid.release();
      if (r.stretched) undoStretch(mesh, zmin, zmax, c, kStretchFactor, &kept);
      if (report) *report = r;
      log.fail();
      return;
    }
    grid.release();
    for (int pass = 0; pass < 2; ++pass) separateVoxelContacts(core);
    run.checkpoint();
    for (int pass = 0; pass < 2; ++pass) {
      reduceMeshFast(core, 0.0, 0.05, 0.96, run);
      run.checkpoint();
    }
    reverseFaces(core);
    appendMesh(mesh, std::move(core));
  }

  if (r.stretched) undoStretch(mesh, zmin, zmax, c, kStretchFactor, &kept);

  // The base: in the mirrored frame it is the top, and the cut keeps what
  // lies below the plane.
  const double base = baseHeight(mesh);
  r.baseHeight = base;
  mirrorHeights(mesh);
  for (int i = 0; i < kBaseAttempts; ++i) {
    const float h = static_cast<float>(-base - 0.1 - 0.5 * i);
    if (cutCleanBase(mesh, h, run)) {
      r.baseAttempt = i;
      break;
    }
  }
  if (r.baseAttempt < 0) finishUncutBase(mesh, n, run);
  mirrorHeights(mesh);
  r.built = true;
  if (report) *report = r;
  log.succeed();
}

}  // namespace vekmesh
