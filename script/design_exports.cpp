// The design operations of the scripting API as the tool runs them: the voxel
// model with its contacts split, hollowing (the model's surface with the
// core's turned inwards), the lampshade and its preview outlines.
#include <cmath>
#include <string>
#include <utility>

#include "design/hollowing.h"
#include "design/lampshade.h"
#include "design/voxel_grid.h"
#include "design/voxel_mesh_cleanup.h"
#include "include/vekmesh/script.h"
#include "mesh/mesh_utils.h"
#include "script/outline_arrays.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

namespace {

// Turns every face of `mesh` over (winding, texture and colour corners alike).
void turnOver(SubMesh& mesh) {
  for (Face& f : mesh.faces) {
    std::swap(f.v[0], f.v[1]);
    std::swap(f.uv[0], f.uv[1]);
    for (int channel = 0; channel < 3; ++channel)
      std::swap(f.colors[0][channel], f.colors[1][channel]);
  }
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
}

}  // namespace

extern "C" {

VKM_API void vkm_voxelize_defaults(vkm_voxelize_options* options) {
  if (options) options->voxel_size = 1.0f;
}

VKM_API int32_t vkm_voxelize(vkm_mesh* mesh, const vkm_voxelize_options* options, vkm_run* run) {
  const vkm_voxelize_options o = orDefaults(options, vkm_voxelize_defaults);
  return operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    requirePositive(o.voxel_size, "voxel_size");
    const int result = voxelizeToSurface(work, o.voxel_size, context.sub(0.0, 0.9));
    if (result == 1)
      throw CallError(VKM_EMPTY_RESULT, "no voxel face remains at voxel size " +
                                            std::to_string(o.voxel_size) +
                                            ": the model is thinner than about two voxels");
    if (result != 0)
      throw CallError(VKM_INVALID_ARGUMENT, "voxel size " + std::to_string(o.voxel_size) +
                                                " would need more than " +
                                                std::to_string(kMaxVoxels) + " voxels");
    // Closed and two-manifold as handed back.
    separateVoxelContacts(work);
    rebuildTopology(work);
  });
}

VKM_API void vkm_hollow_defaults(vkm_hollow_options* options) {
  if (options) options->wall = 2.0f;
}

VKM_API int32_t vkm_hollow(vkm_mesh* mesh, const vkm_hollow_options* options, vkm_run* run,
                           vkm_hollow_report* report) {
  const vkm_hollow_options o = orDefaults(options, vkm_hollow_defaults);
  HollowReport measured;
  const int32_t status = operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    requirePositive(o.wall, "wall");
    SubMesh core = work;
    if (hollowMesh(core, o.wall, context.sub(0.0, 0.9), &measured) != 0)
      throw CallError(VKM_EMPTY_RESULT,
                      "nothing to hollow: the wall leaves fewer than 100 voxels inside the model "
                      "(is it closed, and thicker than twice the wall?)");
    turnOver(core);
    appendMesh(work, std::move(core));
    buildShells(work);
  });
  if (status == VKM_OK && report)
    *report = {measured.voxelSize, measured.layers, measured.modelVolume, measured.coreVolume};
  return status;
}

VKM_API void vkm_lampshade_defaults(vkm_lampshade_options* options) {
  if (options) options->wall = 2.0f;
}

VKM_API int32_t vkm_lampshade(vkm_mesh* mesh, const vkm_lampshade_options* options, vkm_run* run) {
  const vkm_lampshade_options o = orDefaults(options, vkm_lampshade_defaults);
  return operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    requirePositive(o.wall, "wall");
    LampshadeReport report;
    buildLampshade(work, o.wall, context.sub(0.0, 0.9), &report);
    if (!report.built)
      throw CallError(VKM_EMPTY_RESULT,
                      "no shade: the wall leaves too little of the model (is it closed, with a "
                      "base, and thicker than twice the wall?)");
    rebuildTopology(work);
  });
}

VKM_API int32_t vkm_lampshade_preview(const vkm_mesh* mesh, const vkm_lampshade_options* options,
                                      vkm_run* run, vkm_outlines* out, int32_t* fits) {
  const vkm_lampshade_options o = orDefaults(options, vkm_lampshade_defaults);
  return runCall(run, [&](const RunContext& context) {
    require(mesh && out, "null mesh or out pointer");
    requirePositive(o.wall, "wall");
    context.report(0.0);
    PolygonOutlines outlines;
    const int32_t status =
        previewLampshade(currentMesh(*mesh), o.wall, outlines, context.sub(0.0, 0.9));
    OutlineArrays arrays;
    for (size_t p = 0, at = 0; p < outlines.pointCounts.size(); ++p) {
      const size_t n = static_cast<size_t>(outlines.pointCounts[p]);
      arrays.add(outlines.points.data() + at, n, outlines.labels[p], static_cast<int32_t>(p));
      at += 3 * n;
    }
    *out = arrays.release();
    if (fits) *fits = status == 1 ? 1 : 0;
    context.report(1.0);
  });
}

VKM_API void vkm_outlines_free(vkm_outlines* outlines) {
  if (!outlines) return;
  std::free(outlines->point_counts);
  std::free(outlines->labels);
  std::free(outlines->groups);
  std::free(outlines->points);
  *outlines = vkm_outlines{};
}

}  // extern "C"
