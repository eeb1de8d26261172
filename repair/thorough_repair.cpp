// The thorough repair's steps in order, each rebuilding the topology it
// reads only when the step before changed the faces.
#include "repair/thorough_repair.h"

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "repair/sheet_pairing.h"

namespace vekmesh {

ThoroughRepairReport thoroughRepair(SubMesh& mesh, const RunContext& run) {
  OperationLog log(run, "thorough repair");
  ThoroughRepairReport report;
  report.faces_in = liveFaceCount(mesh);
  log.parameter("faces in", report.faces_in);

  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  report.weld = weldWithinTolerance(mesh, adjacency);
  // Compaction drops the faces the weld collapses (and any removed before).
  const size_t before_weld = liveFaceCount(mesh);
  adjacency = CornerAdjacency{};
  compactMesh(mesh);
  report.collapsed_faces = before_weld - mesh.faces.size();

  adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, /*list_duplicates=*/true);
  report.coincident = removeCoincidentFaces(mesh, adjacency);
  {
    const std::vector<int32_t> partner = pairSheets(mesh, adjacency);
    const OrientationComponents components = orientationComponents(mesh, partner);
    report.consistency = makeWindingConsistent(mesh, partner, components);
  }
  // Hole filling reads open edges from an adjacency of the windings as they
  // are now.
  if (report.consistency.faces_turned > 0)
    adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  report.holes = fillHoles(mesh, adjacency, PatchLimits{kThoroughPatchPointsPerRimVertex});
  adjacency = CornerAdjacency{};
  compactMesh(mesh);

  adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  {
    const std::vector<int32_t> partner = pairSheets(mesh, adjacency);
    const OrientationComponents components = orientationComponents(mesh, partner);
    // Patches follow their rims, so this finds nothing to turn but what a
    // one-sided surface leaves; it is cheap and keeps the guarantee simple.
    const ConsistencyReport again = makeWindingConsistent(mesh, partner, components);
    report.consistency.faces_turned += again.faces_turned;
    report.outward = orientOutwards(mesh, components, report.weld.tolerance);
  }
  adjacency = CornerAdjacency{};
  report.adjacency = rebuildTopologyWithAdjacency(mesh);
  report.faces_out = liveFaceCount(mesh);

  log.parameter("tolerance", report.weld.tolerance);
  log.parameter("vertices welded", report.weld.vertices_moved);
  log.parameter("opposite pairs", report.coincident.opposite_pairs_removed);
  log.parameter("duplicates", report.coincident.duplicates_removed);
  log.parameter("faces turned", report.consistency.faces_turned);
  log.parameter("holes closed", report.holes.loops_closed);
  log.parameter("shells turned", report.outward.components_turned);
  log.parameter("zero-volume parts", report.outward.zero_volume_removed);
  log.parameter("faces out", report.faces_out);
  log.succeed();
  return report;
}

}  // namespace vekmesh
