// Model files for the command-line tool: the core's readers and writers with a
// case-insensitive format choice, and checks that turn silent failures
// (unreadable input, unwritable output) into messages.
#include "cli/model_files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <system_error>

#include "cli/progress_bar.h"
#include "io/cad.h"
#include "io/file_dispatch.h"
#include "io/file_replace.h"
#include "io/gltf.h"
#include "io/mtl.h"
#include "io/obj_tool.h"
#include "io/platform_file.h"
#include "io/threemf.h"
#include "mesh/mesh_utils.h"

namespace vekmesh::cli {
namespace fs = std::filesystem;

const char* readableExtensions() {
  return "stl, obj, ply, 3mf, wrl, wrz, x3d, x3dz, igs, iges, stp, step";
}
const char* writableExtensions() {
  return "stl, obj, ply, 3mf, gltf, glb";
}

namespace {

// Lower-cased extension of `path` ("" when it has none), for messages.
std::string lowerExtension(const std::string& path) {
  const std::string name = fs::path(path).filename().string();
  const size_t dot = name.rfind('.');
  if (dot == std::string::npos) return "";
  std::string ext = name.substr(dot + 1);
  std::transform(ext.begin(), ext.end(), ext.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return ext;
}

std::string unknownExtensionMessage(const std::string& path, const char* known) {
  const std::string ext = lowerExtension(path);
  return "unknown file type '" + (ext.empty() ? std::string("(no extension)") : "." + ext) +
         "' of '" + path + "'; known extensions: " + known;
}

// CAD files are tessellated by the converter, which reports no progress: from
// this size on, the user sees the seconds go by instead.
constexpr uintmax_t kLargeCadFile = uintmax_t(1) << 20;

bool isCad(ModelFormat format) {
  return format == ModelFormat::kStep || format == ModelFormat::kIges;
}

// Why a CAD file gave no triangles: the converter is missing, or it read
// nothing it could tessellate.
std::string noCadTriangles(const std::string& path) {
  if (!cadConverterAvailable())
    return "cannot read '" + path + "': STEP and IGES files need the converter library " +
           libraryFileName(kConverterStem) +
           ", found neither beside the program nor on the library search path (it is built "
           "when OpenCASCADE is installed: bash scripts/setup_debian.sh)";
  return "'" + path + "' holds no surfaces the converter could tessellate";
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

// A scene's texture names as unnamed materials with their images, found
// from the scene's folder (a URL stays as it is).
void sceneMaterials(const std::string& path, LoadedModel& loaded) {
  const std::string folder = folderOf(path);
  for (const std::string& name : loaded.names)
    loaded.model_names.materials.push_back(
        {"", name.find("://") != std::string::npos ? name : resolvedPath(folder, name)});
}

}  // namespace

LoadedModel loadModel(const std::string& path, TriMesh& mesh, const RunContext& run) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) throw UserError("cannot open '" + path + "': no such file");
  if (fs::is_directory(status)) throw UserError("cannot read '" + path + "': it is a directory");
  {
    std::ifstream probe(path, std::ios::binary);
    if (!probe) throw UserError("cannot read '" + path + "': " + std::strerror(errno));
  }
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (format == ModelFormat::kGltf || format == ModelFormat::kGlb)
    throw UserError("cannot read '" + path +
                    "': glTF is written, not read; known extensions: " + readableExtensions());
  if (!isReadableFormat(format))
    throw UserError(unknownExtensionMessage(path, readableExtensions()));
  LoadedModel loaded;
  {
    const uintmax_t size = fs::file_size(path, ec);
    std::unique_ptr<ElapsedIndicator> ticking;
    if (isCad(format) && !ec && size >= kLargeCadFile)
      ticking =
          std::make_unique<ElapsedIndicator>("tessellating " + fs::path(path).filename().string() +
                                             " (" + std::to_string(size >> 20) + " MB)");
    if (format == ModelFormat::kObj) {
      const ObjToolRead read = readObjTool(path.c_str(), mesh, loaded.model_names);
      if (!read.error.empty()) throw UserError("cannot read '" + path + "': " + read.error);
      warnAll(path, read.warnings);
      loaded.triangles_read = read.triangles;
      mesh.tag = &mesh;
    } else if (format == ModelFormat::k3mf) {
      loaded.triangles_read = read3mf(path.c_str(), mesh, &loaded.model_names);
      mesh.tag = &mesh;
    } else {
      loaded.triangles_read =
          importByExtension(path.c_str(), mesh, &loaded.names, ExtensionMatch::kToolNames, run);
      sceneMaterials(path, loaded);
    }
  }
  const size_t built = liveFaceCount(mesh);
  if (built == 0 && isCad(format) && loaded.triangles_read == 0)
    throw UserError(noCadTriangles(path));
  if (built == 0) throw UserError("'" + path + "' holds no triangles");
  loaded.triangles_dropped = loaded.triangles_read > built ? loaded.triangles_read - built : 0;
  // With the duplicate list, which the repair goes on to read.
  loaded.adjacency = buildShellsWithAdjacency(mesh, /*list_duplicates=*/true);
  return loaded;
}

namespace {

bool isGltf(ModelFormat format) {
  return format == ModelFormat::kGltf || format == ModelFormat::kGlb;
}

}  // namespace

void checkOutputName(const std::string& path) {
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (!isWritableFormat(format) && !isGltf(format))
    throw UserError(unknownExtensionMessage(path, writableExtensions()));
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

bool writeGltfWithNames(const std::string& path, const SubMesh& mesh, const ModelNames& names) {
  std::vector<std::string> images, material_names;
  for (const MaterialName& m : names.materials) {
    images.push_back(m.image);
    material_names.push_back(m.name);
  }
  return writeGltf(mesh, path.c_str(), images, material_names);
}

}  // namespace

void saveModel(const std::string& path, const SubMesh& mesh, const ModelNames& names) {
  checkOutputName(path);
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  // Written beside the target and renamed: a failed or interrupted write
  // never leaves a partial file under the user's name. The glTF and OBJ
  // writers do this themselves, for their buffer and material files as well.
  errno = 0;
  bool written = false;
  if (isGltf(format))
    written = writeGltfWithNames(path, mesh, names);
  else if (format == ModelFormat::kObj)
    written = writeObjTool(path.c_str(), mesh, names);
  else if (format == ModelFormat::k3mf)
    written = replaceFile(path, [&](const char* temp) { return write3mf(temp, mesh, &names); });
  else
    written = replaceFile(path, [&](const char* temp) { return writeModel(temp, mesh, format); });
  if (written && (isGltf(format) || format == ModelFormat::kObj))
    warnOfMissingImages(path, mesh, names);
  if (!written)
    throw UserError("cannot write '" + path + "'" +
                    (errno ? std::string(": ") + std::strerror(errno) : ""));
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
