// File exports: import by extension (with the VRML/X3D names), the CAD import
// under its two names, glTF export and the double-precision OBJ writer.
#include <string>
#include <vector>

#include "api/driver_frame.h"
#include "api/result_buffers.h"
#include "include/vekmesh.h"
#include "io/file_dispatch.h"
#include "io/gltf.h"
#include "io/obj.h"

using namespace vekmesh;

namespace {

// Reads `path` by its extension; the STL loader takes [0, 50] of `run`.
void importInput(SubMesh& mesh, const char* path, const RunContext& run,
                 std::vector<std::string>* names = nullptr) {
  importByExtension(path, mesh, names, ExtensionMatch::kExact, run.sub(0.0, 0.5));
}

}  // namespace

extern "C" {

VEKMESH_API void importFile(const char* path, float** corners_out, float** colors_out,
                            float** uvs_out, int32_t** materials_out, uint32_t* count_out) {
  const ModelOut out = ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out);
  runExport(kNoProgressArgument, out, [&](TriMesh& mesh, const RunContext& run) {
    importInput(mesh, path, run);
    storeResult(mesh, out);
  });
}

VEKMESH_API void importFileVRML(const char* path, float** corners_out, float** colors_out,
                                float** uvs_out, int32_t** materials_out, uint32_t* count_out,
                                char*** names_out, uint32_t* name_count_out) {
  const ModelOut out = ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out);
  const auto fail = [&] {
    failResult(out);
    try {
      storeSceneNames({}, names_out, name_count_out);
    } catch (...) {
      if (names_out) *names_out = nullptr;
      if (name_count_out) *name_count_out = 0;
    }
  };
  runExport(kNoProgressArgument, fail, [&](TriMesh& mesh, const RunContext& run) {
    std::vector<std::string> names;
    importInput(mesh, path, run, &names);
    storeResult(mesh, out);
    storeSceneNames(names, names_out, name_count_out);
  });
}

// The format follows the extension, not the name called: importFileIges below
// is this very function.
VEKMESH_API void importFileStep(const char* path, float** corners_out, uint32_t* count_out) {
  const ModelOut out = ModelOut::coordinates(count_out, corners_out);
  runExport(kNoProgressArgument, out, [&](TriMesh& mesh, const RunContext& run) {
    importInput(mesh, path, run);
    storeResult(mesh, out);
  });
}

VEKMESH_API void importFileIges(const char* path, float** corners_out, uint32_t* count_out)
    __attribute__((alias("importFileStep")));

VEKMESH_API void exportFileGLTF(const char* path, const float* corners, const float* colors,
                                const float* uvs, const int32_t* materials, uint32_t count,
                                const char* const* image_paths, uint32_t image_count) {
  if (!path) return;
  // Nothing is returned: the writer replaces its files only when all are
  // written, and a failure leaves nothing behind.
  runExport(
      kNoProgressArgument, [] {},
      [&](TriMesh& mesh, const RunContext&) {
        buildInput(mesh, {count, corners, colors, uvs, materials});
        std::vector<std::string> images;
        if (image_paths)
          for (uint32_t i = 0; i < image_count; ++i)
            images.emplace_back(image_paths[i] ? image_paths[i] : "");
        writeGltf(mesh, path, images);
      });
}

VEKMESH_API void saveasObjFromDataDoublePrecision(const char* path, const double* corners,
                                                  const double* colors, const double* uvs,
                                                  const int32_t* materials, int32_t count) {
  if (!path) return;
  runExport(
      kNoProgressArgument, [] {},
      [&](TriMesh& mesh, const RunContext&) {
        buildTriMeshDouble(mesh, corners ? countFromSigned(count) : 0, corners, colors, uvs,
                           materials);
        mesh.tag = &mesh;
        writeObj(path, mesh);
      });
}

}  // extern "C"
