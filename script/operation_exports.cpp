// The mesh operations of the scripting API, each a thin call into the core as
// the tool makes it: reduce, subdivide, orient, separate, remesh. Operations
// that change a handle work on a copy and swap it in on success, so a
// cancelled call leaves the handle as it was.
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "analysis/print_orientation.h"
#include "include/vekmesh/script.h"
#include "mesh/mesh_utils.h"
#include "remesh/mesh_reducer.h"
#include "remesh/remesher.h"
#include "remesh/subdivision.h"
#include "repair/separation.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

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
    TriMesh work = currentMesh(*mesh);
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

VKM_API void vkm_remesh_defaults(vkm_remesh_options* options) {
  if (options) *options = {nullptr, 0};
}

VKM_API int32_t vkm_remesh(vkm_mesh* mesh, const vkm_remesh_options* options, vkm_run* run) {
  const vkm_remesh_options o = orDefaults(options, vkm_remesh_defaults);
  return operateOnCopy(mesh, run, [&](TriMesh& work, const RunContext& context) {
    require(o.faces || o.face_count == 0, "null face list with a count");
    require(o.face_count <= UINT32_MAX, "more than 2^32 - 1 faces listed");
    // The caller numbers the live faces in order, as they are copied out.
    std::vector<int32_t> live, chosen;
    for (size_t f = 0; f < work.faces.size(); ++f)
      if (!work.faces[f].removed) live.push_back(static_cast<int32_t>(f));
    for (uint64_t i = 0; i < o.face_count; ++i)
      if (o.faces[i] >= 0 && size_t(o.faces[i]) < live.size()) chosen.push_back(live[o.faces[i]]);
    // Entries that were all out of range select every face, as none given.
    remeshMesh(work, chosen.empty() ? nullptr : chosen.data(), static_cast<uint32_t>(chosen.size()),
               context.sub(0.0, 0.9));
    rebuildTopology(work);
  });
}

}  // extern "C"
