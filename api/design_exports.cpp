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
#include "mesh/progress_cell.h"
#include "repair/separation.h"

using namespace vekmesh;

namespace {

// The fixed first argument of the decomposition output step.
constexpr double kDecompositionOutputConstant = 5.0;

// Where a preview ended before producing buffers, the caller sees no outline
// and the slots keep what they held.
void writeNoOutlines(float** points_out, int32_t** point_counts_out, int32_t* polygon_count_out,
                     int32_t** labels_out) {
  if (points_out) *points_out = nullptr;
  if (point_counts_out) *point_counts_out = nullptr;
  if (polygon_count_out) *polygon_count_out = 0;
  if (labels_out) *labels_out = nullptr;
}

void storeOrClearDecompositionPreview(const PolygonOutlines& outlines, float** points_out,
                                      int32_t** point_counts_out, int32_t* polygon_count_out,
                                      int32_t** labels_out) {
  if (outlines.produced)
    storeDecompositionPreview(outlines, points_out, point_counts_out, polygon_count_out,
                              labels_out);
  else
    writeNoOutlines(points_out, point_counts_out, polygon_count_out, labels_out);
}

// The frame of the two decompositions: 10 after the weld, the operation, the
// output step, 90, the pieces, 100.
template <class Decompose>
void decomposeToPieces(Decompose decompose, int32_t output_setting, const float* corners,
                       const float* colors, const float* uvs, const int32_t* materials,
                       uint32_t count, float** corners_out, float** colors_out, float** uvs_out,
                       int32_t** materials_out, uint32_t** piece_counts_out,
                       uint32_t* piece_count_out, int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, count, corners, colors, uvs, materials);
    setProgress(10);
    decompose(mesh);
    decompositionOutput(mesh, kDecompositionOutputConstant, static_cast<float>(output_setting));
    setProgress(90);
    storeMultiModel(convertMultiShell(mesh), piece_count_out, piece_counts_out, corners_out,
                    colors_out, uvs_out, materials_out);
    setProgress(100);
  } catch (...) {
    failMultiModel(piece_count_out, piece_counts_out, corners_out, colors_out, uvs_out,
                   materials_out);
  }
}

}  // namespace

extern "C" {

VEKMESH_API void voxelize(float voxel_size, const float* corners, const float* colors,
                          uint32_t count, float** corners_out, float** colors_out,
                          uint32_t* count_out) {
  try {
    TriMesh mesh;
    buildInput(mesh, count, corners, colors);
    voxelizeToSurface(mesh, voxel_size);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesAndColors(result, count_out, corners_out, colors_out);
  } catch (...) {
    failCoordinatesAndColors(count_out, corners_out, colors_out);
  }
}

VEKMESH_API void hollowFromData(float wall_thickness, const float* corners, uint32_t count,
                                float** corners_out, uint32_t* count_out, int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, count, corners);
    setProgress(10);
    hollowMesh(mesh, wall_thickness);
    setProgress(90);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
    setProgress(100);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API void cellularInfillFromData(double infill_density, float surface_thickness,
                                        const float* corners, uint32_t count, float** corners_out,
                                        uint32_t* count_out, int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, count, corners);
    setProgress(10);
    cellularInfill(mesh, infill_density, surface_thickness);
    setProgress(90);
    ModelArrays result = convertSingleModel(mesh);
    storeCoordinatesOnly(result, count_out, corners_out);
    setProgress(100);
  } catch (...) {
    failCoordinates(count_out, corners_out);
  }
}

VEKMESH_API int32_t lampshadePreview(float wall_thickness, const float* corners, uint32_t count,
                                     float** points_out, int32_t** point_counts_out,
                                     int32_t* polygon_count_out, int32_t** labels_out) {
  try {
    TriMesh mesh;
    buildInput(mesh, count, corners);
    PolygonOutlines outlines;
    const int32_t status = previewLampshade(mesh, wall_thickness, outlines);
    if (outlines.produced)
      storeLampshadePreview(outlines, points_out, point_counts_out, polygon_count_out, labels_out);
    else
      writeNoOutlines(points_out, point_counts_out, polygon_count_out, labels_out);
    return status;
  } catch (...) {
    writeNoOutlines(points_out, point_counts_out, polygon_count_out, labels_out);
    return 0;
  }
}

VEKMESH_API void lampshadeFromData(float wall_thickness, const float* corners, const float* colors,
                                   const float* uvs, const int32_t* materials, int32_t count,
                                   float** corners_out, float** colors_out, float** uvs_out,
                                   int32_t** materials_out, uint32_t* count_out,
                                   int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, countFromSigned(count), corners, colors, uvs, materials);
    setProgress(10);
    buildLampshade(mesh, wall_thickness);
    setProgress(90);
    storeModel(convertSingleModel(mesh), count_out, corners_out, colors_out, uvs_out,
               materials_out);
    setProgress(100);
  } catch (...) {
    failModel(count_out, corners_out, colors_out, uvs_out, materials_out);
  }
}

VEKMESH_API void decompositionUniformPreview(int32_t cut_count, const float* corners,
                                             uint32_t count, float** points_out,
                                             int32_t** point_counts_out, int32_t* polygon_count_out,
                                             int32_t** labels_out) {
  try {
    setProgress(0);
    TriMesh mesh;
    buildInput(mesh, count, corners);
    PolygonOutlines outlines;
    previewUniformDecomposition(mesh, cut_count, outlines);
    storeOrClearDecompositionPreview(outlines, points_out, point_counts_out, polygon_count_out,
                                     labels_out);
  } catch (...) {
    writeNoOutlines(points_out, point_counts_out, polygon_count_out, labels_out);
  }
}

VEKMESH_API void decompositionAutoPreview(const float* corners, uint32_t count, float** points_out,
                                          int32_t** point_counts_out, int32_t* polygon_count_out,
                                          int32_t** labels_out) {
  try {
    setProgress(0);
    TriMesh mesh;
    buildInput(mesh, count, corners);
    PolygonOutlines outlines;
    previewAutoDecomposition(mesh, outlines);
    storeOrClearDecompositionPreview(outlines, points_out, point_counts_out, polygon_count_out,
                                     labels_out);
  } catch (...) {
    writeNoOutlines(points_out, point_counts_out, polygon_count_out, labels_out);
  }
}

VEKMESH_API void decompositionUniformFromData(
    int32_t cut_count, int32_t output_setting, int32_t decomposition_setting, const float* corners,
    const float* colors, const float* uvs, const int32_t* materials, uint32_t count,
    float** corners_out, float** colors_out, float** uvs_out, int32_t** materials_out,
    uint32_t** piece_counts_out, uint32_t* piece_count_out, int32_t* progress) {
  decomposeToPieces(
      [&](TriMesh& mesh) {
        decomposeUniform(mesh, cut_count, output_setting, decomposition_setting);
      },
      output_setting, corners, colors, uvs, materials, count, corners_out, colors_out, uvs_out,
      materials_out, piece_counts_out, piece_count_out, progress);
}

VEKMESH_API void decompositionAutoFromData(int32_t output_setting, int32_t decomposition_setting,
                                           const float* corners, const float* colors,
                                           const float* uvs, const int32_t* materials,
                                           uint32_t count, float** corners_out, float** colors_out,
                                           float** uvs_out, int32_t** materials_out,
                                           uint32_t** piece_counts_out, uint32_t* piece_count_out,
                                           int32_t* progress) {
  decomposeToPieces(
      [&](TriMesh& mesh) { decomposeAuto(mesh, output_setting, decomposition_setting); },
      output_setting, corners, colors, uvs, materials, count, corners_out, colors_out, uvs_out,
      materials_out, piece_counts_out, piece_count_out, progress);
}

VEKMESH_API void separateFromData(const float* corners, const float* colors, const float* uvs,
                                  const int32_t* materials, uint32_t count, float** corners_out,
                                  float** colors_out, float** uvs_out, int32_t** materials_out,
                                  uint32_t** shell_counts_out, uint32_t* shell_count_out,
                                  int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, count, corners, colors, uvs, materials);
    setProgress(10);
    separateShells(mesh);
    setProgress(80);
    storeMultiModel(convertMultiShell(mesh), shell_count_out, shell_counts_out, corners_out,
                    colors_out, uvs_out, materials_out);
    setProgress(100);
  } catch (...) {
    failMultiModel(shell_count_out, shell_counts_out, corners_out, colors_out, uvs_out,
                   materials_out);
  }
}

}  // extern "C"
