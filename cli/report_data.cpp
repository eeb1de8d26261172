// Gathering the report: the inspection of `vekmesh info` (with the census
// listing the flaw edges it counts), the repair of `vekmesh repair` on a copy,
// the print orientation and the weak sections on copies, and the view's
// geometry sampled down to the caps.
#include "cli/report_data.h"

#include <array>
#include <cmath>
#include <utility>

#include "analysis/print_orientation.h"
#include "analysis/sectional_analysis.h"
#include "analysis/weakness_reduction.h"
#include "cli/model_files.h"
#include "cli/model_report.h"
#include "cli/repair_outcome.h"
#include "mesh/mesh_utils.h"

namespace vekmesh::cli {
namespace {

using Json = nlohmann::ordered_json;

// The weakness export's settings: the automatic spacing's change ratio, and
// all 13 directions with a section weak above a score of 0.5.
constexpr float kSectionChangeRatio = 0.5f;
constexpr uint8_t kAllDirections = 0;
// The tool's default attitude search: support volume and overhanging area.
constexpr int32_t kOrientationMode = 1;

// The smallest step k for which every k-th of `count` items fits in `cap`.
size_t strideFor(size_t count, size_t cap) {
  return count <= cap ? 1 : (count + cap - 1) / cap;
}

// Faces shown (every stride-th live face) with their vertices renumbered in
// order of first use, so that a sampled view carries no unused vertex.
void addFaces(const TriMesh& mesh, ReportGeometry& g, size_t stride) {
  std::vector<uint32_t> face_shell(mesh.faces.size(), 0);
  for (size_t s = 0; s < mesh.shells.size(); ++s)
    for (const int32_t f : mesh.shells[s]) face_shell[size_t(f)] = uint32_t(s);
  std::vector<int32_t> number(mesh.vertices.size(), -1);
  size_t live = 0;
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    const Face& face = mesh.faces[f];
    if (face.removed) continue;
    if (live++ % stride != 0) continue;
    for (const int32_t v : face.v) {
      if (number[size_t(v)] < 0) {
        number[size_t(v)] = int32_t(g.positions.size() / 3);
        const auto& p = mesh.vertices[size_t(v)].position;
        g.positions.insert(g.positions.end(), p.begin(), p.end());
      }
      g.indices.push_back(uint32_t(number[size_t(v)]));
    }
    g.face_shell.push_back(face_shell[f]);
  }
}

// The edges as segments (two points each), every stride-th.
std::vector<float> segments(const TriMesh& mesh, const std::vector<std::array<int32_t, 2>>& edges) {
  const size_t stride = strideFor(edges.size(), kMaxViewEdges);
  std::vector<float> out;
  out.reserve(6 * (edges.size() / stride + 1));
  for (size_t i = 0; i < edges.size(); i += stride)
    for (const int32_t v : edges[i]) {
      const auto& p = mesh.vertices[size_t(v)].position;
      out.insert(out.end(), p.begin(), p.end());
    }
  return out;
}

// A float as JSON: NaN and infinities (a hostile file's) become null.
Json number(double x) {
  return std::isfinite(x) ? Json(x) : Json(nullptr);
}

Json weakSections(const TriMesh& mesh, const RunContext& run) {
  TriMesh copy = mesh;
  copy.analysisRecords.clear();
  reduceForWeakness(copy, run.sub(0.0, 0.3));
  rebuildTopology(copy);
  sectionalAnalysis(copy, kSectionChangeRatio, kAllDirections, run.sub(0.3, 1.0));
  Json list = Json::array();
  for (const AnalysisRecord& record : copy.analysisRecords) {
    Json outlines = Json::array();
    for (const auto& group : record.outlineGroups)
      for (const AnalysisRecord::Polygon& polygon : group) {
        Json points = Json::array();
        for (const auto& p : polygon) points.push_back({number(p[0]), number(p[1]), number(p[2])});
        outlines.push_back(std::move(points));
      }
    list.push_back({{"score", number(record.score)},
                    {"direction", record.direction},
                    {"outlines", std::move(outlines)}});
  }
  return list;
}

// The box of the live faces' corners, as [[min x, y, z], [max x, y, z]].
Json liveBounds(const SubMesh& mesh) {
  std::array<float, 3> lo{INFINITY, INFINITY, INFINITY}, hi{-INFINITY, -INFINITY, -INFINITY};
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (const int32_t v : f.v)
      for (int a = 0; a < 3; ++a) {
        lo[a] = std::fmin(lo[a], mesh.vertices[size_t(v)].position[a]);
        hi[a] = std::fmax(hi[a], mesh.vertices[size_t(v)].position[a]);
      }
  }
  return {{number(lo[0]), number(lo[1]), number(lo[2])},
          {number(hi[0]), number(hi[1]), number(hi[2])}};
}

// The angles, and the box of the turned model, by which a viewer can check
// that it turns the model the same way.
Json printOrientation(const TriMesh& mesh, const RunContext& run) {
  TriMesh copy = mesh;
  std::array<double, 3> angles{};
  optimizeOrientation(copy, angles, kOrientationMode, kOverhangAngle, run);
  return {{"mode", kOrientationMode},
          {"rx", angles[0]},
          {"ry", angles[1]},
          {"rz", angles[2]},
          {"rotation", "Rz(rz) Ry(ry) Rx(rx) about the origin, then lowest point to z = 0"},
          {"turned_bounds", liveBounds(copy)}};
}

}  // namespace

ReportData gatherReport(const ReportOptions& o, const RunContext& run) {
  ReportData data;
  TriMesh mesh;
  LoadedModel loaded = loadModel(o.input, mesh, run.sub(0.0, 0.3));
  CensusEdges edges;
  const ModelReport before =
      inspectModel(mesh, loaded.adjacency, o.find_intersections, run, &edges);
  run.report(0.35);

  ReportGeometry& g = data.geometry;
  const size_t stride = strideFor(before.triangles, kMaxViewTriangles);
  addFaces(mesh, g, stride);
  for (const ShellCensus& shell : before.census.shell_census)
    g.shell_kind.push_back(uint8_t(shell.kind));
  g.open_edges = segments(mesh, edges.open);
  g.non_manifold_edges = segments(mesh, edges.non_manifold);

  Json& s = data.summary;
  s["input"] = o.input;
  s["load"] = loadJson(loaded);
  s["model"] = reportJson(before, o.per_shell);
  s["view"] = {{"triangles", g.indices.size() / 3},
               {"triangle_stride", stride},
               {"open_edges", g.open_edges.size() / 6},
               {"non_manifold_edges", g.non_manifold_edges.size() / 6},
               {"colour_shells", o.per_shell},
               {"max_triangles", kMaxViewTriangles},
               {"max_edges", kMaxViewEdges}};
  if (o.repair) {
    TriMesh repaired = mesh;
    CornerAdjacency adjacency = loaded.adjacency;
    const RepairOutcome outcome = repairModel(repaired, adjacency, before, o.described,
                                              o.find_intersections, run.sub(0.35, 0.6));
    s["repair"] = {{"account", outcome.account}, {"after", reportJson(outcome.after, o.per_shell)}};
  }
  run.report(0.6);
  if (o.analysis && before.triangles > 0) {
    s["orientation"] = printOrientation(mesh, run.sub(0.6, 0.75));
    s["weak_sections"] = weakSections(mesh, run.sub(0.75, 0.98));
  }
  run.report(1.0);
  return data;
}

}  // namespace vekmesh::cli
