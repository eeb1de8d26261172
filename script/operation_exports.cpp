// The other operations of the scripting API, each a thin call into the core as
// the tool makes it: reduce, subdivide, orient, separate; and those this build
// does not offer yet. Operations that change a handle work on a copy and swap
// it in on success, so a cancelled call leaves the handle as it was.
#include <array>
#include <memory>
#include <utility>

#include "analysis/print_orientation.h"
#include "include/vekmesh/script.h"
#include "mesh/mesh_utils.h"
#include "remesh/mesh_reducer.h"
#include "remesh/subdivision.h"
#include "repair/separation.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

namespace {

// Runs `operate(copy, context)` on a copy of the handle's mesh and swaps the
// result in when it returns; `run` gets the status.
template <class Operate>
int32_t operateOnCopy(vkm_mesh* handle, vkm_run* run, Operate&& operate) noexcept {
  return runCall(run, [&](const RunContext& context) {
    require(handle, "null mesh");
    context.report(0.0);
    TriMesh work = handle->mesh;
    work.tag = &work;
    operate(work, context);
    context.report(1.0);
    handle->mesh = std::move(work);
    handle->mesh.tag = &handle->mesh;
  });
}

template <class Options>
Options orDefaults(const Options* given, void (*defaults)(Options*)) {
  Options o;
  defaults(&o);
  return given ? *given : o;
}

int32_t notAvailable(vkm_run* run, const char* name) noexcept {
  return runCall(run, [&](const RunContext&) {
    throw CallError(VKM_NOT_AVAILABLE,
                    std::string(name) + " is not available in this build of the library");
  });
}

}  // namespace

extern "C" {

VKM_API void vkm_reduce_defaults(vkm_reduce_options* options) {
  if (options) *options = {0.5, 0.05, 0.99};
}

VKM_API int32_t vkm_reduce(vkm_mesh* mesh, const vkm_reduce_options* options, vkm_run* run) {
  const vkm_reduce_options o = orDefaults(options, vkm_reduce_defaults);
  return operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    require(o.ratio >= 0.0 && o.ratio <= 1.0, "ratio must lie in 0..1");
    require(o.max_error >= 0.0 && o.min_cosine >= -1.0 && o.min_cosine <= 1.0,
            "max_error must be 0 or more and min_cosine lie in -1..1");
    reduceMesh(work, o.ratio, o.max_error, o.min_cosine, context.sub(0.0, 0.9));
    rebuildTopology(work);
  });
}

VKM_API void vkm_subdivide_defaults(vkm_subdivide_options* options) {
  if (options) *options = {1, 0};
}

VKM_API int32_t vkm_subdivide(vkm_mesh* mesh, const vkm_subdivide_options* options, vkm_run* run) {
  const vkm_subdivide_options o = orDefaults(options, vkm_subdivide_defaults);
  return operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    require(o.level >= 1 && o.level <= 4, "level must lie in 1..4");
    // Smooth rounds keeping creases; with colour, then the colour rounds: the
    // tool's chain.
    subdivideMesh(work, o.level, 1, context.sub(0.0, o.colour ? 0.45 : 0.9));
    rebuildTopology(work);
    if (!o.colour) return;
    subdivideMesh(work, o.level, 0, context.sub(0.45, 0.9));
    rebuildTopology(work);
  });
}

VKM_API void vkm_orient_defaults(vkm_orient_options* options) {
  if (options) options->mode = 1;
}

VKM_API int32_t vkm_orient(vkm_mesh* mesh, const vkm_orient_options* options, vkm_run* run,
                           double* angles) {
  const vkm_orient_options o = orDefaults(options, vkm_orient_defaults);
  std::array<double, 3> found{};
  const int32_t status = operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    require(o.mode >= 0 && o.mode <= 2, "mode must be 0, 1 or 2");
    // Only the vertices move; the faces and shells stay as they are.
    optimizeOrientation(work, found, o.mode, kOverhangAngle, context.sub(0.0, 0.95));
  });
  if (status == VKM_OK && angles)
    for (int a = 0; a < 3; ++a) angles[a] = found[a];
  return status;
}

VKM_API int32_t vkm_separate(const vkm_mesh* mesh, vkm_run* run, vkm_mesh*** pieces,
                             uint64_t* count) {
  if (pieces) *pieces = nullptr;
  if (count) *count = 0;
  return runCall(run, [&](const RunContext& context) {
    require(mesh && pieces && count, "null mesh or out pointer");
    context.report(0.0);
    TriMesh work = mesh->mesh;
    work.tag = &work;
    separateShells(work, context.sub(0.0, 0.8));
    // Each part becomes a handle with its topology current, like any other.
    std::vector<std::unique_ptr<vkm_mesh>> made;
    for (SubMesh& part : work.pieces) {
      auto handle = std::make_unique<vkm_mesh>();
      static_cast<SubMesh&>(handle->mesh) = std::move(part);
      handle->mesh.tag = &handle->mesh;
      rebuildTopology(handle->mesh);
      made.push_back(std::move(handle));
    }
    context.report(1.0);
    auto array = std::make_unique<vkm_mesh*[]>(made.size() ? made.size() : 1);
    for (size_t i = 0; i < made.size(); ++i) array[i] = made[i].release();
    *count = made.size();
    *pieces = array.release();
  });
}

VKM_API void vkm_pieces_free(vkm_mesh** pieces, uint64_t count) {
  if (!pieces) return;
  for (uint64_t i = 0; i < count; ++i) delete pieces[i];
  delete[] pieces;
}

VKM_API int32_t vkm_weak_sections(vkm_mesh*, const void*, vkm_run* run) {
  return notAvailable(run, "weak_sections");
}
VKM_API int32_t vkm_voxelize(vkm_mesh*, const void*, vkm_run* run) {
  return notAvailable(run, "voxelize");
}
VKM_API int32_t vkm_hollow(vkm_mesh*, const void*, vkm_run* run) {
  return notAvailable(run, "hollow");
}
VKM_API int32_t vkm_lampshade(vkm_mesh*, const void*, vkm_run* run) {
  return notAvailable(run, "lampshade");
}
VKM_API int32_t vkm_lampshade_preview(const vkm_mesh*, const void*, vkm_run* run) {
  return notAvailable(run, "lampshade_preview");
}
VKM_API int32_t vkm_remesh(vkm_mesh*, const void*, vkm_run* run) {
  return notAvailable(run, "remesh");
}

}  // extern "C"
