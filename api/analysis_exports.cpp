// Analysis exports: print orientation, weak cross-sections and balancing.
#include <array>
#include <cstring>
#include <vector>

#include "analysis/print_orientation.h"
#include "analysis/sectional_analysis.h"
#include "analysis/weakness_reduction.h"
#include "api/driver_frame.h"
#include "api/result_buffers.h"
#include "design/balancing.h"
#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh/progress_cell.h"

using namespace vekmesh;

namespace {

// weaknessDetect's analysis settings: the change ratio and all 13 directions.
constexpr float kSectionChangeRatio = 0.5f;
constexpr uint8_t kAllDirections = 0;

uint32_t floatBits(float f) {
  uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  return bits;
}

// The weak sections' polygons in record, group, polygon order.
void storeWeakSections(const SubMesh& mesh, float** points_out, uint32_t** score_bits_out,
                       int32_t** point_counts_out, int32_t* polygon_count_out) {
  std::vector<float> points;
  std::vector<uint32_t> score_bits;
  std::vector<int32_t> point_counts;
  for (const AnalysisRecord& record : mesh.analysisRecords)
    for (const auto& group : record.outlineGroups)
      for (const AnalysisRecord::Polygon& polygon : group) {
        for (const auto& p : polygon) points.insert(points.end(), p.begin(), p.end());
        score_bits.push_back(floatBits(record.score));
        point_counts.push_back(static_cast<int32_t>(polygon.size()));
      }
  storeSections(points, score_bits, point_counts, points_out, score_bits_out, point_counts_out,
                polygon_count_out);
}

}  // namespace

extern "C" {

VEKMESH_API void orientationOptimization(const float* corners, uint32_t count, double* angles_out,
                                         int32_t mode) {
  try {
    TriMesh mesh;
    buildInput(mesh, count, corners);
    std::array<double, 3> angles = {0.0, 0.0, 0.0};
    optimizeOrientation(mesh, angles, mode, kOverhangAngle);
    if (angles_out) std::memcpy(angles_out, angles.data(), sizeof angles);
  } catch (...) {
    // The caller's angles are left as they were.
  }
}

VEKMESH_API void weaknessDetect(const float* corners, uint32_t count, float** points_out,
                                uint32_t** score_bits_out, int32_t** point_counts_out,
                                int32_t* polygon_count_out, int32_t* progress) {
  try {
    TriMesh mesh;
    ProgressBinding bound(progress);
    buildInput(mesh, count, corners);
    setProgress(10);
    reduceForWeakness(mesh);
    rebuildTopology(mesh);  // compaction and shells
    sectionalAnalysis(mesh, kSectionChangeRatio, kAllDirections);
    setProgress(90);
    storeWeakSections(mesh, points_out, score_bits_out, point_counts_out, polygon_count_out);
    setProgress(100);
  } catch (...) {
    try {
      storeSections({}, {}, {}, points_out, score_bits_out, point_counts_out, polygon_count_out);
    } catch (...) {
      if (polygon_count_out) *polygon_count_out = 0;
    }
  }
}

VEKMESH_API int32_t balancingPreviewFromData(const float* parameters, const float* corners,
                                             uint32_t count, uint8_t* first_flags,
                                             uint8_t* second_flags, float** preview_out,
                                             uint32_t* preview_count_out) {
  try {
    TriMesh mesh;
    buildInput(mesh, count, corners);
    std::vector<float> preview;
    const int32_t result = previewBalancing(mesh, parameters, first_flags, second_flags, preview);
    storeBalancingPreview(preview, preview_out, preview_count_out);
    return result;
  } catch (...) {
    try {
      storeBalancingPreview({}, preview_out, preview_count_out);
    } catch (...) {
      if (preview_count_out) *preview_count_out = 0;
    }
    return 0;
  }
}

VEKMESH_API void balancingFromData(double parameter, const float* corners, uint32_t count,
                                   float** corners_out, uint32_t* count_out) {
  try {
    TriMesh mesh;
    buildInput(mesh, count, corners);
    // No progress argument: these writes reach whatever the cell points at.
    setProgress(10);
    balanceMesh(mesh, parameter);
    setProgress(90);
    storeModel(convertSingleModel(mesh), count_out, corners_out, nullptr, nullptr, nullptr);
    setProgress(100);
  } catch (...) {
    failModel(count_out, corners_out, nullptr, nullptr, nullptr);
  }
}

}  // extern "C"
