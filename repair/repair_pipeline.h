// The repair pipeline: snap to a 1/5000 grid, compact, build shells, drop
// duplicate faces (below 300000 faces, or at any size for the tool), unify the
// winding and outward orientation of each shell, fill holes, and compact once
// more so that the caller gets a finished mesh. Log name: "repair".
#pragma once

#include "mesh/corner_adjacency.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"
#include "repair/hole_filling.h"

namespace vekmesh {

enum class HoleFilling {
  kAlways,          // the plain-array repair
  kWhenUntextured,  // only when no live face carries a material
};

enum class DuplicateRemoval {
  kBelowFaceLimit,  // the exports: meshes of 300000 faces or more keep them
  kAlways,          // the tool: a big soup with doubled facets still closes
};

struct RepairOptions {
  HoleFilling hole_filling = HoleFilling::kAlways;
  DuplicateRemoval duplicates = DuplicateRemoval::kBelowFaceLimit;
};

struct RepairReport {
  size_t duplicates_removed = 0;  // by step 4
  size_t faces_turned = 0;        // by the orientation walk of step 5
  bool holes_filled = false;      // whether step 6 ran
  HoleFillingReport holes;
  // The corner adjacency of the finished mesh (whose shells came from it),
  // for callers that go on to inspect the result.
  CornerAdjacency adjacency;
};

// The steps in place, in this order:
//   1 snapToGrid, 2 compactMesh, 3 buildShells,
//   4 removeDuplicateFaces: with kBelowFaceLimit only when the mesh has fewer
//     than 300000 faces, with kAlways at every size,
//   5 unifyOrientation,
//   6 fillHoles: always with kAlways; with kWhenUntextured only when every
//     live face has material -1 (a textured model is never hole-filled),
//   7 compactMesh and buildShells (rebuildTopology), which drop the faces
//     removed here and weld the patches in.
// Logs "repair" through `run`: the faces before and after, what each step
// did, and a caution when a textured model's holes are left open. Reports no
// progress.
RepairReport repairMesh(SubMesh& mesh, const RepairOptions& options, const RunContext& run = {});

// True when some live face carries a material (0 or more).
bool anyLiveFaceHasMaterial(const SubMesh& mesh);

}  // namespace vekmesh
