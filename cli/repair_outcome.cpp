// The repair's own account and the never-worse comparison.
#include "cli/repair_outcome.h"

#include <cstdio>

#include "repair/repair_pipeline.h"

namespace vekmesh::cli {
std::string thoroughText(const ThoroughRepairReport& r, const std::string& indent) {
  char tolerance[32];
  std::snprintf(tolerance, sizeof tolerance, "%.3g", r.weld.tolerance);
  return indent + "repair         : thorough; weld tolerance " + tolerance + ": " +
         std::to_string(r.weld.vertices_moved) + " vertices welded, " +
         std::to_string(r.needles_collapsed) + " needle edges collapsed, " +
         std::to_string(r.collapsed_faces) + " faces collapsed; " +
         std::to_string(r.coincident.opposite_pairs_removed) + " opposite face pairs and " +
         std::to_string(r.coincident.duplicates_removed) + " duplicate faces removed; " +
         std::to_string(r.consistency.faces_turned) + " faces turned; " +
         std::to_string(r.holes.loops_closed) + " holes closed with " +
         std::to_string(r.holes.faces_added) + " faces (" +
         std::to_string(r.holes.open_edges_left) + " open edges left); " +
         std::to_string(r.outward.components_turned) + " shells turned outwards, " +
         std::to_string(r.outward.cavities) + " cavities kept inwards; " +
         std::to_string(r.lone_faces_removed) + " lone faces and " +
         std::to_string(r.outward.zero_volume_removed) + " zero-volume parts (" +
         std::to_string(r.outward.zero_volume_faces) + " faces) removed\n";
}

nlohmann::ordered_json thoroughJson(const ThoroughRepairReport& r) {
  return {{"mode", "thorough"},
          {"weld_tolerance", r.weld.tolerance},
          {"vertices_welded", r.weld.vertices_moved},
          {"needles_collapsed", r.needles_collapsed},
          {"faces_collapsed", r.collapsed_faces},
          {"opposite_pairs_removed", r.coincident.opposite_pairs_removed},
          {"duplicates_removed", r.coincident.duplicates_removed},
          {"faces_turned", r.consistency.faces_turned},
          {"one_sided_conflicts", r.consistency.conflicts},
          {"holes_closed", r.holes.loops_closed},
          {"patch_faces", r.holes.faces_added},
          {"open_edges_left", r.holes.open_edges_left},
          {"shells_turned", r.outward.components_turned},
          {"cavities", r.outward.cavities},
          {"lone_faces_removed", r.lone_faces_removed},
          {"zero_volume_parts_removed", r.outward.zero_volume_removed},
          {"zero_volume_faces_removed", r.outward.zero_volume_faces}};
}

RepairOutcome repairModel(TriMesh& mesh, CornerAdjacency& adjacency, const ModelReport& before,
                          bool described, bool find_intersections, const RunContext& run) {
  RepairOutcome out;
  if (described) {
    adjacency = CornerAdjacency{};  // this pipeline builds its own
    // The exports' pipeline, except that the tool removes duplicate faces at
    // every size.
    const RepairReport repaired =
        repairMesh(mesh, {HoleFilling::kAlways, DuplicateRemoval::kAlways}, run);
    out.after = inspectModel(mesh, repaired.adjacency, find_intersections);
    out.account = {{"mode", "described"}};
    out.account_text = "  repair         : described (the exports' pipeline)\n";
    return out;
  }
  const ThoroughRepairReport repaired = thoroughRepair(mesh, run, &adjacency);
  out.after = inspectModel(mesh, repaired.adjacency, find_intersections);
  out.account = thoroughJson(repaired);
  out.account_text = thoroughText(repaired, "  ");
  // Never hand back more of a flaw than was given.
  const std::vector<std::string> added = flawsAdded(before.census, out.after.census);
  if (!added.empty()) {
    std::string why;
    for (size_t i = 0; i < added.size(); ++i) why += (i ? ", " : "") + added[i];
    out.after = before;
    out.kept_as_it_was = true;
    out.account["kept_as_it_was"] = true;
    out.account["would_have_added"] = added;
    out.account_text += "  kept as it was: the repair would have left " + why + "\n";
  }
  return out;
}

}  // namespace vekmesh::cli
