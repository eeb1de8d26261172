// The repair steps in their fixed order, with the two rules that vary: the
// face-count limit of duplicate removal and the material rule of hole filling.
#include "repair/repair_pipeline.h"

#include "mesh/corner_adjacency.h"
#include "mesh/mesh_utils.h"
#include "repair/duplicate_faces.h"
#include "repair/winding.h"
#include "repair/snap_to_grid.h"

namespace vekmesh {

bool anyLiveFaceHasMaterial(const SubMesh& mesh) {
  for (const Face& f : mesh.faces)
    if (!f.removed && f.material >= 0) return true;
  return false;
}

RepairReport repairMesh(SubMesh& mesh, HoleFilling hole_filling) {
  RepairReport report;
  snapToGrid(mesh);
  compactMesh(mesh);
  // One adjacency serves steps 3, 5 and 6: faces are only removed (which the
  // later steps check) or turned (which unifyOrientation keeps it current for)
  // until hole filling appends its patches.
  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  buildShells(mesh, adjacency);
  // Larger meshes keep their duplicates here; hole filling resolves them when
  // it runs (see resolveRepeatedFaces).
  if (mesh.faces.size() < kDuplicateRemovalFaceLimit)
    report.duplicates_removed = removeDuplicateFaces(mesh);
  report.faces_turned = unifyOrientation(mesh, adjacency);
  if (hole_filling == HoleFilling::kAlways || !anyLiveFaceHasMaterial(mesh)) {
    report.holes_filled = true;
    report.holes = fillHoles(mesh, adjacency);
  }
  return report;
}

}  // namespace vekmesh
