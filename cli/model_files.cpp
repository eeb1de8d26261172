// Model files for the command-line tool: the shared readers and writers by
// name, their failures as user errors, the reader's warnings and missing
// texture images on stderr, and a ticking line while a large CAD file is
// tessellated.
#include "cli/model_files.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>

#include "cli/progress_bar.h"
#include "io/file_dispatch.h"
#include "io/model_files.h"
#include "mesh/mesh_utils.h"

namespace vekmesh::cli {
namespace fs = std::filesystem;

namespace {

// CAD files are tessellated by the converter, which reports no progress: from
// this size on, the user sees the seconds go by instead.
constexpr uintmax_t kLargeCadFile = uintmax_t(1) << 20;

std::unique_ptr<ElapsedIndicator> cadIndicator(const std::string& path) {
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (format != ModelFormat::kStep && format != ModelFormat::kIges) return nullptr;
  std::error_code ec;
  const uintmax_t size = fs::file_size(path, ec);
  if (ec || size < kLargeCadFile) return nullptr;
  return std::make_unique<ElapsedIndicator>("tessellating " + fs::path(path).filename().string() +
                                            " (" + std::to_string(size >> 20) + " MB)");
}

// Warnings go to stderr, the first few of a kind in full.
void warn(const std::string& text) {
  std::fprintf(stderr, "vekmesh: warning: %s\n", text.c_str());
}

constexpr size_t kWarningsShown = 10;

void warnAll(const std::string& path, const std::vector<std::string>& warnings) {
  for (size_t i = 0; i < warnings.size() && i < kWarningsShown; ++i)
    warn("'" + path + "' " + warnings[i]);
  if (warnings.size() > kWarningsShown)
    warn("'" + path + "': " + std::to_string(warnings.size() - kWarningsShown) + " more warnings");
}

}  // namespace

LoadedModel loadModel(const std::string& path, TriMesh& mesh, const RunContext& run) {
  ModelFileRead read;
  {
    const std::unique_ptr<ElapsedIndicator> ticking = cadIndicator(path);
    read = readModelFile(path, mesh, run);
  }
  if (read.problem != ModelFileProblem::kNone) throw UserError(read.message);
  warnAll(path, read.warnings);
  LoadedModel loaded;
  loaded.triangles_read = read.triangles;
  loaded.names = std::move(read.names);
  loaded.model_names = std::move(read.model_names);
  const size_t built = liveFaceCount(mesh);
  loaded.triangles_dropped = loaded.triangles_read > built ? loaded.triangles_read - built : 0;
  // With the duplicate list, which the repair goes on to read.
  loaded.adjacency = buildShellsWithAdjacency(mesh, /*list_duplicates=*/true);
  return loaded;
}

void checkOutputName(const std::string& path) {
  const std::string refused = unwritableModelName(path);
  if (!refused.empty()) throw UserError(refused);
}

namespace {

// Images of the materials the live faces use that cannot be found; the file
// still refers to them, and the user hears of it.
void warnOfMissingImages(const std::string& path, const SubMesh& mesh, const ModelNames& names) {
  std::vector<bool> used(names.materials.size(), false);
  for (const Face& f : mesh.faces)
    if (!f.removed && f.material >= 0 && size_t(f.material) < used.size()) used[f.material] = true;
  for (size_t m = 0; m < used.size(); ++m) {
    const MaterialName& material = names.materials[m];
    std::error_code ec;
    if (!used[m] || material.image.empty() || fs::is_regular_file(material.image, ec)) continue;
    warn("texture image '" + material.image + "'" +
         (material.name.empty() ? std::string() : " of material '" + material.name + "'") +
         " not found; '" + path + "' refers to it all the same");
  }
}

}  // namespace

void saveModel(const std::string& path, const SubMesh& mesh, const ModelNames& names) {
  const std::string failure = writeModelFile(path, mesh, names);
  if (!failure.empty()) throw UserError(failure);
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (format == ModelFormat::kGltf || format == ModelFormat::kGlb || format == ModelFormat::kObj)
    warnOfMissingImages(path, mesh, names);
}

nlohmann::ordered_json loadJson(const LoadedModel& loaded) {
  nlohmann::ordered_json json = {{"triangles_read", loaded.triangles_read},
                                 {"triangles_dropped", loaded.triangles_dropped},
                                 {"names", loaded.names}};
  if (!loaded.names.empty()) return json;  // a scene's materials are its texture names
  nlohmann::ordered_json materials = nlohmann::ordered_json::array();
  for (const MaterialName& m : loaded.model_names.materials)
    materials.push_back({{"name", m.name}, {"image", m.image}});
  json["materials"] = std::move(materials);
  json["groups"] = loaded.model_names.groups;
  return json;
}

}  // namespace vekmesh::cli
