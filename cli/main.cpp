// The vekmesh command-line tool: inspect, report on (a page to open), repair, reduce, subdivide,
// remesh, separate, orient, convert, voxelise, hollow and turn models into lampshades from a
// terminal, on the same core as the shared library.
#include <CLI/CLI.hpp>
#include <array>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "analysis/print_orientation.h"
#include "cli/face_selection.h"
#include "cli/html_report.h"
#include "cli/model_files.h"
#include "cli/model_report.h"
#include "cli/progress_bar.h"
#include "cli/repair_outcome.h"
#include "cli/report_data.h"
#include "design/hollowing.h"
#include "design/lampshade.h"
#include "design/voxel_grid.h"
#include "design/voxel_mesh_cleanup.h"
#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/mesh_reducer.h"
#include "remesh/remesher.h"
#include "remesh/subdivision.h"
#include "repair/separation.h"

namespace vekmesh::cli {
namespace {

// Keys come out in the order they are written.
using Json = nlohmann::ordered_json;

struct Options {
  bool json = false;
  bool log = false;
  bool per_shell = false;
  bool no_intersections = false;
  bool described = false;
  bool repair = false;       // report: with the repair's before and after
  bool no_analysis = false;  // report: without weak sections and orientation
  std::string input;
  std::string output;
  double ratio = 0.5;
  double max_error = 0.05;
  double min_cosine = 0.99;
  int orient_mode = 1;
  float voxel_size = 1.0f;
  float wall = 2.0f;
  bool preview = false;
  std::string faces;  // remesh: the face list, or a file of it; empty = all
  // subdivide
  int32_t level = 1;
  bool colour = false;
};

void appendToLogFile(std::string_view text, void*) {
  appendLogFile(".", text);
}

// The run context of one subcommand: progress to its bar (if it has one),
// and with --log the operation log appended to logFile.log in the working
// directory.
RunContext toolContext(const Options& o, ProgressSink progress) {
  return RunContext(progress, o.log ? LogSink{appendToLogFile, nullptr} : LogSink{});
}

// Loads the input within [0, 50] of `run`, as the exports do.
LoadedModel loadInput(const Options& o, TriMesh& mesh, const RunContext& run) {
  return loadModel(o.input, mesh, run.sub(0.0, 0.5));
}

// One line of JSON. Paths are whatever bytes the user gave: invalid UTF-8 is
// replaced rather than allowed to stop the output.
void printJson(const Json& value) {
  std::printf("%s\n", value.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

// The names an operation that remakes faces hands on: the materials stay
// with their faces, the face groups do not.
ModelNames namesAfterRemaking(const LoadedModel& loaded) {
  ModelNames names = loaded.model_names;
  names.faceGroups.clear();
  return names;
}

std::string loadText(const LoadedModel& loaded, const std::string& indent) {
  std::string text = indent + "dropped at load: " + std::to_string(loaded.triangles_dropped) +
                     " of " + std::to_string(loaded.triangles_read) +
                     " triangles (corners welded together)\n";
  for (size_t i = 0; i < loaded.names.size(); ++i)
    text += indent + "texture " + std::to_string(i) + "      : " + loaded.names[i] + "\n";
  if (!loaded.names.empty()) return text;
  const std::vector<MaterialName>& materials = loaded.model_names.materials;
  for (size_t i = 0; i < materials.size(); ++i)
    text += indent + "material " + std::to_string(i) + "     : " +
            (materials[i].name.empty() ? "(no name)" : materials[i].name) +
            (materials[i].image.empty() ? "" : ", image " + materials[i].image) + "\n";
  if (!loaded.model_names.groups.empty())
    text += indent + "groups         : " + std::to_string(loaded.model_names.groups.size()) + "\n";
  return text;
}

void runInfo(const Options& o) {
  TriMesh mesh;
  const RunContext run = toolContext(o, ProgressSink{});
  const LoadedModel loaded = loadInput(o, mesh, run);
  const ModelReport report = inspectModel(mesh, loaded.adjacency, !o.no_intersections, run);
  if (o.json) {
    printJson({{"input", o.input},
               {"load", loadJson(loaded)},
               {"model", reportJson(report, o.per_shell)}});
  } else {
    std::printf("%s\n%s%s", o.input.c_str(), loadText(loaded, "  ").c_str(),
                reportText(report, "  ", o.per_shell).c_str());
  }
}

void runRepair(const Options& o) {
  TriMesh mesh;
  ModelReport before;
  LoadedModel loaded;
  RepairOutcome outcome;
  {
    ProgressBar bar("repair");
    const RunContext run = toolContext(o, bar.sink());
    loaded = loadInput(o, mesh, run);
    before = inspectModel(mesh, loaded.adjacency, !o.no_intersections);
    run.report(0.50);
    outcome = repairModel(mesh, loaded.adjacency, before, o.described, !o.no_intersections,
                          run.sub(0.50, 0.80));
    run.report(0.80);
    // Should the repair have added a flaw, the model goes out as it came in.
    if (outcome.kept_as_it_was) {
      mesh = TriMesh{};
      loaded = loadModel(o.input, mesh);
    }
    saveModel(o.output, mesh, namesAfterRemaking(loaded));
    run.report(1.0);
  }
  if (o.json) {
    printJson({{"input", o.input},
               {"output", o.output},
               {"load", loadJson(loaded)},
               {"repair", outcome.account},
               {"before", reportJson(before, o.per_shell)},
               {"after", reportJson(outcome.after, o.per_shell)}});
  } else {
    std::printf("%s (before repair)\n%s%s", o.input.c_str(), loadText(loaded, "  ").c_str(),
                reportText(before, "  ", o.per_shell).c_str());
    std::printf("%s (after repair)\n%s%s", o.output.c_str(), outcome.account_text.c_str(),
                reportText(outcome.after, "  ", o.per_shell).c_str());
  }
}

// Triangles of the input and of the model written.
struct ModelCounts {
  size_t before = 0, after = 0;
};

// The frame of the subcommands that turn the input into one output model:
// load within [0, 50], `work(mesh, run)` from 50, the file written from
// `save_mark`.
template <class Work>
ModelCounts transformModel(const Options& o, const char* name, double save_mark, Work&& work) {
  TriMesh mesh;
  ModelCounts counts;
  {
    ProgressBar bar(name);
    const RunContext run = toolContext(o, bar.sink());
    const LoadedModel loaded = loadInput(o, mesh, run);
    counts.before = liveFaceCount(mesh);
    run.report(0.50);
    work(mesh, run);
    run.report(save_mark);
    saveModel(o.output, mesh, namesAfterRemaking(loaded));
    run.report(1.0);
  }
  counts.after = liveFaceCount(mesh);
  return counts;
}

// "IN: n triangles -> OUT: m triangles<text_tail>", or one line of JSON with
// `fields` between the paths and the counts.
void printCounts(const Options& o, const ModelCounts& counts, const Json& fields,
                 const std::string& text_tail = "") {
  if (o.json) {
    Json line = {{"input", o.input}, {"output", o.output}};
    for (const auto& field : fields.items()) line[field.key()] = field.value();
    line["triangles_before"] = counts.before;
    line["triangles_after"] = counts.after;
    printJson(line);
  } else {
    std::printf("%s: %zu triangles -> %s: %zu triangles%s\n", o.input.c_str(), counts.before,
                o.output.c_str(), counts.after, text_tail.c_str());
  }
}

void runReduce(const Options& o) {
  const ModelCounts counts = transformModel(o, "reduce", 0.80, [&](TriMesh& mesh, auto& run) {
    reduceMesh(mesh, o.ratio, o.max_error, o.min_cosine, run);
    rebuildTopology(mesh);
  });
  printCounts(o, counts, Json::object());
}

// Isotropic remeshing of the faces --faces lists (all without it); the rest
// of the model is written back as it was read.
void runRemesh(const Options& o) {
  TriMesh mesh;
  size_t before = 0;
  RemeshReport report;
  {
    ProgressBar bar("remesh");
    const RunContext run = toolContext(o, bar.sink());
    const LoadedModel loaded = loadInput(o, mesh, run);
    before = liveFaceCount(mesh);
    const std::vector<int32_t> faces = parseFaceSelection(o.faces, mesh.faces.size());
    if (!o.faces.empty() && faces.empty())
      throw UserError("--faces names no face of the model (it has " + std::to_string(before) + ")");
    run.report(0.50);
    report = remeshMesh(mesh, faces.empty() ? nullptr : faces.data(),
                        static_cast<uint32_t>(faces.size()), run.sub(0.50, 0.90));
    rebuildTopology(mesh);
    saveModel(o.output, mesh, namesAfterRemaking(loaded));
    run.report(1.0);
  }
  const size_t after = liveFaceCount(mesh);
  if (o.json)
    printJson({{"input", o.input},
               {"output", o.output},
               {"triangles_before", before},
               {"triangles_after", after},
               {"remeshed_faces", report.selected_faces},
               {"result_faces", report.result_faces},
               {"target_edge", report.target_length},
               {"capped", report.capped}});
  else
    std::printf(
        "%s: %zu triangles -> %s: %zu triangles (%zu faces remeshed into %zu, target edge %g)\n",
        o.input.c_str(), before, o.output.c_str(), after, report.selected_faces,
        report.result_faces, report.target_length);
}

void runOrient(const Options& o) {
  TriMesh mesh;
  std::array<double, 3> angles{};
  {
    ProgressBar bar("orient");
    const RunContext run = toolContext(o, bar.sink());
    const LoadedModel loaded = loadInput(o, mesh, run);
    run.report(0.50);
    optimizeOrientation(mesh, angles, o.orient_mode, kOverhangAngle, run.sub(0.5, 0.9));
    run.report(0.90);
    // The faces stay as they were; only the vertices turn.
    saveModel(o.output, mesh, loaded.model_names);
    run.report(1.0);
  }
  if (o.json)
    printJson({{"input", o.input},
               {"output", o.output},
               {"rx", angles[0]},
               {"ry", angles[1]},
               {"rz", angles[2]}});
  else
    std::printf("%s -> %s: Rx %.3f, Ry %.3f, Rz %.3f degrees\n", o.input.c_str(), o.output.c_str(),
                angles[0], angles[1], angles[2]);
}

// out.stl -> out-1.stl, out-2.stl, ...
std::string partPath(const std::string& output, size_t part) {
  const std::filesystem::path p(output);
  return (p.parent_path() /
          (p.stem().string() + "-" + std::to_string(part) + p.extension().string()))
      .string();
}

void runSeparate(const Options& o) {
  TriMesh mesh;
  LoadedModel loaded;
  {
    ProgressBar bar("separate");
    const RunContext run = toolContext(o, bar.sink());
    loaded = loadInput(o, mesh, run);
    run.report(0.50);
    separateShells(mesh, run);
    run.report(1.0);
  }
  std::vector<std::string> written;
  try {
    for (size_t i = 0; i < mesh.pieces.size(); ++i) {
      written.push_back(partPath(o.output, i + 1));
      saveModel(written.back(), mesh.pieces[i], namesAfterRemaking(loaded));
    }
  } catch (...) {
    std::error_code ec;
    for (const std::string& path : written) std::filesystem::remove(path, ec);
    throw;
  }
  if (o.json) {
    Json parts = Json::array();
    for (size_t i = 0; i < written.size(); ++i)
      parts.push_back({{"path", written[i]}, {"triangles", mesh.pieces[i].faces.size()}});
    printJson({{"input", o.input}, {"parts", parts}});
  } else {
    std::printf("%s: %zu parts\n", o.input.c_str(), written.size());
    for (size_t i = 0; i < written.size(); ++i)
      std::printf("  %s: %zu triangles\n", written[i].c_str(), mesh.pieces[i].faces.size());
  }
}

// The exports' voxel model, cleaned of voxel contacts so that the file is
// closed and two-manifold as written (the export hands back the contacts).
void runVoxelize(const Options& o) {
  const ModelCounts counts = transformModel(o, "voxelize", 0.90, [&](TriMesh& mesh, auto& run) {
    const int result = voxelizeToSurface(mesh, o.voxel_size, run);
    if (result == 1)
      throw UserError("no voxel face remains at voxel size " + std::to_string(o.voxel_size) +
                      ": the model is thinner than about two voxels everywhere");
    if (result != 0)
      throw UserError("voxel size " + std::to_string(o.voxel_size) + " would need more than " +
                      std::to_string(kMaxVoxels) + " voxels for this model");
    separateVoxelContacts(mesh);
  });
  char tail[64];
  std::snprintf(tail, sizeof tail, " of voxel faces (voxel size %g)", double{o.voxel_size});
  printCounts(o, counts, {{"voxel_size", o.voxel_size}}, tail);
}

// The model a user prints: its own surface and the core's surface turned
// inwards as the cavity.
void runHollow(const Options& o) {
  TriMesh mesh;
  HollowReport report;
  {
    ProgressBar bar("hollow");
    const RunContext run = toolContext(o, bar.sink());
    const LoadedModel loaded = loadInput(o, mesh, run);
    run.report(0.50);
    SubMesh core = mesh;
    if (hollowMesh(core, o.wall, run.sub(0.50, 0.90), &report) != 0)
      throw UserError("nothing to hollow: a wall of " + std::to_string(o.wall) +
                      " leaves fewer than 100 voxels of " + std::to_string(report.voxelSize) +
                      " inside the model (is it closed, and thicker than twice the wall?)");
    for (Face& f : core.faces) {
      std::swap(f.v[0], f.v[1]);
      std::swap(f.uv[0], f.uv[1]);
      for (int channel = 0; channel < 3; ++channel)
        std::swap(f.colors[0][channel], f.colors[1][channel]);
    }
    core.incidentCorners.rebuild(core.faces, core.vertices.size());
    appendMesh(mesh, std::move(core));
    saveModel(o.output, mesh, namesAfterRemaking(loaded));
    run.report(1.0);
  }
  const double share = report.coreVolume / report.modelVolume;
  if (o.json)
    printJson({{"input", o.input},
               {"output", o.output},
               {"wall", o.wall},
               {"voxel_size", report.voxelSize},
               {"wall_layers", report.layers},
               {"model_volume", report.modelVolume},
               {"hollow_volume", report.coreVolume},
               {"hollow_share", share},
               {"triangles", liveFaceCount(mesh)}});
  else
    std::printf(
        "%s -> %s: hollow share %.2f %% (%.6g of %.6g cubic units), voxel size %g, %d wall "
        "layers, %zu triangles\n",
        o.input.c_str(), o.output.c_str(), 100.0 * share, report.coreVolume, report.modelVolume,
        double{report.voxelSize}, report.layers, liveFaceCount(mesh));
}

// The lampshade preview: the base outlines and the inner outlines the wall
// leaves there, listed point by point with --json.
void runLampshadePreview(const Options& o) {
  TriMesh mesh;
  loadModel(o.input, mesh, toolContext(o, {}));
  PolygonOutlines outlines;
  const int32_t status = previewLampshade(mesh, o.wall, outlines, toolContext(o, {}));
  const size_t polygons = outlines.pointCounts.size();
  size_t base = 0;
  for (int32_t label : outlines.labels) base += label == kBaseOutline;
  if (o.json) {
    Json list = Json::array();
    size_t at = 0;
    for (size_t p = 0; p < polygons; ++p) {
      Json points = Json::array();
      for (int32_t i = 0; i < outlines.pointCounts[p]; ++i, at += 3)
        points.push_back({outlines.points[at], outlines.points[at + 1], outlines.points[at + 2]});
      list.push_back({{"kind", outlines.labels[p] == kBaseOutline ? "base" : "inner"},
                      {"points", std::move(points)}});
    }
    printJson({{"input", o.input},
               {"wall", o.wall},
               {"status", status},
               {"base_outlines", base},
               {"inner_outlines", polygons - base},
               {"outlines", std::move(list)}});
    return;
  }
  std::printf("%s: %s, %zu base and %zu inner outlines for a wall of %g\n", o.input.c_str(),
              status == 1 ? "a shade fits"
                          : "no shade fits (lower than 15 units, or no base "
                            "wide enough for the wall and 2 units more)",
              base, polygons - base, double{o.wall});
  size_t at = 0;
  for (size_t p = 0; p < polygons; ++p) {
    const int32_t n = outlines.pointCounts[p];
    double area = 0.0;
    for (int32_t i = 0; i < n; ++i) {
      const size_t a = at + 3 * static_cast<size_t>(i);
      const size_t b = at + 3 * static_cast<size_t>((i + 1) % n);
      area += double{outlines.points[a]} * outlines.points[b + 1] -
              double{outlines.points[b]} * outlines.points[a + 1];
    }
    std::printf("  %-5s %zu: %d points, signed area %.4f, at z = %g\n",
                outlines.labels[p] == kBaseOutline ? "base" : "inner", p + 1, n, 0.5 * area,
                n > 0 ? double{outlines.points[at + 2]} : 0.0);
    at += 3 * static_cast<size_t>(n);
  }
}

// The shade: the model's surface with the inner wall the voxel core leaves,
// cut flat at the base.
void runLampshade(const Options& o) {
  if (o.preview) {
    runLampshadePreview(o);
    return;
  }
  TriMesh mesh;
  LampshadeReport report;
  size_t before = 0;
  {
    ProgressBar bar("lampshade");
    const RunContext run = toolContext(o, bar.sink());
    const LoadedModel loaded = loadInput(o, mesh, run);
    before = liveFaceCount(mesh);
    run.report(0.50);
    buildLampshade(mesh, o.wall, run.sub(0.50, 0.95), &report);
    if (!report.built)
      throw UserError("no shade: a wall of " + std::to_string(o.wall) +
                      " leaves too little of the model (is it closed, with a base, and "
                      "thicker than twice the wall?)");
    saveModel(o.output, mesh, namesAfterRemaking(loaded));
    run.report(1.0);
  }
  const size_t after = liveFaceCount(mesh);
  if (o.json)
    printJson({{"input", o.input},
               {"output", o.output},
               {"wall", o.wall},
               {"voxel_size", report.voxelSize},
               {"voxel_height", report.voxelHeight},
               {"wall_layers", report.layers},
               {"stretched_ends", report.stretched},
               {"end_band", report.endBand},
               {"base_attempt", report.baseAttempt},
               {"triangles_before", before},
               {"triangles_after", after}});
  else
    std::printf(
        "%s: %zu triangles -> %s: shade of %zu triangles, wall %g (%d layers of voxels %g wide "
        "and %g high), %s\n",
        o.input.c_str(), before, o.output.c_str(), after, double{o.wall}, report.layers,
        double{report.voxelSize}, double{report.voxelHeight},
        report.baseAttempt >= 0 ? ("base cut flat at z = " +
                                   formatFixed(report.baseHeight + 0.1 + 0.5 * report.baseAttempt))
                                      .c_str()
                                : "base left uncut (no clean cut within 2.6 units of the bottom)");
}

void runConvert(const Options& o) {
  TriMesh mesh;
  const LoadedModel loaded = loadModel(o.input, mesh);
  saveModel(o.output, mesh, loaded.model_names);
  if (o.json)
    printJson({{"input", o.input}, {"output", o.output}, {"triangles", liveFaceCount(mesh)}});
  else
    std::printf("%s -> %s: %zu triangles\n", o.input.c_str(), o.output.c_str(),
                liveFaceCount(mesh));
}

// Mode 1 (smooth, keeping creases) and a rebuild; with --colour then mode 0
// (refining colour boundaries and texture seams) and a rebuild, the chain of
// the colour export.
void runSubdivide(const Options& o) {
  const ModelCounts counts = transformModel(o, "subdivide", 0.90, [&](TriMesh& mesh, auto& run) {
    subdivideMesh(mesh, o.level, 1, run.sub(0.5, o.colour ? 0.7 : 0.9));
    rebuildTopology(mesh);
    if (!o.colour) return;
    subdivideMesh(mesh, o.level, 0, run.sub(0.7, 0.9));
    rebuildTopology(mesh);
  });
  printCounts(o, counts, {{"level", o.level}, {"colour", o.colour}});
}

// One HTML page (or with --json the same summary as JSON) about the model.
void runReport(const Options& o) {
  ReportData data;
  {
    ProgressBar bar("report");
    const RunContext run = toolContext(o, bar.sink());
    ReportOptions options;
    options.input = o.input;
    options.repair = o.repair;
    options.described = o.described;
    options.per_shell = o.per_shell;
    options.find_intersections = !o.no_intersections;
    options.analysis = !o.no_analysis;
    data = gatherReport(options, run.sub(0.0, 0.9));
    if (o.json)
      writeReportJson(o.output, data);
    else
      writeReportPage(o.output, data);
    run.report(1.0);
  }
  const Json& model = data.summary["model"];
  std::printf("%s -> %s: %s of %zu triangles, printable: %s\n", o.input.c_str(), o.output.c_str(),
              o.json ? "report data" : "report page", model["triangles"].get<size_t>(),
              model["printable"].get<bool>() ? "yes" : "no");
}

}  // namespace
}  // namespace vekmesh::cli

int main(int argc, char** argv) {
  using namespace vekmesh::cli;
  Options o;
  CLI::App app{
      "vekmesh: inspect, report on, repair, reduce, subdivide, remesh, separate, orient, convert, "
      "voxelise, hollow and turn into lampshades triangle meshes"};
  app.require_subcommand(1);
  app.add_flag("--json", o.json, "print machine-readable results");
  app.set_version_flag("--version", std::string("vekmesh ") + VEKMESH_VERSION,
                       "print the library's version and exit");
  app.add_flag("--log", o.log, "append the operation log to logFile.log in the working directory");

  auto input = [&](CLI::App* sub) {
    sub->fallthrough();
    sub->add_option(
           "input", o.input,
           "model file (.stl, .obj, .ply, .3mf, .wrl, .wrz, .x3d, .x3dz, .igs, .iges, .stp, .step; "
           "any case)")
        ->required();
  };
  auto output = [&](CLI::App* sub, const char* what) {
    sub->add_option("-o,--output", o.output, what)->required();
  };

  auto census = [&](CLI::App* sub) {
    sub->add_flag("--shells", o.per_shell, "print one line per shell: faces, kind, signed volume");
    sub->add_flag("--no-intersections", o.no_intersections,
                  "skip the search for shells that pass through one another");
  };
  CLI::App* info = app.add_subcommand(
      "info", "print counts, bounds, signed volume, area, the printable verdict and the flaws");
  input(info);
  census(info);
  CLI::App* repair = app.add_subcommand(
      "repair",
      "repair a model and write the result: weld cracks within a tolerance relative to the "
      "model, remove duplicate and opposite faces, make windings consistent (splitting edges of "
      "more than two faces into sheets), fill holes, turn shells outwards by their volume and "
      "nesting, remove parts that enclose nothing; never hands back more of a flaw than given");
  input(repair);
  output(repair, "repaired model file");
  census(repair);
  repair->add_flag("--described", o.described,
                   "run the exports' pipeline instead: snap to a 1/5000 grid, remove duplicate "
                   "faces, orient each shell by its topmost vertex, fill holes");
  CLI::App* reduce = app.add_subcommand("reduce", "reduce the triangle count");
  input(reduce);
  output(reduce, "reduced model file");
  reduce->add_option("--ratio", o.ratio, "share of the triangles to keep (0..1)")
      ->capture_default_str()
      ->check(CLI::Range(-1.0, 1.0));
  reduce->add_option("--max-error", o.max_error, "largest error allowed, in model units")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  reduce
      ->add_option("--min-cos", o.min_cosine,
                   "smallest cosine allowed between a face normal before and after")
      ->capture_default_str()
      ->check(CLI::Range(-1.0, 1.0));
  CLI::App* remesh = app.add_subcommand(
      "remesh",
      "remesh the selected faces (all without --faces) into even triangles of the selection's "
      "mean edge length; the rest of the model, the selection's border and sharp edges stay");
  input(remesh);
  output(remesh, "remeshed model file");
  remesh->add_option("--faces", o.faces,
                     "face indices such as 0,5,7-20, or a text file of them (numbered as the "
                     "model is read: welded, in file order)");
  CLI::App* separate = app.add_subcommand("separate", "write every part to a file of its own");
  input(separate);
  output(separate, "output name; parts are written as NAME-1.EXT, NAME-2.EXT, ...");
  CLI::App* orient = app.add_subcommand(
      "orient",
      "turn a model into the attitude that needs the least support, resting on z = 0, and "
      "print the rotation as Rx, Ry, Rz (degrees, applied about x, then y, then z)");
  input(orient);
  output(orient, "oriented model file");
  orient
      ->add_option("--mode", o.orient_mode,
                   "1: also weigh the overhanging area; 2: also weigh weak cross-sections; "
                   "0: support volume only")
      ->capture_default_str()
      ->check(CLI::Range(0, 2));
  CLI::App* convert = app.add_subcommand("convert", "convert between formats by extension");
  input(convert);
  convert
      ->add_option("output", o.output,
                   "output model file (.stl, .obj with its .mtl, .ply, .3mf, .gltf, .glb)")
      ->required();

  CLI::App* voxelize = app.add_subcommand(
      "voxelize", "turn the model into voxels and write the closed surface of their outer faces");
  input(voxelize);
  output(voxelize, "voxel model file");
  voxelize->add_option("--size", o.voxel_size, "voxel edge, in model units")
      ->required()
      ->check(CLI::PositiveNumber);
  CLI::App* hollow = app.add_subcommand(
      "hollow",
      "hollow a closed model, leaving walls of the given thickness: writes the model with the "
      "cavity's surface turned inwards and prints the share of the volume taken out");
  input(hollow);
  output(hollow, "hollowed model file");
  hollow->add_option("--wall", o.wall, "wall thickness, in model units")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);

  CLI::App* lampshade = app.add_subcommand(
      "lampshade",
      "turn a closed model standing on a base into a lampshade: its own surface outside, an "
      "inner wall of the given thickness, open at a flat base");
  input(lampshade);
  lampshade->add_option("-o,--output", o.output, "lampshade model file (not with --preview)");
  lampshade->add_option("--wall", o.wall, "wall thickness, in model units")
      ->capture_default_str()
      ->check(CLI::PositiveNumber);
  lampshade->add_flag("--preview", o.preview,
                      "print the base outlines and the inner outlines the wall leaves there "
                      "instead (every point with --json)");

  CLI::App* subdivide = app.add_subcommand(
      "subdivide",
      "subdivide every face into four, smoothing while keeping sharp edges (normals more than "
      "30 degrees apart), borders and seams; rounds past 20 million faces are not made");
  input(subdivide);
  output(subdivide, "subdivided model file");
  subdivide->add_option("--level", o.level, "rounds of subdivision (0 or below: none)")
      ->capture_default_str();
  subdivide->add_flag("--colour", o.colour,
                      "then also split the faces along colour boundaries and texture seams, "
                      "level rounds, without moving anything");

  CLI::App* report = app.add_subcommand(
      "report",
      "write one self-contained HTML page about the model: a 3-D view with open edges in red, "
      "non-manifold edges in orange and inside-out shells tinted, the weak sections and the "
      "print orientation, and the summary of info (with --repair, before and after)");
  input(report);
  output(report, "report file (.html; with --json the summary as JSON instead)");
  report->add_flag("--shells", o.per_shell, "colour each shell on its own and list the shells");
  report->add_flag("--no-intersections", o.no_intersections,
                   "skip the search for shells that pass through one another");
  report->add_flag("--repair", o.repair,
                   "repair a copy as `repair` would and show the summary before and after");
  report->add_flag("--described", o.described, "with --repair: the exports' pipeline");
  report->add_flag("--no-analysis", o.no_analysis,
                   "skip the weak sections and the print orientation");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --version ends the parse too, with exit code 0.
    const int code = app.exit(e);
    return code == 0 ? 0 : 2;
  }
  if (*lampshade && !o.preview && o.output.empty()) {
    std::fprintf(stderr, "vekmesh: lampshade needs -o OUTPUT, or --preview\n");
    return 2;
  }
  try {
    // The report is a page, not a model.
    if (!o.output.empty() && !*report) checkOutputName(o.output);
    if (*info) runInfo(o);
    if (*repair) runRepair(o);
    if (*reduce) runReduce(o);
    if (*remesh) runRemesh(o);
    if (*separate) runSeparate(o);
    if (*orient) runOrient(o);
    if (*convert) runConvert(o);
    if (*voxelize) runVoxelize(o);
    if (*hollow) runHollow(o);
    if (*lampshade) runLampshade(o);
    if (*subdivide) runSubdivide(o);
    if (*report) runReport(o);
  } catch (const UserError& e) {
    std::fprintf(stderr, "vekmesh: error: %s\n", e.what());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "vekmesh: internal error: %s\n", e.what());
    return 3;
  }
  return 0;
}
