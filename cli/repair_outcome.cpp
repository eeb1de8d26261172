// The repair's own account and the never-worse comparison.
#include "cli/repair_outcome.h"

#include <cstdio>
#include <nlohmann/json.hpp>

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

}  // namespace vekmesh::cli
