// The repair steps in their fixed order, with the two rules that vary: the
// face-count limit of duplicate removal and the material rule of hole filling.
#include "repair/repair_pipeline.h"

#include "mesh/corner_adjacency.h"
#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "repair/duplicate_faces.h"
#include "repair/snap_to_grid.h"
#include "repair/winding.h"

namespace vekmesh {

bool anyLiveFaceHasMaterial(const SubMesh& mesh) {
  for (const Face& f : mesh.faces)
    if (!f.removed && f.material >= 0) return true;
  return false;
}

RepairReport repairMesh(SubMesh& mesh, const RepairOptions& options, const RunContext& run) {
  OperationLog log(run, "repair");
  log.parameter("faces in", liveFaceCount(mesh));
  RepairReport report;
  snapToGrid(mesh);
  // The mesh comes with current incidence lists, and every step keeps them
  // so. The final compaction is also told what this one welded: the steps
  // between move no vertex, so it need only weld the points patches add.
  CompactionRecord compaction;
  compactMesh(mesh, compaction);
  // One adjacency serves steps 3, 5 and 6: faces are only removed (which the
  // later steps check) or turned (which unifyOrientation keeps it current for)
  // until hole filling appends its patches.
  // The exports leave the duplicates of large meshes in place on purpose:
  // hosts rely on that face count. Later steps skip removed faces, so the
  // adjacency stays valid.
  const bool remove_duplicates = options.duplicates == DuplicateRemoval::kAlways ||
                                 mesh.faces.size() < kDuplicateRemovalFaceLimit;
  CornerAdjacency adjacency =
      buildCornerAdjacency(mesh, RemovedFaces::kSkip, /*list_duplicates=*/remove_duplicates);
  buildShells(mesh, adjacency);
  if (remove_duplicates) report.duplicates_removed = removeDuplicateFaces(mesh, adjacency);
  report.faces_turned = unifyOrientation(mesh, adjacency);
  const size_t faces_before_patches = mesh.faces.size();
  if (options.hole_filling == HoleFilling::kAlways || !anyLiveFaceHasMaterial(mesh)) {
    report.holes_filled = true;
    report.holes = fillHoles(mesh, adjacency);
  } else {
    log.caution("holes left open: the model carries textures");
  }
  // When compaction keeps every face and vertex (then no face was removed
  // since the adjacency was built), the adjacency only needs the patches
  // added. With faces removed it cannot, and the adjacency goes before
  // compaction builds the new mesh beside the old.
  std::vector<std::vector<int32_t>>().swap(mesh.shells);
  if (report.duplicates_removed > 0) adjacency = CornerAdjacency{};
  if (compactMesh(mesh, compaction)) {
    refreshCornerAdjacency(mesh, adjacency, {}, faces_before_patches);
    buildShells(mesh, adjacency);
    report.adjacency = std::move(adjacency);
  } else {
    adjacency = CornerAdjacency{};
    report.adjacency = buildShellsWithAdjacency(mesh);
  }
  log.parameter("duplicates", report.duplicates_removed);
  log.parameter("faces turned", report.faces_turned);
  log.parameter("holes closed", report.holes.loops_closed);
  log.parameter("faces out", liveFaceCount(mesh));
  log.succeed();
  return report;
}

}  // namespace vekmesh
