// The model inspection as `vekmesh info` and the before/after lines of
// `repair` print it: plain text and JSON. The JSON goes through a JSON library so
// that whatever a path or a name holds comes out escaped.
#include "cli/model_report.h"

#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>

namespace vekmesh::cli {
namespace {

std::string format(const char* fmt, double a, double b, double c) {
  char buffer[160];
  std::snprintf(buffer, sizeof buffer, fmt, a, b, c);
  return buffer;
}

std::string format(const char* fmt, double a) {
  char buffer[160];
  std::snprintf(buffer, sizeof buffer, fmt, a);
  return buffer;
}

const char* verdict(bool flawed) {
  return flawed ? "flawed" : "ok";
}

// A single-precision bound to nine significant digits, which read back as the
// same float, rather than the long expansion of its double.
double printedFloat(float x) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.9g", x);
  return std::strtod(buffer, nullptr);
}

}  // namespace

std::string reportText(const ModelReport& r, const std::string& indent, bool per_shell) {
  const MeshCensus& c = r.census;
  std::string s;
  s += indent + "triangles      : " + std::to_string(r.triangles) + "\n";
  s += indent + "vertices       : " + std::to_string(r.vertices) + "\n";
  s += indent + "shells         : " + std::to_string(c.shells) + " (closed " +
       std::to_string(c.closed_shells) + ", cavities " + std::to_string(c.cavities) + ")\n";
  s += indent + "solids         : " + std::to_string(r.solids) + "\n";
  s += indent + format("bounds min     : %.4f %.4f %.4f\n", r.lower[0], r.lower[1], r.lower[2]);
  s += indent + format("bounds max     : %.4f %.4f %.4f\n", r.upper[0], r.upper[1], r.upper[2]);
  s += indent + format("volume         : %.6g (signed)\n", c.signed_volume);
  s += indent + format("area           : %.6g\n", r.census.area);
  std::string verdict_line = r.printable() ? "yes" : "no";
  const std::vector<std::string> reasons = r.reasons();
  for (size_t i = 0; i < reasons.size(); ++i) verdict_line += (i ? ", " : ": ") + reasons[i];
  if (r.intersecting_pairs < 0) verdict_line += " (shell intersections not searched)";
  if (!c.nesting_complete) verdict_line += " (nesting search cut short)";
  s += indent + "printable      : " + verdict_line + "\n";
  s += indent + "flaw counts    : open edges: " + std::to_string(c.open_edges) +
       ", non-manifold edges: " + std::to_string(c.non_manifold_edges) +
       ", mis-oriented edges: " + std::to_string(c.misoriented_edges) +
       ", repeated-vertex faces: " + std::to_string(c.repeated_vertex_faces) +
       ", duplicate faces: " + std::to_string(c.duplicate_faces) +
       ", inside-out shells: " + std::to_string(c.inside_out_shells) +
       ", zero-volume parts: " + std::to_string(c.zero_volume_parts) +
       ", intersecting shell pairs: " +
       (r.intersecting_pairs < 0 ? std::string("not searched")
                                 : std::to_string(r.intersecting_pairs)) +
       "\n";
  s += indent + "host flaw test : strict " + verdict(r.flawed[0]) + ", orientation ignored " +
       verdict(r.flawed[1]) + ", lenient " + verdict(r.flawed[2]) + "\n";
  s += indent + "host counters  : repeated-vertex faces: " + std::to_string(r.counters[0]) +
       ", open edges: " + std::to_string(r.counters[1]) +
       ", non-manifold edges: " + std::to_string(r.counters[2]) +
       ", faces of inside-out shells: " + std::to_string(r.counters[3]) + "\n";
  if (per_shell)
    for (size_t i = 0; i < c.shell_census.size(); ++i) {
      const ShellCensus& shell = c.shell_census[i];
      s += indent + "shell " + std::to_string(i + 1) + ": " +
           counted(shell.faces, "face", "faces") + ", " + shellKindName(shell.kind) +
           format(", volume %.6g", shell.signed_volume) + format(", area %.6g", shell.area);
      if (shell.open_edges) s += ", " + counted(shell.open_edges, "open edge", "open edges");
      if (shell.non_manifold_edges)
        s += ", " + counted(shell.non_manifold_edges, "non-manifold edge", "non-manifold edges");
      if (shell.misoriented_edges)
        s += ", " + counted(shell.misoriented_edges, "mis-oriented edge", "mis-oriented edges");
      s += "\n";
    }
  return s;
}

nlohmann::ordered_json reportJson(const ModelReport& r, bool per_shell) {
  using json = nlohmann::ordered_json;
  const MeshCensus& c = r.census;
  json census = {{"open_edges", c.open_edges},
                 {"non_manifold_edges", c.non_manifold_edges},
                 {"misoriented_edges", c.misoriented_edges},
                 {"repeated_vertex_faces", c.repeated_vertex_faces},
                 {"duplicate_faces", c.duplicate_faces},
                 {"closed_shells", c.closed_shells},
                 {"inside_out_shells", c.inside_out_shells},
                 {"cavities", c.cavities},
                 {"zero_volume_parts", c.zero_volume_parts},
                 {"watertight", c.watertight()},
                 {"nesting_complete", c.nesting_complete}};
  census["intersecting_shell_pairs"] =
      r.intersecting_pairs < 0 ? json(nullptr) : json(r.intersecting_pairs);
  json out = {
      {"triangles", r.triangles},
      {"vertices", r.vertices},
      {"shells", c.shells},
      {"solids", r.solids},
      {"bounds",
       {{"min", {printedFloat(r.lower[0]), printedFloat(r.lower[1]), printedFloat(r.lower[2])}},
        {"max", {printedFloat(r.upper[0]), printedFloat(r.upper[1]), printedFloat(r.upper[2])}}}},
      {"volume", c.signed_volume},
      {"area", c.area},
      {"printable", r.printable()},
      {"reasons", r.reasons()},
      {"census", census},
      {"host_flaw_test",
       {{"flawed",
         {{"strict", r.flawed[0]}, {"orientation_ignored", r.flawed[1]}, {"lenient", r.flawed[2]}}},
        {"counters",
         {{"repeated_vertex_faces", r.counters[0]},
          {"open_edges", r.counters[1]},
          {"non_manifold_edges", r.counters[2]},
          {"inside_out_shell_faces", r.counters[3]}}}}},
  };
  if (per_shell) {
    json shells = json::array();
    for (const ShellCensus& shell : c.shell_census)
      shells.push_back({{"faces", shell.faces},
                        {"kind", shellKindName(shell.kind)},
                        {"volume", shell.signed_volume},
                        {"area", shell.area},
                        {"open_edges", shell.open_edges},
                        {"non_manifold_edges", shell.non_manifold_edges},
                        {"misoriented_edges", shell.misoriented_edges}});
    out["shell_list"] = shells;
  }
  return out;
}

}  // namespace vekmesh::cli
