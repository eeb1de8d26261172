// What `vekmesh info` and `vekmesh repair` print about a model (see
// repair/model_inspection.h): plain text and JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "repair/model_inspection.h"

namespace vekmesh::cli {

using ModelReport = ModelInspection;

// Human-readable lines, each prefixed by `indent`; with `per_shell`, one line
// per shell at the end.
std::string reportText(const ModelReport& report, const std::string& indent, bool per_shell);

// One JSON object; with `per_shell`, a "shell_list" array as well.
nlohmann::ordered_json reportJson(const ModelReport& report, bool per_shell);

}  // namespace vekmesh::cli
