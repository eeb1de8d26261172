// Repair in the scripting API: the thorough repair with its "never worse"
// guard (the census before and after), or the described pipeline of the
// VEKmesh_64 exports. Both work on a copy that replaces the handle's mesh only
// on success, so a cancelled or failed repair leaves the handle as it was.
#include <utility>

#include "include/vekmesh/script.h"
#include "mesh/corner_adjacency.h"
#include "mesh/mesh_utils.h"
#include "repair/mesh_census.h"
#include "repair/repair_pipeline.h"
#include "repair/thorough_repair.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

extern "C" {

VKM_API void vkm_repair_defaults(vkm_repair_options* options) {
  if (!options) return;
  options->described = 0;
  options->never_worse = 1;
}

VKM_API int32_t vkm_repair(vkm_mesh* handle, const vkm_repair_options* options, vkm_run* run,
                           int32_t* kept) {
  return runCall(run, [&](const RunContext& context) {
    require(handle, "null mesh");
    vkm_repair_options o;
    vkm_repair_defaults(&o);
    if (options) o = *options;
    require(o.described == 0 || o.described == 1, "described must be 0 or 1");
    context.report(0.0);
    // The shells of a fresh handle are not built yet; the thorough repair
    // groups them from the adjacency it builds anyway.
    const bool shells_pending = handle->shells_pending.load();
    TriMesh work = handle->mesh;
    work.tag = &work;
    bool unchanged = false;
    if (o.described) {
      if (shells_pending) buildShells(work);
      // The exports' array repair: holes filled unless the model is textured.
      repairMesh(work, {HoleFilling::kWhenUntextured}, context.sub(0.0, 0.95));
    } else {
      // With the duplicate list, which the repair reads and the census needs.
      CornerAdjacency adjacency = buildCornerAdjacency(work, RemovedFaces::kSkip, true);
      if (shells_pending) buildShells(work, adjacency);
      MeshCensus before;
      if (o.never_worse) before = takeCensus(work, adjacency);
      const ThoroughRepairReport report = thoroughRepair(work, context.sub(0.0, 0.9), &adjacency);
      // Never hand back more of a flaw than was given.
      unchanged = o.never_worse && !flawsAdded(before, takeCensus(work, report.adjacency)).empty();
    }
    context.report(1.0);
    if (!unchanged) swapIn(*handle, std::move(work));
    if (kept) *kept = unchanged ? 1 : 0;
  });
}

}  // extern "C"
