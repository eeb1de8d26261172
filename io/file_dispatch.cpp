// Dispatch by extension. "STL" and "Stl" are not "stl" unless the caller asks
// for a case-insensitive match: the exports keep the exact comparison, and
// only the tool's match knows PLY, 3MF and glTF and reads OBJ with the tool's
// own reader.
#include "io/file_dispatch.h"

#include <cctype>

#include "io/cad.h"
#include "io/obj.h"
#include "io/obj_tool.h"
#include "io/ply.h"
#include "io/stl.h"
#include "io/threemf.h"
#include "io/vrml.h"

namespace vekmesh {
namespace {

bool sameExtension(std::string_view ext, std::string_view known, ExtensionMatch match) {
  if (ext.size() != known.size()) return false;
  for (size_t i = 0; i < ext.size(); ++i) {
    const char c = match != ExtensionMatch::kExact
                       ? static_cast<char>(std::tolower(static_cast<unsigned char>(ext[i])))
                       : ext[i];
    if (c != known[i]) return false;
  }
  return true;
}

}  // namespace

std::string_view fileExtension(std::string_view path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return std::string_view();
  return path.substr(dot + 1);
}

ModelFormat modelFormatOf(std::string_view path, ExtensionMatch match) {
  const std::string_view ext = fileExtension(path);
  const auto is = [&](std::string_view known) { return sameExtension(ext, known, match); };
  if (is("stl")) return ModelFormat::kStl;
  if (is("obj")) return ModelFormat::kObj;
  if (is("wrl")) return ModelFormat::kVrml;
  if (is("x3d")) return ModelFormat::kX3d;
  if (match == ExtensionMatch::kToolNames && is("wrz")) return ModelFormat::kVrml;
  if (match == ExtensionMatch::kToolNames && is("x3dz")) return ModelFormat::kX3d;
  if (match == ExtensionMatch::kToolNames && is("ply")) return ModelFormat::kPly;
  if (match == ExtensionMatch::kToolNames && is("3mf")) return ModelFormat::k3mf;
  if (match == ExtensionMatch::kToolNames && is("gltf")) return ModelFormat::kGltf;
  if (match == ExtensionMatch::kToolNames && is("glb")) return ModelFormat::kGlb;
  if (is("igs") || is("iges")) return ModelFormat::kIges;
  if (is("stp") || is("step")) return ModelFormat::kStep;
  return ModelFormat::kUnknown;
}

bool isWritableFormat(ModelFormat format) {
  return format == ModelFormat::kStl || format == ModelFormat::kObj ||
         format == ModelFormat::kPly || format == ModelFormat::k3mf;
}

bool isReadableFormat(ModelFormat format) {
  return format != ModelFormat::kUnknown && format != ModelFormat::kGltf &&
         format != ModelFormat::kGlb;
}

size_t importByExtension(const char* path, SubMesh& mesh, std::vector<std::string>* names,
                         ExtensionMatch match, const RunContext& run) {
  size_t triangles = 0;
  if (path) {
    std::vector<std::string> scene_names;
    switch (modelFormatOf(path, match)) {
      case ModelFormat::kStl:
        triangles = loadStl(path, mesh, run);
        break;
      case ModelFormat::kObj:
        if (match == ExtensionMatch::kToolNames) {
          ModelNames obj_names;
          triangles = readObjTool(path, mesh, obj_names).triangles;
        } else {
          triangles = readObj(path, mesh);
        }
        break;
      case ModelFormat::kVrml:
        readVrml(path, mesh, SceneFormat::kVrml, scene_names, run);
        triangles = mesh.faces.size();
        break;
      case ModelFormat::kX3d:
        readVrml(path, mesh, SceneFormat::kX3d, scene_names, run);
        triangles = mesh.faces.size();
        break;
      case ModelFormat::kIges:
        triangles = importCad(path, mesh, CadFormat::kIges, run);
        break;
      case ModelFormat::kStep:
        triangles = importCad(path, mesh, CadFormat::kStep, run);
        break;
      case ModelFormat::kPly:
        triangles = readPly(path, mesh);
        break;
      case ModelFormat::k3mf:
        triangles = read3mf(path, mesh);
        break;
      case ModelFormat::kGltf:
      case ModelFormat::kGlb:
      case ModelFormat::kUnknown:
        break;
    }
    if (names) names->insert(names->end(), scene_names.begin(), scene_names.end());
  }
  mesh.tag = &mesh;
  return triangles;
}

bool writeModel(const char* path, const SubMesh& mesh, ModelFormat format) {
  if (!path) return false;
  switch (format) {
    case ModelFormat::kStl:
      return writeStl(path, mesh);
    case ModelFormat::kObj:
      return writeObj(path, mesh);
    case ModelFormat::kPly:
      return writePly(path, mesh);
    case ModelFormat::k3mf:
      return write3mf(path, mesh);
    default:
      return false;
  }
}

}  // namespace vekmesh
