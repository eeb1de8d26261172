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
  // On failure the caller's angles are left as they were.
  runExport(
      kNoProgressArgument, [] {},
      [&](TriMesh& mesh, const RunContext& run) {
        buildInput(mesh, {count, corners});
        std::array<double, 3> angles = {0.0, 0.0, 0.0};
        optimizeOrientation(mesh, angles, mode, kOverhangAngle, run);
        if (angles_out) std::memcpy(angles_out, angles.data(), sizeof angles);
      });
}

VEKMESH_API void weaknessDetect(const float* corners, uint32_t count, float** points_out,
                                uint32_t** score_bits_out, int32_t** point_counts_out,
                                int32_t* polygon_count_out, int32_t* progress) {
  const auto no_sections = [&] {
    try {
      storeSections({}, {}, {}, points_out, score_bits_out, point_counts_out, polygon_count_out);
    } catch (...) {
      if (polygon_count_out) *polygon_count_out = 0;
    }
  };
  runExport(progressArgument(progress), no_sections, [&](TriMesh& mesh, const RunContext& run) {
    buildInput(mesh, {count, corners});
    run.report(0.10);
    reduceForWeakness(mesh, run);
    // Compaction and shells: the reducer leaves a mesh it could not thin as
    // welded, unused vertices included, and builds no shells it was not given.
    rebuildTopology(mesh);
    sectionalAnalysis(mesh, kSectionChangeRatio, kAllDirections, run.sub(0.10, 0.90));
    run.report(0.90);
    storeWeakSections(mesh, points_out, score_bits_out, point_counts_out, polygon_count_out);
    run.report(1.0);
  });
}

VEKMESH_API int32_t balancingPreviewFromData(const float* parameters, const float* corners,
                                             uint32_t count, uint8_t* first_flags,
                                             uint8_t* second_flags, float** preview_out,
                                             uint32_t* preview_count_out) {
  const auto no_preview = [&] {
    try {
      storeBalancingPreview({}, preview_out, preview_count_out);
    } catch (...) {
      if (preview_count_out) *preview_count_out = 0;
    }
  };
  return runExport(kNoProgressArgument, no_preview, [&](TriMesh& mesh, const RunContext&) {
    buildInput(mesh, {count, corners});
    std::vector<float> preview;
    const int32_t result = previewBalancing(mesh, parameters, first_flags, second_flags, preview);
    storeBalancingPreview(preview, preview_out, preview_count_out);
    return result;
  });
}

VEKMESH_API void balancingFromData(double parameter, const float* corners, uint32_t count,
                                   float** corners_out, uint32_t* count_out) {
  // No progress argument: the writes reach whatever the cell points at.
  runOperation(kNoProgressArgument, {count, corners}, ModelOut::coordinates(count_out, corners_out),
               {0.10, 0.90},
               [&](TriMesh& mesh, const RunContext&) { balanceMesh(mesh, parameter); });
}

}  // extern "C"
