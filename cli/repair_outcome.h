// What `vekmesh repair` does and says about its own work: the thorough repair
// (or the exports' pipeline) with the never-worse rule, and its steps in a
// line and a JSON object. The report subcommand runs the same repair.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "cli/model_report.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"
#include "repair/thorough_repair.h"

namespace vekmesh::cli {

// One line (after `indent`) and one JSON object for the thorough repair.
std::string thoroughText(const ThoroughRepairReport& report, const std::string& indent);
nlohmann::ordered_json thoroughJson(const ThoroughRepairReport& report);

struct RepairOutcome {
  ModelReport after;
  nlohmann::ordered_json account;  // the repair's steps
  std::string account_text;        // the same, as lines after two spaces
  // The thorough repair would have added a flaw: `mesh` is no longer the
  // model as read, and the caller hands that back instead (`after` is
  // `before` then).
  bool kept_as_it_was = false;
};

// Repairs `mesh`, whose state `before` describes (from `adjacency`, which the
// thorough repair reuses): the exports' pipeline with `described`, else the
// thorough repair. Then inspects the result as inspectModel does.
RepairOutcome repairModel(TriMesh& mesh, CornerAdjacency& adjacency, const ModelReport& before,
                          bool described, bool find_intersections, const RunContext& run);

}  // namespace vekmesh::cli
