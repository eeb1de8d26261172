// Shape-design exports: voxels, hollowing, cellular infill, the lampshade and
// its preview, decomposition and its previews, and shell separation.
#include "api/driver_frame.h"
#include "api/result_buffers.h"
#include "design/cellular_infill.h"
#include "design/decomposition.h"
#include "design/hollowing.h"
#include "design/lampshade.h"
#include "design/voxel_grid.h"
#include "include/vekmesh.h"
#include "mesh/polygon_outlines.h"
#include "repair/separation.h"

using namespace vekmesh;

namespace {

// The fixed first argument of the decomposition output step.
constexpr double kDecompositionOutputConstant = 5.0;

// Where a preview's outlines go.
struct OutlinesOut {
  float** points;
  int32_t** pointCounts;
  int32_t* polygonCount;
  int32_t** labels;
  // Where a preview ended before producing buffers, the caller sees no
  // outline and the slots keep what they held.
  void clear() const {
    if (points) *points = nullptr;
    if (pointCounts) *pointCounts = nullptr;
    if (polygonCount) *polygonCount = 0;
    if (labels) *labels = nullptr;
  }
};

using StoreOutlines = void (*)(const PolygonOutlines&, float**, int32_t**, int32_t*, int32_t**);

// The preview frame: build, `preview(mesh, outlines)` (its answer is
// returned), and the outlines stored with `store` when the preview made any.
template <class Preview>
int32_t previewOutlines(const SoupInput& in, const OutlinesOut& out, StoreOutlines store,
                        Preview preview) {
  return runExport(
      kNoProgressArgument, [&] { out.clear(); },
      [&](TriMesh& mesh, const RunContext&) {
        buildInput(mesh, in);
        PolygonOutlines outlines;
        const int32_t status = preview(mesh, outlines);
        if (outlines.produced)
          store(outlines, out.points, out.pointCounts, out.polygonCount, out.labels);
        else
          out.clear();
        return status;
      });
}

// The decomposition previews write 0 through the progress cell first.
template <class Preview>
void previewDecomposition(const float* corners, uint32_t count, const OutlinesOut& out,
                          Preview preview) {
  libraryRunContext().report(0.0);
  previewOutlines({count, corners}, out, storeDecompositionPreview,
                  [&](TriMesh& mesh, PolygonOutlines& outlines) {
                    preview(mesh, outlines);
                    return int32_t{0};
                  });
}

// The two decompositions: the operation and the output step between 10 and
// 90, then the pieces.
template <class Decompose>
void decomposeToPieces(int32_t output_setting, const SoupInput& in, const PiecesOut& out,
                       int32_t* progress, Decompose decompose) {
  runOperation(
      progressArgument(progress), in, out, {0.10, 0.90}, [&](TriMesh& mesh, const RunContext&) {
        decompose(mesh);
        decompositionOutput(mesh, kDecompositionOutputConstant, static_cast<float>(output_setting));
      });
}

}  // namespace

extern "C" {

VEKMESH_API void voxelize(float voxel_size, const float* corners, const float* colors,
                          uint32_t count, float** corners_out, float** colors_out,
                          uint32_t* count_out) {
  const ModelOut out = ModelOut::coordinatesAndColors(count_out, corners_out, colors_out);
  runExport(kNoProgressArgument, out, [&](TriMesh& mesh, const RunContext& run) {
    buildInput(mesh, {count, corners, colors});
    voxelizeToSurface(mesh, voxel_size, run);
    storeResult(mesh, out);
  });
}

VEKMESH_API void hollowFromData(float wall_thickness, const float* corners, uint32_t count,
                                float** corners_out, uint32_t* count_out, int32_t* progress) {
  runOperation(
      progressArgument(progress), {count, corners}, ModelOut::coordinates(count_out, corners_out),
      {0.10, 0.90},
      [&](TriMesh& mesh, const RunContext& run) { hollowMesh(mesh, wall_thickness, run); });
}

VEKMESH_API void cellularInfillFromData(double infill_density, float surface_thickness,
                                        const float* corners, uint32_t count, float** corners_out,
                                        uint32_t* count_out, int32_t* progress) {
  runOperation(progressArgument(progress), {count, corners},
               ModelOut::coordinates(count_out, corners_out), {0.10, 0.90},
               [&](TriMesh& mesh, const RunContext&) {
                 cellularInfill(mesh, infill_density, surface_thickness);
               });
}

VEKMESH_API int32_t lampshadePreview(float wall_thickness, const float* corners, uint32_t count,
                                     float** points_out, int32_t** point_counts_out,
                                     int32_t* polygon_count_out, int32_t** labels_out) {
  return previewOutlines({count, corners},
                         {points_out, point_counts_out, polygon_count_out, labels_out},
                         storeLampshadePreview, [&](TriMesh& mesh, PolygonOutlines& outlines) {
                           return previewLampshade(mesh, wall_thickness, outlines);
                         });
}

VEKMESH_API void lampshadeFromData(float wall_thickness, const float* corners, const float* colors,
                                   const float* uvs, const int32_t* materials, int32_t count,
                                   float** corners_out, float** colors_out, float** uvs_out,
                                   int32_t** materials_out, uint32_t* count_out,
                                   int32_t* progress) {
  runOperation(
      progressArgument(progress), {countFromSigned(count), corners, colors, uvs, materials},
      ModelOut::all(count_out, corners_out, colors_out, uvs_out, materials_out), {0.10, 0.90},
      [&](TriMesh& mesh, const RunContext&) { buildLampshade(mesh, wall_thickness); });
}

VEKMESH_API void decompositionUniformPreview(int32_t cut_count, const float* corners,
                                             uint32_t count, float** points_out,
                                             int32_t** point_counts_out, int32_t* polygon_count_out,
                                             int32_t** labels_out) {
  previewDecomposition(corners, count,
                       {points_out, point_counts_out, polygon_count_out, labels_out},
                       [&](TriMesh& mesh, PolygonOutlines& outlines) {
                         previewUniformDecomposition(mesh, cut_count, outlines);
                       });
}

VEKMESH_API void decompositionAutoPreview(const float* corners, uint32_t count, float** points_out,
                                          int32_t** point_counts_out, int32_t* polygon_count_out,
                                          int32_t** labels_out) {
  previewDecomposition(
      corners, count, {points_out, point_counts_out, polygon_count_out, labels_out},
      [&](TriMesh& mesh, PolygonOutlines& outlines) { previewAutoDecomposition(mesh, outlines); });
}

VEKMESH_API void decompositionUniformFromData(
    int32_t cut_count, int32_t output_setting, int32_t decomposition_setting, const float* corners,
    const float* colors, const float* uvs, const int32_t* materials, uint32_t count,
    float** corners_out, float** colors_out, float** uvs_out, int32_t** materials_out,
    uint32_t** piece_counts_out, uint32_t* piece_count_out, int32_t* progress) {
  decomposeToPieces(
      output_setting, {count, corners, colors, uvs, materials},
      {piece_count_out, piece_counts_out, corners_out, colors_out, uvs_out, materials_out},
      progress, [&](TriMesh& mesh) {
        decomposeUniform(mesh, cut_count, output_setting, decomposition_setting);
      });
}

VEKMESH_API void decompositionAutoFromData(int32_t output_setting, int32_t decomposition_setting,
                                           const float* corners, const float* colors,
                                           const float* uvs, const int32_t* materials,
                                           uint32_t count, float** corners_out, float** colors_out,
                                           float** uvs_out, int32_t** materials_out,
                                           uint32_t** piece_counts_out, uint32_t* piece_count_out,
                                           int32_t* progress) {
  decomposeToPieces(
      output_setting, {count, corners, colors, uvs, materials},
      {piece_count_out, piece_counts_out, corners_out, colors_out, uvs_out, materials_out},
      progress, [&](TriMesh& mesh) { decomposeAuto(mesh, output_setting, decomposition_setting); });
}

VEKMESH_API void separateFromData(const float* corners, const float* colors, const float* uvs,
                                  const int32_t* materials, uint32_t count, float** corners_out,
                                  float** colors_out, float** uvs_out, int32_t** materials_out,
                                  uint32_t** shell_counts_out, uint32_t* shell_count_out,
                                  int32_t* progress) {
  runOperation(
      progressArgument(progress), {count, corners, colors, uvs, materials},
      PiecesOut{shell_count_out, shell_counts_out, corners_out, colors_out, uvs_out, materials_out},
      {0.10, 0.80}, [&](TriMesh& mesh, const RunContext& run) { separateShells(mesh, run); });
}

}  // extern "C"
