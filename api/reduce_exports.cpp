// Reduction, preprocessing and refinement exports: the file-based and
// array-based thinning with the large-model cap, the flaw answers that follow
// it, and subdivision, remeshing and triangle revision.
#include "api/driver_frame.h"
#include "api/result_buffers.h"
#include "include/vekmesh.h"
#include "io/file_replace.h"
#include "io/stl.h"
#include "mesh/large_model_cap.h"
#include "mesh/mesh_utils.h"
#include "mesh/progress_cell.h"
#include "remesh/mesh_reducer.h"
#include "remesh/remesher.h"
#include "remesh/subdivision.h"
#include "repair/flaw_detection.h"

using namespace vekmesh;

namespace {

// The tuning values every ratio-driven reduction of these exports passes.
constexpr double kReduceMaxError = 0.05;
constexpr double kReduceMinCosine = 0.99;

constexpr uint32_t kStrictMode = 0;

// Subdivision modes of the two refinement passes.
constexpr int32_t kSubdivideFirstPass = 1;
constexpr int32_t kSubdivideSecondPass = 0;

enum class AfterCap { kNothing, kCheck, kCheckAndSave };

// Load (5, 48 from the loader), 50, cap (65, 75), 80, coordinates; with a
// check 85 and the strict test. Returns the test's answer, 0 without one.
int32_t capFile(const char* path, float** corners_out, uint32_t* count_out, int32_t* progress,
                AfterCap after) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    loadInput(mesh, path);
    // Saving back what could not be read would replace the user's file with
    // an empty one.
    const bool loaded = !mesh.faces.empty();
    setProgress(50);
    capLargeModel(mesh);
    setProgress(80);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
    bool flawed = false;
    if (after != AfterCap::kNothing) {
      setProgress(85);
      flawed = detectFlaws(mesh, kStrictMode);
    }
    if (after == AfterCap::kCheckAndSave && loaded)
      replaceFile(path, [&](const char* temp) { return writeStl(temp, mesh); });
    setProgress(100);
    return flawed ? 1 : 0;
  } catch (...) {
    failCoordinates(count_out, corners_out);
    return 0;
  }
}

}  // namespace

extern "C" {

VEKMESH_API void meshReduceFromFile(const char* path, float** corners_out, uint32_t* count_out,
                                    int32_t* progress) {
  meshReduceFromFile64(path, corners_out, count_out, progress);
}

VEKMESH_API void meshReduceFromFile64(const char* path, float** corners_out, uint32_t* count_out,
                                      int32_t* progress) {
  capFile(path, corners_out, count_out, progress, AfterCap::kNothing);
}

VEKMESH_API int32_t meshPreprocessorFromFile(const char* path, float** corners_out,
                                             uint32_t* count_out, int32_t* progress) {
  return meshPreprocessorFromFile64(path, corners_out, count_out, progress);
}

VEKMESH_API int32_t meshPreprocessorFromFile64(const char* path, float** corners_out,
                                               uint32_t* count_out, int32_t* progress) {
  return capFile(path, corners_out, count_out, progress, AfterCap::kCheck);
}

VEKMESH_API int32_t meshPreprocessorFromFileSaveAs64(const char* path, float** corners_out,
                                                     uint32_t* count_out, int32_t* progress,
                                                     uint8_t save) {
  return capFile(path, corners_out, count_out, progress,
                 save ? AfterCap::kCheckAndSave : AfterCap::kCheck);
}

VEKMESH_API int32_t meshPreprocessorCtrlFromFile(const char* path, int32_t check_mode, float ratio,
                                                 float** corners_out, uint32_t* count_out,
                                                 int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    loadInput(mesh, path);
    setProgress(50);
    // A negative ratio (or NaN) means "do not reduce".
    if (ratio >= 0.0f) reduceMesh(mesh, ratio, kReduceMaxError, kReduceMinCosine);
    setProgress(80);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
    setProgress(85);
    bool flawed = false;
    if (check_mode == -1)
      flawed = detectFlaws(mesh, kStrictMode);
    else if (check_mode >= 0)
      flawed = detectFlaws(mesh, static_cast<uint32_t>(check_mode));
    setProgress(100);
    return flawed ? 1 : 0;
  } catch (...) {
    failCoordinates(count_out, corners_out);
    return 0;
  }
}

VEKMESH_API int32_t meshPreprocessorFromData(float* const* corners_address,
                                             const uint32_t* count_address, float** corners_out,
                                             uint32_t* count_out, int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    const IndirectInput in = readIndirect(corners_address, count_address);
    buildInput(mesh, in.count, in.corners);
    setProgress(50);
    capLargeModel(mesh);
    setProgress(80);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
    setProgress(85);
    const bool flawed = detectFlaws(mesh, kStrictMode);
    setProgress(100);
    return flawed ? 1 : 0;
  } catch (...) {
    failCoordinates(count_out, corners_out);
    return 0;
  }
}

VEKMESH_API void meshReduceFromData(float ratio, float* const* corners_address,
                                    const uint32_t* count_address, float** corners_out,
                                    uint32_t* count_out) {
  try {
    TriMesh mesh;
    const IndirectInput in = readIndirect(corners_address, count_address);
    buildInput(mesh, in.count, in.corners);
    reduceMesh(mesh, ratio, kReduceMaxError, kReduceMinCosine);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API void meshReduceFromColorData(float ratio, const float* corners, const float* colors,
                                         const float* uvs, const int32_t* materials, uint32_t count,
                                         float** corners_out, float** colors_out, float** uvs_out,
                                         int32_t** materials_out, uint32_t* count_out,
                                         int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, count, corners, colors, uvs, materials);
    setProgress(50);
    reduceMesh(mesh, ratio, kReduceMaxError, kReduceMinCosine);
    setProgress(90);
    storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out,
               materials_out);
    setProgress(100);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  }
}

VEKMESH_API void subdivisionFromData(int32_t level, float* const* corners_address,
                                     const uint32_t* count_address, float** corners_out,
                                     uint32_t* count_out) {
  try {
    TriMesh mesh;
    const IndirectInput in = readIndirect(corners_address, count_address);
    buildInput(mesh, in.count, in.corners);
    subdivideMesh(mesh, level, kSubdivideFirstPass);
    rebuildTopology(mesh);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API void subdivisionFromColorData(int32_t level, const float* corners, const float* colors,
                                          const float* uvs, const int32_t* materials,
                                          uint32_t count, float** corners_out, float** colors_out,
                                          float** uvs_out, int32_t** materials_out,
                                          uint32_t* count_out) {
  try {
    TriMesh mesh;
    buildInput(mesh, count, corners, colors, uvs, materials);
    subdivideMesh(mesh, level, kSubdivideFirstPass);
    rebuildTopology(mesh);
    subdivideMesh(mesh, level, kSubdivideSecondPass);
    rebuildTopology(mesh);
    storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out,
               materials_out);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  }
}

VEKMESH_API void remeshFromData64(float* const* corners_address, const uint32_t* count_address,
                                  float** corners_out, uint32_t* count_out,
                                  int32_t* const* index_address,
                                  const uint32_t* index_count_address) {
  try {
    TriMesh mesh;
    const IndirectInput in = readIndirect(corners_address, count_address);
    const int32_t* indices = index_address ? *index_address : nullptr;
    const uint32_t index_count = indices && index_count_address ? *index_count_address : 0;
    buildInput(mesh, in.count, in.corners);
    remeshMesh(mesh, index_count ? indices : nullptr, index_count);
    rebuildTopology(mesh);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API void reviseTriangleFromData(float* const* corners_address,
                                        const uint32_t* count_address, float** corners_out,
                                        uint32_t* count_out) {
  try {
    TriMesh mesh;
    const IndirectInput in = readIndirect(corners_address, count_address);
    buildInput(mesh, in.count, in.corners);
    // Rebuilding welds again, which is the revision: collapsed triangles go,
    // coinciding corners merge.
    rebuildTopology(mesh);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

}  // extern "C"
