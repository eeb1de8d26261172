// The thorough repair's steps in order, each rebuilding the topology it
// reads only when the step before changed the faces it reads.
#include "repair/thorough_repair.h"

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "mesh/parallel_loops.h"
#include "repair/needle_collapse.h"
#include "repair/sheet_pairing.h"

namespace vekmesh {
namespace {

// A fresh adjacency of the mesh as it is now; the old one goes first, so
// that the two are never held at once (the build's own scratch is what sets
// the repair's peak).
void rebuildAdjacency(CornerAdjacency& adjacency, const SubMesh& mesh,
                      bool list_duplicates = false) {
  adjacency = CornerAdjacency{};
  adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, list_duplicates);
}

// The faces marked removed, ascending.
std::vector<size_t> removedFaces(const SubMesh& mesh) {
  return elementsWhere(mesh.faces.size(), [&](size_t f) { return mesh.faces[f].removed != 0; });
}

// What a build without the duplicate list would say of it.
void forgetDuplicates(CornerAdjacency& adjacency) {
  adjacency.duplicates_listed = false;
  adjacency.repeated_vertex_face = false;
  std::vector<uint32_t>().swap(adjacency.duplicate_faces);
}

}  // namespace

ThoroughRepairReport thoroughRepair(SubMesh& mesh, const RunContext& run,
                                    CornerAdjacency* current) {
  OperationLog log(run, "thorough repair");
  ThoroughRepairReport report;
  report.faces_in = liveFaceCount(mesh);
  log.parameter("faces in", report.faces_in);

  // The shells are rebuilt at the end; the old lists would only raise the peak.
  std::vector<std::vector<int32_t>>().swap(mesh.shells);
  // Faces removed before, or collapsed by the weld, go in one compaction.
  const bool removed_before = report.faces_in != mesh.faces.size();
  CornerAdjacency adjacency;
  if (current && current->duplicates_listed && !removed_before &&
      current->across.size() == 3 * mesh.faces.size()) {
    adjacency = std::move(*current);
  } else {
    if (removed_before) compactMesh(mesh);
    rebuildAdjacency(adjacency, mesh, /*list_duplicates=*/true);
  }
  report.weld = weldWithinTolerance(mesh, adjacency);
  report.needles_collapsed = collapseNeedles(mesh, report.weld.tolerance);
  // Welded cracks change which faces meet, which every later step reads.
  // A collapsed needle changes nothing the steps read (its faces, of no
  // area, still join their neighbours), so its compaction waits for the
  // last one.
  if (report.weld.vertices_moved > 0) {
    const size_t before = mesh.faces.size();
    adjacency = CornerAdjacency{};
    compactMesh(mesh);
    report.collapsed_faces = before - mesh.faces.size();
    rebuildAdjacency(adjacency, mesh, /*list_duplicates=*/true);
  }

  // Progress marks between the steps, where a host may also cancel.
  run.report(0.25);
  report.coincident = removeCoincidentFaces(mesh, adjacency);
  // The faces removed would leave edges the adjacency counts as shared by
  // several, which the pairing then walks one by one: it is refreshed
  // around them instead (here and below, the adjacency stays what building
  // it now would give).
  const size_t coincident =
      2 * report.coincident.opposite_pairs_removed + report.coincident.duplicates_removed;
  if (coincident > 0)
    refreshCornerAdjacency(mesh, adjacency, removedFaces(mesh), mesh.faces.size());
  run.report(0.35);
  SheetPairs sheets;
  size_t lone = 0;
  {
    const SheetPartners partners = pairSheets(mesh, adjacency, nullptr, &sheets);
    // A face alone (no partner on any edge) encloses nothing: it goes now,
    // before hole filling would close it with a face on its back. The
    // partners do not see these removals, so each face is decided alone.
    const int64_t face_count = static_cast<int64_t>(mesh.faces.size());
#pragma omp parallel for schedule(static) reduction(+ : lone) if (face_count >= kParallelMinimum)
    for (int64_t f = 0; f < face_count; ++f) {
      Face& face = mesh.faces[size_t(f)];
      if (face.removed) continue;
      bool alike = false, alone = true;
      for (size_t c = 0; c < 3 && alone; ++c)
        alone = partners.partnerOf(3 * size_t(f) + c, alike) < 0;
      if (!alone) continue;
      face.removed = 1;
      ++lone;
    }
    report.lone_faces_removed += lone;
    // The turns are made in the adjacency too. Its slots around the lone
    // faces are refreshed only when it is next read as it stands (after hole
    // filling, which counts removed faces as gone by itself): a turn only
    // moves and flips slots, and the refresh writes those around the lone
    // faces afresh, so the order does not matter.
    orientConsistently(mesh, partners, report.consistency, /*want_components=*/false, &adjacency);
  }
  // A new build would not list duplicates after turns.
  if (report.consistency.faces_turned > 0) forgetDuplicates(adjacency);
  run.report(0.5);
  const size_t faces_before_patches = mesh.faces.size();
  report.holes = fillHoles(mesh, adjacency, PatchLimits{kThoroughPatchPointsPerRimVertex, true});

  // The components the signs are for, with the patches in: the same sheets
  // as before at edges of several faces (pairing them afresh after the turns
  // could join other sheets). Patches follow their rims, so this walk turns
  // nothing but what a one-sided surface leaves.
  run.report(0.7);
  if (report.holes.faces_added > 0)
    refreshCornerAdjacency(mesh, adjacency, lone > 0 ? removedFaces(mesh) : std::vector<size_t>{},
                           faces_before_patches);
  ConsistencyReport again;
  const OrientationComponents components =
      orientConsistently(mesh, pairSheets(mesh, adjacency, &sheets), again, true, &adjacency);
  report.consistency.faces_turned += again.faces_turned;
  report.consistency.conflicts = again.conflicts;
  report.outward = orientOutwards(mesh, components, report.weld.tolerance, &adjacency);
  if (again.faces_turned > 0 || report.outward.components_turned > 0) forgetDuplicates(adjacency);

  run.report(0.85);
  // The adjacency still holds unless compaction renumbers the faces.
  const size_t live = liveFaceCount(mesh);
  const bool compact = live != mesh.faces.size() || report.needles_collapsed > 0;
  if (compact) {
    adjacency = CornerAdjacency{};
    if (live == 0) {
      // Nothing enclosed anything: an empty mesh, not a list of removed faces.
      mesh.faces.clear();
      mesh.vertices.clear();
      mesh.texCoords.clear();
      mesh.incidentCorners.clear();
    } else {
      compactMesh(mesh);
      report.collapsed_faces += live - mesh.faces.size();
    }
    rebuildAdjacency(adjacency, mesh);
  }
  buildShells(mesh, adjacency);
  report.adjacency = std::move(adjacency);
  report.faces_out = liveFaceCount(mesh);

  log.parameter("tolerance", report.weld.tolerance);
  log.parameter("vertices welded", report.weld.vertices_moved);
  log.parameter("needles collapsed", report.needles_collapsed);
  log.parameter("opposite pairs", report.coincident.opposite_pairs_removed);
  log.parameter("duplicates", report.coincident.duplicates_removed);
  log.parameter("faces turned", report.consistency.faces_turned);
  log.parameter("holes closed", report.holes.loops_closed);
  log.parameter("shells turned", report.outward.components_turned);
  log.parameter("lone faces", report.lone_faces_removed);
  log.parameter("zero-volume parts", report.outward.zero_volume_removed);
  log.parameter("faces out", report.faces_out);
  log.succeed();
  return report;
}

}  // namespace vekmesh
