// File exports: import by extension (with the VRML/X3D names), the CAD import
// under its two names, glTF export and the double-precision OBJ writer.
#include <string>
#include <vector>

#include "api/driver_frame.h"
#include "api/result_buffers.h"
#include "include/vekmesh.h"
#include "io/gltf.h"
#include "io/file_dispatch.h"
#include "io/obj.h"

using namespace vekmesh;

extern "C" {

VEKMESH_API void importFile(const char* path, float** corners_out, float** colors_out,
                            float** uvs_out, int32_t** materials_out, uint32_t* count_out) {
  try {
    TriMesh mesh;
    importByExtension(path, mesh);
    storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out,
               materials_out);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  }
}

VEKMESH_API void importFileVRML(const char* path, float** corners_out, float** colors_out,
                                float** uvs_out, int32_t** materials_out, uint32_t* count_out,
                                char*** names_out, uint32_t* name_count_out) {
  try {
    TriMesh mesh;
    std::vector<std::string> names;
    importByExtension(path, mesh, &names);
    storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out,
               materials_out);
    storeSceneNames(names, names_out, name_count_out);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
    try {
      storeSceneNames({}, names_out, name_count_out);
    } catch (...) {
      if (names_out) *names_out = nullptr;
      if (name_count_out) *name_count_out = 0;
    }
  }
}

// The format follows the extension, not the name called: importFileIges below
// is this very function.
VEKMESH_API void importFileStep(const char* path, float** corners_out, uint32_t* count_out) {
  try {
    TriMesh mesh;
    importByExtension(path, mesh);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API void importFileIges(const char* path, float** corners_out, uint32_t* count_out)
    __attribute__((alias("importFileStep")));

VEKMESH_API void exportFileGLTF(const char* path, const float* corners, const float* colors,
                                const float* uvs, const int32_t* materials, uint32_t count,
                                const char* const* image_paths, uint32_t image_count) {
  try {
    if (!path) return;
    TriMesh mesh;
    buildInput(mesh, count, corners, colors, uvs, materials);
    std::vector<std::string> images;
    if (image_paths)
      for (uint32_t i = 0; i < image_count; ++i)
        images.emplace_back(image_paths[i] ? image_paths[i] : "");
    writeGltf(mesh, path, images);
  } catch (...) {
    // Nothing is returned; a partial file is the writer's to avoid.
  }
}

VEKMESH_API void saveasObjFromDataDoublePrecision(const char* path, const double* corners,
                                                  const double* colors, const double* uvs,
                                                  const int32_t* materials, int32_t count) {
  try {
    if (!path) return;
    TriMesh mesh;
    buildTriMeshDouble(mesh, corners ? countFromSigned(count) : 0, corners, colors, uvs, materials);
    mesh.tag = &mesh;
    writeObj(path, mesh);
  } catch (...) {
    // Nothing is returned.
  }
}

}  // extern "C"
