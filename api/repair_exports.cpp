// Repair and detection exports: the repair family (from a file, from plain
// arrays, from arrays with colours, with post-detection) and the flaw answers.
#include <array>

#include "api/driver_frame.h"
#include "include/vekmesh.h"
#include "io/file_replace.h"
#include "io/stl.h"
#include "remesh/large_model_cap.h"
#include "repair/flaw_detection.h"
#include "repair/repair_pipeline.h"

using namespace vekmesh;

namespace {

constexpr uint32_t kStrictMode = 0;

// The repair chain of the array exports: build, 30, repair (which ends with
// the rebuilt topology), 70, the result.
void repairToResult(TriMesh& mesh, const RunContext& run, const SoupInput& in,
                    HoleFilling hole_filling, const ModelOut& out) {
  buildInput(mesh, in);
  run.report(0.30);
  repairMesh(mesh, {hole_filling}, run);
  run.report(0.70);
  storeResult(mesh, out);
}

// The frame of the two exports with post-detection: the four counters at -1
// until the detection runs; `produce(mesh, run)` builds, works and stores
// the result; then 80, the post-detection when `detail` asks for it (after
// the conversion: the caller gets the model, the counters describe it), the
// counters, with kStrict the strict test (which then judges the mesh the
// post-detection turned), and 100. Returns the test's answer, 0 without it.
enum class FinalCheck { kNone, kStrict };
template <class Produce>
int32_t detectAfter(const ModelOut& out, uint8_t detail, std::array<int32_t*, 4> counters_out,
                    int32_t* progress, FinalCheck check, Produce produce) {
  std::array<int32_t, 4> counters = {-1, -1, -1, -1};
  const auto write = [&] {
    writeCounters(counters, counters_out[0], counters_out[1], counters_out[2], counters_out[3]);
  };
  return runExport(progressArgument(progress), out, [&](TriMesh& mesh, const RunContext& run) {
    write();
    produce(mesh, run);
    run.report(0.80);
    if (detail) postDetection(mesh, counters, run);
    write();
    const bool flawed = check == FinalCheck::kStrict && detectFlaws(mesh, kStrictMode, run);
    run.report(1.0);
    return flawed ? int32_t{1} : int32_t{0};
  });
}

}  // namespace

extern "C" {

VEKMESH_API void modelRepair(const char* path) {
  modelRepair64(path);
}

VEKMESH_API void modelRepair64(const char* path) {
  // The file is left as it was on every failure.
  runExport(
      kNoProgressArgument, [] {},
      [&](TriMesh& mesh, const RunContext& run) {
        loadInput(path, mesh, run);
        // A file that could not be read, or held no triangles, is not replaced by
        // an empty one: the user's file stays as it was.
        if (mesh.faces.empty()) return;
        repairMesh(mesh, {HoleFilling::kWhenUntextured}, run);
        // A crash or a full disk while writing leaves the user's file as it was.
        replaceFile(path, [&](const char* temp) { return writeStl(temp, mesh); });
      });
}

VEKMESH_API int32_t flawsDetect(const char* path, int32_t face_limit) {
  return flawsDetect64(path, face_limit);
}

VEKMESH_API int32_t flawsDetect64(const char* path, int32_t face_limit) {
  return runExport(
      kNoProgressArgument, [] {},
      [&](TriMesh& mesh, const RunContext& run) {
        loadInput(path, mesh, run);
        const bool check =
            face_limit == -1 ||
            (face_limit >= 0 && mesh.faces.size() <= static_cast<size_t>(face_limit));
        return check && detectFlaws(mesh, kStrictMode, run) ? int32_t{1} : int32_t{0};
      });
}

VEKMESH_API void modelRepairFromData(float* const* corners_address, const uint32_t* count_address,
                                     float** corners_out, uint32_t* count_out, int32_t* progress) {
  modelRepairFromData64(corners_address, count_address, corners_out, count_out, progress);
}

VEKMESH_API void modelRepairFromData64(float* const* corners_address, const uint32_t* count_address,
                                       float** corners_out, uint32_t* count_out,
                                       int32_t* progress) {
  const ModelOut out = ModelOut::coordinates(count_out, corners_out);
  runExport(progressArgument(progress), out, [&](TriMesh& mesh, const RunContext& run) {
    // Plain arrays carry no materials, so holes are always filled here.
    repairToResult(mesh, run, readIndirect(corners_address, count_address), HoleFilling::kAlways,
                   out);
    run.report(1.0);
  });
}

VEKMESH_API void modelRepairFromColorData(const float* corners, const float* colors,
                                          const float* uvs, const int32_t* materials,
                                          uint32_t count, float** corners_out, float** colors_out,
                                          float** uvs_out, int32_t** materials_out,
                                          uint32_t* count_out, int32_t* progress) {
  const ModelOut out = ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out);
  runExport(progressArgument(progress), out, [&](TriMesh& mesh, const RunContext& run) {
    repairToResult(mesh, run, {count, corners, colors, uvs, materials},
                   HoleFilling::kWhenUntextured, out);
    run.report(1.0);
  });
}

VEKMESH_API void modelRepairFromColorDataWithPostDetection(
    const float* corners, const float* colors, const float* uvs, const int32_t* materials,
    uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
    int32_t** materials_out, uint32_t* count_out, uint8_t detail, int32_t* first_counter,
    int32_t* second_counter, int32_t* third_counter, int32_t* fourth_counter, int32_t* progress) {
  const ModelOut out = ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out);
  detectAfter(out, detail, {first_counter, second_counter, third_counter, fourth_counter}, progress,
              FinalCheck::kNone, [&](TriMesh& mesh, const RunContext& run) {
                repairToResult(mesh, run, {count, corners, colors, uvs, materials},
                               HoleFilling::kWhenUntextured, out);
              });
}

VEKMESH_API int32_t errorDetectAfterMeshReduceFromColorData(
    const float* corners, const float* colors, const float* uvs, const int32_t* materials,
    uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
    int32_t** materials_out, uint32_t* count_out, uint8_t detail, int32_t* first_counter,
    int32_t* second_counter, int32_t* third_counter, int32_t* fourth_counter, int32_t* progress) {
  return detectAfter(ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out),
                     detail, {first_counter, second_counter, third_counter, fourth_counter},
                     progress, FinalCheck::kStrict, [&](TriMesh& mesh, const RunContext& run) {
                       buildInput(mesh, {count, corners, colors, uvs, materials});
                       run.report(0.50);
                       capLargeModel(mesh, run.sub(0.65, 0.75));
                       storeResult(mesh, ModelOut::all(count_out, corners_out, colors_out, uvs_out,
                                                       materials_out));
                     });
}

}  // extern "C"
