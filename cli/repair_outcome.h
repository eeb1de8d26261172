// What `vekmesh repair` says about its own work: the steps of the thorough
// repair in a line and a JSON object.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "repair/thorough_repair.h"

namespace vekmesh::cli {

// One line (after `indent`) and one JSON object for the thorough repair.
std::string thoroughText(const ThoroughRepairReport& report, const std::string& indent);
nlohmann::ordered_json thoroughJson(const ThoroughRepairReport& report);

}  // namespace vekmesh::cli
