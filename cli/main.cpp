// The vekmesh command-line tool: inspect, repair, reduce, separate and convert
// models from a terminal, on the same core as the shared library.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/model_files.h"
#include "cli/model_report.h"
#include "cli/progress_bar.h"
#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/mesh_reducer.h"
#include "repair/repair_pipeline.h"
#include "repair/separation.h"

namespace vekmesh::cli {
namespace {

struct Options {
  bool json = false;
  bool log = false;
  std::string input;
  std::string output;
  double ratio = 0.5;
  double max_error = 0.05;
  double min_cosine = 0.99;
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
CornerAdjacency loadInput(const Options& o, TriMesh& mesh, const RunContext& run) {
  return loadModel(o.input, mesh, run.sub(0.0, 0.5));
}

void runInfo(const Options& o) {
  TriMesh mesh;
  const RunContext run = toolContext(o, ProgressSink{});
  const CornerAdjacency adjacency = loadInput(o, mesh, run);
  const ModelReport report = inspectModel(mesh, adjacency, run);
  if (o.json) {
    std::printf("{\"input\": \"%s\", \"model\": %s}\n", o.input.c_str(),
                reportJson(report).c_str());
  } else {
    std::printf("%s\n%s", o.input.c_str(), reportText(report, "  ").c_str());
  }
}

void runRepair(const Options& o) {
  TriMesh mesh;
  ModelReport before, after;
  {
    ProgressBar bar("repair");
    const RunContext run = toolContext(o, bar.sink());
    before = inspectModel(mesh, loadInput(o, mesh, run));
    run.report(0.50);
    // Unlike the exports, the tool removes duplicate faces at every size.
    const RepairReport repaired =
        repairMesh(mesh, {HoleFilling::kAlways, DuplicateRemoval::kAlways}, run);
    run.report(0.80);
    after = inspectModel(mesh, repaired.adjacency);
    saveModel(o.output, mesh);
    run.report(1.0);
  }
  if (o.json) {
    std::printf("{\"input\": \"%s\", \"output\": \"%s\", \"before\": %s, \"after\": %s}\n",
                o.input.c_str(), o.output.c_str(), reportJson(before).c_str(),
                reportJson(after).c_str());
  } else {
    std::printf("%s (before repair)\n%s", o.input.c_str(), reportText(before, "  ").c_str());
    std::printf("%s (after repair)\n%s", o.output.c_str(), reportText(after, "  ").c_str());
  }
}

void runReduce(const Options& o) {
  TriMesh mesh;
  size_t before = 0;
  {
    ProgressBar bar("reduce");
    const RunContext run = toolContext(o, bar.sink());
    loadInput(o, mesh, run);
    before = liveFaceCount(mesh);
    run.report(0.50);
    reduceMesh(mesh, o.ratio, o.max_error, o.min_cosine, run);
    rebuildTopology(mesh);
    run.report(0.80);
    saveModel(o.output, mesh);
    run.report(1.0);
  }
  const size_t after = liveFaceCount(mesh);
  if (o.json)
    std::printf(
        "{\"input\": \"%s\", \"output\": \"%s\", \"triangles_before\": %zu, "
        "\"triangles_after\": %zu}\n",
        o.input.c_str(), o.output.c_str(), before, after);
  else
    std::printf("%s: %zu triangles -> %s: %zu triangles\n", o.input.c_str(), before,
                o.output.c_str(), after);
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
  {
    ProgressBar bar("separate");
    const RunContext run = toolContext(o, bar.sink());
    loadInput(o, mesh, run);
    run.report(0.50);
    separateShells(mesh, run);
    run.report(1.0);
  }
  std::vector<std::string> written;
  try {
    for (size_t i = 0; i < mesh.pieces.size(); ++i) {
      written.push_back(partPath(o.output, i + 1));
      saveModel(written.back(), mesh.pieces[i]);
    }
  } catch (...) {
    std::error_code ec;
    for (const std::string& path : written) std::filesystem::remove(path, ec);
    throw;
  }
  if (o.json) {
    std::printf("{\"input\": \"%s\", \"parts\": [", o.input.c_str());
    for (size_t i = 0; i < written.size(); ++i)
      std::printf("%s{\"path\": \"%s\", \"triangles\": %zu}", i ? ", " : "", written[i].c_str(),
                  mesh.pieces[i].faces.size());
    std::printf("]}\n");
  } else {
    std::printf("%s: %zu parts\n", o.input.c_str(), written.size());
    for (size_t i = 0; i < written.size(); ++i)
      std::printf("  %s: %zu triangles\n", written[i].c_str(), mesh.pieces[i].faces.size());
  }
}

void runConvert(const Options& o) {
  TriMesh mesh;
  loadModel(o.input, mesh);
  saveModel(o.output, mesh);
  if (o.json)
    std::printf("{\"input\": \"%s\", \"output\": \"%s\", \"triangles\": %zu}\n", o.input.c_str(),
                o.output.c_str(), liveFaceCount(mesh));
  else
    std::printf("%s -> %s: %zu triangles\n", o.input.c_str(), o.output.c_str(),
                liveFaceCount(mesh));
}

}  // namespace
}  // namespace vekmesh::cli

int main(int argc, char** argv) {
  using namespace vekmesh::cli;
  Options o;
  CLI::App app{"vekmesh: inspect, repair, reduce, separate and convert triangle meshes (STL, OBJ)"};
  app.require_subcommand(1);
  app.add_flag("--json", o.json, "print machine-readable results");
  app.set_version_flag("--version", std::string("vekmesh ") + VEKMESH_VERSION,
                       "print the library's version and exit");
  app.add_flag("--log", o.log, "append the operation log to logFile.log in the working directory");

  auto input = [&](CLI::App* sub) {
    sub->fallthrough();
    sub->add_option("input", o.input, "model file (.stl or .obj, any case)")->required();
  };
  auto output = [&](CLI::App* sub, const char* what) {
    sub->add_option("-o,--output", o.output, what)->required();
  };

  CLI::App* info = app.add_subcommand("info", "print counts, bounds, volume, area and flaws");
  input(info);
  CLI::App* repair = app.add_subcommand(
      "repair",
      "repair a model and write the result: snap to a 1/5000 grid, remove duplicate faces (at "
      "every size), make each shell's winding consistent and outward, fill holes");
  input(repair);
  output(repair, "repaired model file");
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
  CLI::App* separate = app.add_subcommand("separate", "write every part to a file of its own");
  input(separate);
  output(separate, "output name; parts are written as NAME-1.EXT, NAME-2.EXT, ...");
  CLI::App* convert = app.add_subcommand("convert", "convert between formats by extension");
  input(convert);
  convert->add_option("output", o.output, "output model file (.stl or .obj)")->required();

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // --version ends the parse too, with exit code 0.
    const int code = app.exit(e);
    return code == 0 ? 0 : 2;
  }
  try {
    if (!o.output.empty()) checkOutputName(o.output);
    if (*info) runInfo(o);
    if (*repair) runRepair(o);
    if (*reduce) runReduce(o);
    if (*separate) runSeparate(o);
    if (*convert) runConvert(o);
  } catch (const UserError& e) {
    std::fprintf(stderr, "vekmesh: error: %s\n", e.what());
    return 1;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "vekmesh: internal error: %s\n", e.what());
    return 3;
  }
  return 0;
}
