// The tool's own repair, for files from scanners, CAD exports and model
// sites: every step relative to the model's size and decided by geometry.
// The exports keep the described pipeline (repair_pipeline.h); this one is
// for people who want the best model out. Log name: "thorough repair".
// Steps, in order:
//  1. weldWithinTolerance (tolerance_weld.h), collapseNeedles
//     (needle_collapse.h) and compaction: cracks closed and edges shorter
//     than the tolerance collapsed, nothing else moved, the faces that
//     collapse dropped;
//  2. removeCoincidentFaces (coincident_faces.h): opposite pairs cancel,
//     duplicates go;
//  3. pairSheets (sheet_pairing.h) and orientConsistently
//     (geometric_orientation.h): edges of more than two faces split into
//     sheets, faces with no neighbour on any edge removed (they enclose
//     nothing), windings made consistent across two-face edges only;
//  4. fillHoles (hole_filling.h) with patches of at most one new point per
//     rim vertex, so a patch stays proportional to its rim, and none that
//     would give an edge a third face;
//  5. compaction, components again, orientOutwards: closed shells turned by
//     their volume and nesting (cavities inwards), open ones by a visibility
//     vote, closed shells of no volume removed (a flat sheet closed by step 4
//     ends here);
//  6. compaction and shells, the adjacency handed back.
// Every face that stays keeps its position bit for bit: nothing is snapped.
#pragma once

#include <cstddef>

#include "mesh/corner_adjacency.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"
#include "repair/coincident_faces.h"
#include "repair/geometric_orientation.h"
#include "repair/hole_filling.h"
#include "repair/tolerance_weld.h"

namespace vekmesh {

// New patch points allowed per rim vertex.
constexpr double kThoroughPatchPointsPerRimVertex = 1.0;

struct ThoroughRepairReport {
  size_t faces_in = 0;
  size_t faces_out = 0;
  ToleranceWeldReport weld;
  size_t needles_collapsed = 0;  // edges shorter than the tolerance
  size_t collapsed_faces = 0;    // dropped by compaction: their corners welded together
  CoincidentFacesReport coincident;
  size_t lone_faces_removed = 0;  // faces with no neighbour on any edge
  ConsistencyReport consistency;
  HoleFillingReport holes;
  OutwardReport outward;
  // The corner adjacency of the finished mesh (whose shells came from it).
  CornerAdjacency adjacency;
};

// `current`, when given, is the adjacency of the mesh as it is, built with
// RemovedFaces::kSkip and its duplicate list (as a loader that goes on to
// report hands it on); it is taken over, sparing a build.
ThoroughRepairReport thoroughRepair(SubMesh& mesh, const RunContext& run = {},
                                    CornerAdjacency* current = nullptr);

}  // namespace vekmesh
