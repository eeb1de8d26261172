// Repair and detection exports: the repair family (from a file, from plain
// arrays, from arrays with colours, with post-detection) and the flaw answers.
#include <array>

#include "api/driver_frame.h"
#include "api/result_buffers.h"
#include "include/vekmesh.h"
#include "io/file_replace.h"
#include "io/stl.h"
#include "mesh/large_model_cap.h"
#include "mesh/mesh_utils.h"
#include "mesh/progress_cell.h"
#include "repair/flaw_detection.h"
#include "repair/repair_pipeline.h"

using namespace vekmesh;

namespace {

constexpr uint32_t kStrictMode = 0;

// The chain shared by the two colour-array repairs, up to and including the
// conversion. Progress 30 after the weld, 70 after the repair.
void repairColorModel(TriMesh& mesh, const float* corners, const float* colors, const float* uvs,
                      const int32_t* materials, uint32_t count, float** corners_out,
                      float** colors_out, float** uvs_out, int32_t** materials_out,
                      uint32_t* count_out) {
  buildInput(mesh, count, corners, colors, uvs, materials);
  setProgress(30);
  repairMesh(mesh, {HoleFilling::kWhenUntextured});
  setProgress(70);
  storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out, materials_out);
}

}  // namespace

extern "C" {

VEKMESH_API void modelRepair(const char* path) {
  modelRepair64(path);
}

VEKMESH_API void modelRepair64(const char* path) {
  try {
    TriMesh mesh;
    loadInput(mesh, path);
    // A file that could not be read, or held no triangles, is not replaced by
    // an empty one: the user's file stays as it was.
    if (mesh.faces.empty()) return;
    repairMesh(mesh, {HoleFilling::kWhenUntextured});
    // A crash or a full disk while writing leaves the user's file as it was.
    replaceFile(path, [&](const char* temp) { return writeStl(temp, mesh); });
  } catch (...) {
    // The file is left as it was.
  }
}

VEKMESH_API int32_t flawsDetect(const char* path, int32_t face_limit) {
  return flawsDetect64(path, face_limit);
}

VEKMESH_API int32_t flawsDetect64(const char* path, int32_t face_limit) {
  try {
    TriMesh mesh;
    loadInput(mesh, path);
    const bool check = face_limit == -1 ||
                       (face_limit >= 0 && mesh.faces.size() <= static_cast<size_t>(face_limit));
    return check && detectFlaws(mesh, kStrictMode) ? 1 : 0;
  } catch (...) {
    return 0;
  }
}

VEKMESH_API void modelRepairFromData(float* const* corners_address, const uint32_t* count_address,
                                     float** corners_out, uint32_t* count_out, int32_t* progress) {
  modelRepairFromData64(corners_address, count_address, corners_out, count_out, progress);
}

VEKMESH_API void modelRepairFromData64(float* const* corners_address, const uint32_t* count_address,
                                       float** corners_out, uint32_t* count_out,
                                       int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    const IndirectInput in = readIndirect(corners_address, count_address);
    buildInput(mesh, in.count, in.corners);
    setProgress(30);
    // Plain arrays carry no materials, so holes are always filled here.
    repairMesh(mesh, {HoleFilling::kAlways});
    setProgress(70);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
    setProgress(100);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API void modelRepairFromColorData(const float* corners, const float* colors,
                                          const float* uvs, const int32_t* materials,
                                          uint32_t count, float** corners_out, float** colors_out,
                                          float** uvs_out, int32_t** materials_out,
                                          uint32_t* count_out, int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    repairColorModel(mesh, corners, colors, uvs, materials, count, corners_out, colors_out, uvs_out,
                     materials_out, count_out);
    setProgress(100);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  }
}

VEKMESH_API void modelRepairFromColorDataWithPostDetection(
    const float* corners, const float* colors, const float* uvs, const int32_t* materials,
    uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
    int32_t** materials_out, uint32_t* count_out, uint8_t detail, int32_t* first_counter,
    int32_t* second_counter, int32_t* third_counter, int32_t* fourth_counter, int32_t* progress) {
  std::array<int32_t, 4> counters = {-1, -1, -1, -1};
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    writeCounters(counters, first_counter, second_counter, third_counter, fourth_counter);
    repairColorModel(mesh, corners, colors, uvs, materials, count, corners_out, colors_out, uvs_out,
                     materials_out, count_out);
    setProgress(80);
    // Runs after the conversion: the caller gets the repaired model, and the
    // counters describe it.
    if (detail) postDetection(mesh, counters);
    writeCounters(counters, first_counter, second_counter, third_counter, fourth_counter);
    setProgress(100);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  }
}

VEKMESH_API int32_t errorDetectAfterMeshReduceFromColorData(
    const float* corners, const float* colors, const float* uvs, const int32_t* materials,
    uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
    int32_t** materials_out, uint32_t* count_out, uint8_t detail, int32_t* first_counter,
    int32_t* second_counter, int32_t* third_counter, int32_t* fourth_counter, int32_t* progress) {
  std::array<int32_t, 4> counters = {-1, -1, -1, -1};
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    writeCounters(counters, first_counter, second_counter, third_counter, fourth_counter);
    buildInput(mesh, count, corners, colors, uvs, materials);
    setProgress(50);
    capLargeModel(mesh);  // 65, 75
    storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out,
               materials_out);
    setProgress(80);
    // Post-detection turns inside-out shells outwards, so the strict test that
    // follows judges the turned mesh.
    if (detail) postDetection(mesh, counters);
    writeCounters(counters, first_counter, second_counter, third_counter, fourth_counter);
    const bool flawed = detectFlaws(mesh, kStrictMode);
    setProgress(100);
    return flawed ? 1 : 0;
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
    return 0;
  }
}

}  // extern "C"
