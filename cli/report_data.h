// What `vekmesh report` shows: the summary `vekmesh info` and `repair` print
// (the same inspection, the same repair), the weak sections and the print
// orientation, and the geometry of the 3-D view with its flaw overlays.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "mesh/run_context.h"

namespace vekmesh::cli {

// The view holds at most this many triangles and this many edges of each
// overlay. Past either, every k-th one is shown (k the smallest that fits),
// so the page stays a size a browser opens (about 22 bytes a triangle before
// base64, some 60 MB at the cap) and the summary still counts everything.
constexpr size_t kMaxViewTriangles = 2000000;
constexpr size_t kMaxViewEdges = 1000000;

struct ReportOptions {
  std::string input;
  bool repair = false;     // repair a copy and show before and after
  bool described = false;  // the exports' pipeline instead of the thorough repair
  bool per_shell = false;  // colour each shell; list the shells in the summary
  bool find_intersections = true;
  bool analysis = true;  // weak sections and print orientation
};

// The model as drawn: welded vertices, faces by index, each face's shell,
// each shell's kind (the census's ShellKind), and the flaw edges as pairs of
// points.
struct ReportGeometry {
  std::vector<float> positions;      // 3 per vertex
  std::vector<uint32_t> indices;     // 3 per face shown
  std::vector<uint32_t> face_shell;  // 1 per face shown
  std::vector<uint8_t> shell_kind;   // 1 per shell
  std::vector<float> open_edges;     // 6 per edge shown
  std::vector<float> non_manifold_edges;
};

struct ReportData {
  // What --json writes and the page's summary table reads.
  nlohmann::ordered_json summary;
  ReportGeometry geometry;
};

// Loads `options.input` and gathers the report, reporting progress through
// `run`. Throws UserError as loadModel does.
ReportData gatherReport(const ReportOptions& options, const RunContext& run = {});

}  // namespace vekmesh::cli
