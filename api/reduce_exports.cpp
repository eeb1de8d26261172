// Reduction, preprocessing and refinement exports: the file-based and
// array-based thinning with the large-model cap, the flaw answers that follow
// it, and subdivision, remeshing and triangle revision.
#include "api/driver_frame.h"
#include "include/vekmesh.h"
#include "io/file_replace.h"
#include "io/stl.h"
#include "mesh/mesh_utils.h"
#include "remesh/large_model_cap.h"
#include "remesh/mesh_reducer.h"
#include "remesh/remesher.h"
#include "remesh/subdivision.h"
#include "repair/flaw_detection.h"

using namespace vekmesh;

namespace {

// The tuning values every ratio-driven reduction of these exports passes.
constexpr double kReduceMaxError = 0.05;
constexpr double kReduceMinCosine = 0.99;

constexpr int32_t kStrictMode = 0;
// The check of the preprocessing exports: a mode, or none.
constexpr int32_t kNoCheck = -2;

// Subdivision modes of the two refinement passes.
constexpr int32_t kSubdivideFirstPass = 1;
constexpr int32_t kSubdivideSecondPass = 0;

// The chain every preprocessing export shares once its mesh is in: 50, the
// thinning step, 80, the coordinates, and with a check 85 and the flaw test
// in `check_mode`. Returns the test's answer, 0 without one; 100 is the
// caller's to write.
template <class Thin>
int32_t thinAndCheck(TriMesh& mesh, const RunContext& run, Thin thin, int32_t check_mode,
                     const ModelOut& out) {
  run.report(0.50);
  thin();
  run.report(0.80);
  storeResult(mesh, out);
  if (check_mode == kNoCheck) return 0;
  run.report(0.85);
  return detectFlaws(mesh, static_cast<uint32_t>(check_mode), run) ? 1 : 0;
}

enum class Save { kNo, kYes };

// Load (5, 48 from the loader), the large-model cap (65, 75) and the rest of
// the preprocessing chain; with kYes the thinned mesh replaces the file.
int32_t capFile(const char* path, float** corners_out, uint32_t* count_out, int32_t* progress,
                int32_t check_mode, Save save) {
  const ModelOut out = ModelOut::coordinates(count_out, corners_out);
  return runExport(progressArgument(progress), out, [&](TriMesh& mesh, const RunContext& run) {
    loadInput(path, mesh, run);
    // Saving back what could not be read would replace the user's file with
    // an empty one.
    const bool loaded = !mesh.faces.empty();
    const int32_t flawed = thinAndCheck(
        mesh, run, [&] { capLargeModel(mesh, run.sub(0.65, 0.75)); }, check_mode, out);
    if (save == Save::kYes && loaded)
      replaceFile(path, [&](const char* temp) { return writeStl(temp, mesh); });
    run.report(1.0);
    return flawed;
  });
}

// The refinement exports without progress: the input by address, `refine`,
// the coordinates.
template <class Refine>
void refineCoordinates(float* const* corners_address, const uint32_t* count_address,
                       float** corners_out, uint32_t* count_out, Refine refine) {
  const ModelOut out = ModelOut::coordinates(count_out, corners_out);
  runExport(kNoProgressArgument, out, [&](TriMesh& mesh, const RunContext& run) {
    buildInput(mesh, readIndirect(corners_address, count_address));
    refine(mesh, run);
    storeResult(mesh, out);
  });
}

}  // namespace

extern "C" {

VEKMESH_API void meshReduceFromFile(const char* path, float** corners_out, uint32_t* count_out,
                                    int32_t* progress) {
  meshReduceFromFile64(path, corners_out, count_out, progress);
}

VEKMESH_API void meshReduceFromFile64(const char* path, float** corners_out, uint32_t* count_out,
                                      int32_t* progress) {
  capFile(path, corners_out, count_out, progress, kNoCheck, Save::kNo);
}

VEKMESH_API int32_t meshPreprocessorFromFile(const char* path, float** corners_out,
                                             uint32_t* count_out, int32_t* progress) {
  return meshPreprocessorFromFile64(path, corners_out, count_out, progress);
}

VEKMESH_API int32_t meshPreprocessorFromFile64(const char* path, float** corners_out,
                                               uint32_t* count_out, int32_t* progress) {
  return capFile(path, corners_out, count_out, progress, kStrictMode, Save::kNo);
}

VEKMESH_API int32_t meshPreprocessorFromFileSaveAs64(const char* path, float** corners_out,
                                                     uint32_t* count_out, int32_t* progress,
                                                     uint8_t save) {
  return capFile(path, corners_out, count_out, progress, kStrictMode,
                 save ? Save::kYes : Save::kNo);
}

VEKMESH_API int32_t meshPreprocessorCtrlFromFile(const char* path, int32_t check_mode, float ratio,
                                                 float** corners_out, uint32_t* count_out,
                                                 int32_t* progress) {
  const ModelOut out = ModelOut::coordinates(count_out, corners_out);
  return runExport(progressArgument(progress), out, [&](TriMesh& mesh, const RunContext& run) {
    loadInput(path, mesh, run);
    // A negative ratio (or NaN) means "do not reduce". Mode -1 is the strict
    // test; modes below it skip the test.
    const int32_t flawed = thinAndCheck(
        mesh, run,
        [&] {
          if (ratio >= 0.0f) reduceMesh(mesh, ratio, kReduceMaxError, kReduceMinCosine, run);
        },
        check_mode == -1 ? kStrictMode : (check_mode < -1 ? kNoCheck : check_mode), out);
    // The check's 85 is written even when the test is skipped.
    if (check_mode < -1) run.report(0.85);
    run.report(1.0);
    return flawed;
  });
}

VEKMESH_API int32_t meshPreprocessorFromData(float* const* corners_address,
                                             const uint32_t* count_address, float** corners_out,
                                             uint32_t* count_out, int32_t* progress) {
  const ModelOut out = ModelOut::coordinates(count_out, corners_out);
  return runExport(progressArgument(progress), out, [&](TriMesh& mesh, const RunContext& run) {
    buildInput(mesh, readIndirect(corners_address, count_address));
    const int32_t flawed = thinAndCheck(
        mesh, run, [&] { capLargeModel(mesh, run.sub(0.65, 0.75)); }, kStrictMode, out);
    run.report(1.0);
    return flawed;
  });
}

VEKMESH_API void meshReduceFromData(float ratio, float* const* corners_address,
                                    const uint32_t* count_address, float** corners_out,
                                    uint32_t* count_out) {
  refineCoordinates(corners_address, count_address, corners_out, count_out,
                    [&](TriMesh& mesh, const RunContext& run) {
                      reduceMesh(mesh, ratio, kReduceMaxError, kReduceMinCosine, run);
                    });
}

VEKMESH_API void meshReduceFromColorData(float ratio, const float* corners, const float* colors,
                                         const float* uvs, const int32_t* materials, uint32_t count,
                                         float** corners_out, float** colors_out, float** uvs_out,
                                         int32_t** materials_out, uint32_t* count_out,
                                         int32_t* progress) {
  runOperation(progressArgument(progress), {count, corners, colors, uvs, materials},
               ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out),
               {0.50, 0.90}, [&](TriMesh& mesh, const RunContext& run) {
                 reduceMesh(mesh, ratio, kReduceMaxError, kReduceMinCosine, run);
               });
}

VEKMESH_API void subdivisionFromData(int32_t level, float* const* corners_address,
                                     const uint32_t* count_address, float** corners_out,
                                     uint32_t* count_out) {
  refineCoordinates(corners_address, count_address, corners_out, count_out,
                    [&](TriMesh& mesh, const RunContext& run) {
                      subdivideMesh(mesh, level, kSubdivideFirstPass, run);
                      rebuildTopology(mesh);
                    });
}

VEKMESH_API void subdivisionFromColorData(int32_t level, const float* corners, const float* colors,
                                          const float* uvs, const int32_t* materials,
                                          uint32_t count, float** corners_out, float** colors_out,
                                          float** uvs_out, int32_t** materials_out,
                                          uint32_t* count_out) {
  const ModelOut out = ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out);
  runExport(kNoProgressArgument, out, [&](TriMesh& mesh, const RunContext& run) {
    buildInput(mesh, {count, corners, colors, uvs, materials});
    for (const int32_t mode : {kSubdivideFirstPass, kSubdivideSecondPass}) {
      subdivideMesh(mesh, level, mode, run);
      rebuildTopology(mesh);
    }
    storeResult(mesh, out);
  });
}

VEKMESH_API void remeshFromData64(float* const* corners_address, const uint32_t* count_address,
                                  float** corners_out, uint32_t* count_out,
                                  int32_t* const* index_address,
                                  const uint32_t* index_count_address) {
  const int32_t* indices = index_address ? *index_address : nullptr;
  const uint32_t index_count = indices && index_count_address ? *index_count_address : 0;
  refineCoordinates(corners_address, count_address, corners_out, count_out,
                    [&](TriMesh& mesh, const RunContext& run) {
                      remeshMesh(mesh, index_count ? indices : nullptr, index_count, run);
                      rebuildTopology(mesh);
                    });
}

VEKMESH_API void reviseTriangleFromData(float* const* corners_address,
                                        const uint32_t* count_address, float** corners_out,
                                        uint32_t* count_out) {
  // Building is the revision: the weld merges coinciding corners and drops
  // the triangles that collapse. Compacting again would weld the welded mesh
  // once more and change nothing the coordinates show.
  refineCoordinates(corners_address, count_address, corners_out, count_out,
                    [](TriMesh&, const RunContext&) {});
}

}  // extern "C"
