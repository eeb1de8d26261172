// Model files by name for the tool and the scripting library: the core's
// readers and writers behind a case-insensitive choice of format, with the
// checks that turn silent failures (a missing or unreadable input, an
// unwritable output) into messages.
#include "io/model_files.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "io/cad.h"
#include "io/file_dispatch.h"
#include "io/file_replace.h"
#include "io/gltf.h"
#include "io/mtl.h"
#include "io/obj_tool.h"
#include "io/platform_file.h"
#include "io/threemf.h"
#include "mesh/mesh_utils.h"

namespace vekmesh {
namespace fs = std::filesystem;

const char* readableModelExtensions() {
  return "stl, obj, ply, 3mf, wrl, wrz, x3d, x3dz, igs, iges, stp, step";
}
const char* writableModelExtensions() {
  return "stl, obj, ply, 3mf, gltf, glb";
}

namespace {

bool isGltf(ModelFormat format) {
  return format == ModelFormat::kGltf || format == ModelFormat::kGlb;
}

bool isCad(ModelFormat format) {
  return format == ModelFormat::kStep || format == ModelFormat::kIges;
}

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

// Why a CAD file gave no triangles: the converter is missing, or it read
// nothing it could tessellate.
ModelFileRead noCadTriangles(const std::string& path) {
  ModelFileRead r;
  if (!cadConverterAvailable()) {
    r.problem = ModelFileProblem::kUnreadable;
    r.message = "cannot read '" + path + "': STEP and IGES files need the converter library " +
                libraryFileName(kConverterStem) +
                ", found neither beside the program or library nor on the library search path "
                "(it is built when OpenCASCADE is installed: bash scripts/setup_debian.sh)";
  } else {
    r.problem = ModelFileProblem::kEmpty;
    r.message = "'" + path + "' holds no surfaces the converter could tessellate";
  }
  return r;
}

ModelFileRead unreadable(const std::string& message) {
  ModelFileRead r;
  r.problem = ModelFileProblem::kUnreadable;
  r.message = message;
  return r;
}

// A scene's texture names as unnamed materials with their images, found
// from the scene's folder (a URL stays as it is).
void sceneMaterials(const std::string& path, ModelFileRead& read) {
  const std::string folder = folderOf(path);
  for (const std::string& name : read.names)
    read.model_names.materials.push_back(
        {"", name.find("://") != std::string::npos ? name : resolvedPath(folder, name)});
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

ModelFileRead readModelFile(const std::string& path, TriMesh& mesh, const RunContext& run) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) return unreadable("cannot open '" + path + "': no such file");
  if (fs::is_directory(status)) return unreadable("cannot read '" + path + "': it is a directory");
  if (!std::ifstream(path, std::ios::binary))
    return unreadable("cannot read '" + path + "': " + std::strerror(errno));
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (isGltf(format))
    return unreadable("cannot read '" + path + "': glTF is written, not read; known extensions: " +
                      readableModelExtensions());
  if (!isReadableFormat(format))
    return unreadable(unknownExtensionMessage(path, readableModelExtensions()));

  ModelFileRead read;
  if (format == ModelFormat::kObj) {
    const ObjToolRead obj = readObjTool(path.c_str(), mesh, read.model_names);
    if (!obj.error.empty()) return unreadable("cannot read '" + path + "': " + obj.error);
    read.warnings = obj.warnings;
    read.triangles = obj.triangles;
    mesh.tag = &mesh;
  } else if (format == ModelFormat::k3mf) {
    read.triangles = read3mf(path.c_str(), mesh, &read.model_names);
    mesh.tag = &mesh;
  } else {
    read.triangles =
        importByExtension(path.c_str(), mesh, &read.names, ExtensionMatch::kToolNames, run);
    sceneMaterials(path, read);
  }
  if (liveFaceCount(mesh) == 0) {
    if (isCad(format) && read.triangles == 0) return noCadTriangles(path);
    read.problem = ModelFileProblem::kEmpty;
    read.message = "'" + path + "' holds no triangles";
  }
  return read;
}

std::string unwritableModelName(const std::string& path) {
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (isWritableFormat(format) || isGltf(format)) return "";
  return unknownExtensionMessage(path, writableModelExtensions());
}

std::string writeModelFile(const std::string& path, const SubMesh& mesh, const ModelNames& names) {
  std::string refused = unwritableModelName(path);
  if (!refused.empty()) return refused;
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  // Written beside the target and renamed; the glTF and OBJ writers do this
  // themselves, for their buffer and material files as well.
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
  if (written) return "";
  return "cannot write '" + path + "'" + (errno ? std::string(": ") + std::strerror(errno) : "");
}

}  // namespace vekmesh
