// Import dispatch: one reader per extension. "STL" and "Stl" are not "stl":
// the comparison is exact on purpose, so a host sees the same choice on every
// platform.
#include "io/import_file.h"

#include "io/cad.h"
#include "io/obj.h"
#include "io/stl.h"
#include "io/vrml.h"

namespace vekmesh {

std::string_view fileExtension(std::string_view path) {
  const size_t dot = path.rfind('.');
  if (dot == std::string_view::npos) return std::string_view();
  return path.substr(dot + 1);
}

void importByExtension(SubMesh& mesh, const char* path, std::vector<std::string>* names) {
  if (path) {
    const std::string_view ext = fileExtension(path);
    std::vector<std::string> scene_names;
    if (ext == "stl") {
      loadStl(mesh, path);
    } else if (ext == "obj") {
      readObj(path, mesh);
    } else if (ext == "wrl") {
      readVrml(mesh, path, SceneFormat::kVrml, scene_names);
    } else if (ext == "x3d") {
      readVrml(mesh, path, SceneFormat::kX3d, scene_names);
    } else if (ext == "igs" || ext == "iges") {
      importCad(mesh, path, CadFormat::kIges);
    } else if (ext == "stp" || ext == "step") {
      importCad(mesh, path, CadFormat::kStep);
    }
    if (names) names->insert(names->end(), scene_names.begin(), scene_names.end());
  }
  mesh.tag = &mesh;
}

}  // namespace vekmesh
