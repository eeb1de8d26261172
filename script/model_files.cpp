// Reading and writing models for the scripting API on the core's readers and
// writers: the tool's names (case-insensitive, .ply, .3mf, .wrz, .x3dz, glTF
// written only), the tool's OBJ reader and writer, and atomic replacement.
#include "script/model_files.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "include/vekmesh/script.h"
#include "io/cad.h"
#include "io/file_dispatch.h"
#include "io/file_replace.h"
#include "io/gltf.h"
#include "io/obj_tool.h"
#include "io/platform_file.h"
#include "mesh/mesh_utils.h"
#include "script/script_frame.h"

namespace vekmesh::script {
namespace fs = std::filesystem;

namespace {

bool isGltf(ModelFormat format) {
  return format == ModelFormat::kGltf || format == ModelFormat::kGlb;
}

[[noreturn]] void fileError(const std::string& text) {
  throw CallError(VKM_FILE_ERROR, text);
}

}  // namespace

void loadModelFile(const std::string& path, TriMesh& mesh, const RunContext& run) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) fileError("cannot open '" + path + "': no such file");
  if (fs::is_directory(status)) fileError("cannot read '" + path + "': it is a directory");
  if (!std::ifstream(path, std::ios::binary))
    fileError("cannot read '" + path + "': " + std::strerror(errno));
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (!isReadableFormat(format) || isGltf(format))
    fileError("cannot read '" + path +
              "': unknown extension; known: stl, obj, ply, 3mf, wrl, wrz, x3d, x3dz, igs, iges, "
              "stp, step");
  size_t read = 0;
  if (format == ModelFormat::kObj) {
    ModelNames names;
    const ObjToolRead result = readObjTool(path.c_str(), mesh, names);
    if (!result.error.empty()) fileError("cannot read '" + path + "': " + result.error);
    read = result.triangles;
    mesh.tag = &mesh;
  } else {
    read = importByExtension(path.c_str(), mesh, nullptr, ExtensionMatch::kToolNames, run);
  }
  if (liveFaceCount(mesh) == 0) {
    if ((format == ModelFormat::kStep || format == ModelFormat::kIges) && read == 0 &&
        !cadConverterAvailable())
      fileError("cannot read '" + path + "': STEP and IGES files need the converter library " +
                libraryFileName(kConverterStem) + " beside the library");
    throw CallError(VKM_EMPTY_RESULT, "'" + path + "' holds no triangles");
  }
}

void saveModelFile(const std::string& path, const SubMesh& mesh) {
  const ModelFormat format = modelFormatOf(path, ExtensionMatch::kToolNames);
  if (!isWritableFormat(format) && !isGltf(format))
    fileError("cannot write '" + path +
              "': unknown extension; known: stl, obj, ply, 3mf, gltf, glb");
  errno = 0;
  bool written = false;
  // The glTF and OBJ writers replace their files (and .bin or .mtl) atomically
  // themselves.
  if (isGltf(format))
    written = writeGltf(mesh, path.c_str(), {});
  else if (format == ModelFormat::kObj)
    written = writeObjTool(path.c_str(), mesh, {});
  else
    written = replaceFile(path, [&](const char* temp) { return writeModel(temp, mesh, format); });
  if (!written)
    fileError("cannot write '" + path + "'" +
              (errno ? std::string(": ") + std::strerror(errno) : ""));
}

}  // namespace vekmesh::script
