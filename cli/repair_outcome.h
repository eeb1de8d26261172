// What `vekmesh repair` says about its own work: the steps of the thorough
// repair in a line and a JSON object, and the comparison that keeps the tool
// from ever handing back a model with more of a flaw than it was given.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "repair/mesh_census.h"
#include "repair/thorough_repair.h"

namespace vekmesh::cli {

// The flaws the repair must never add: open, non-manifold and mis-oriented
// edges, repeated-vertex and duplicate faces, and inside-out shells. One phrase per count
// that grew ("3 more mis-oriented edges"); empty when none did.
std::vector<std::string> flawsAdded(const MeshCensus& before, const MeshCensus& after);

// One line (after `indent`) and one JSON object for the thorough repair.
std::string thoroughText(const ThoroughRepairReport& report, const std::string& indent);
nlohmann::ordered_json thoroughJson(const ThoroughRepairReport& report);

}  // namespace vekmesh::cli
