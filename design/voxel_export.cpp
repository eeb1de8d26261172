// exportVoxel: two triangles per exposed voxel face, written in key order and
// face order from the corner and triangle tables, corners snapped to the
// half-voxel lattice so that neighbouring voxels give bit-identical corners,
// then welded by the single-precision constructor.
// Choices (also in voxel_grid.h): more than kMaxExportFacets triangles empty
// the mesh with a caution; a half size that rounds to 0 is kept exact.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "design/voxel_grid.h"
#include "mesh/operation_log.h"

namespace vekmesh {
namespace {

// Corner c of a voxel lies at -h or +h on each axis by these signs.
constexpr int kCornerSign[8][3] = {{-1, 1, 1},  {-1, -1, 1},  {1, -1, 1},  {1, 1, 1},
                                   {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1}, {1, 1, -1}};

// Two triangles per face direction k (+z, +x, +y, -z, -x, -y), each
// counter-clockwise seen from outside.
constexpr int kFaceTriangles[kFaceDirections][2][3] = {
    {{0, 1, 2}, {0, 2, 3}}, {{3, 2, 6}, {3, 6, 7}}, {{0, 7, 4}, {0, 3, 7}},
    {{4, 7, 5}, {7, 6, 5}}, {{0, 4, 5}, {0, 5, 1}}, {{1, 5, 6}, {1, 6, 2}}};

}  // namespace

int exportVoxel(SubMesh& mesh, const VoxelGrid& grid, const RunContext& run) {
  run.log(stepHeading("export voxel"));
  std::vector<VoxelKey> keys;
  uint64_t exposed = 0;
  grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
    const unsigned bits = v.faceFlags & kExposedMask;
    if (bits == 0) return;
    keys.push_back(key);
    for (int k = 0; k < kFaceDirections; ++k) exposed += (bits >> k) & 1u;
  });
  const uint64_t facets = 2 * exposed;
  run.log(labelText("facet number") + std::to_string(facets));
  if (facets == 0) return 1;
  if (facets > kMaxExportFacets) {
    run.log(cautionLine("too many voxel faces!"));
    mesh.faces.clear();
    mesh.vertices.clear();
    mesh.incidentCorners.clear();
    mesh.texCoords.clear();
    mesh.shells.clear();
    return 2;
  }
  std::sort(keys.begin(), keys.end());

  double h[3];
  for (int a = 0; a < 3; ++a) {
    const double s = grid.voxelSize[a];
    h[a] = std::trunc(s * 0.5 * 10000.0) / 10000.0;
    if (!(h[a] > 0.0)) h[a] = s * 0.5;  // sizes below 1/5000 keep their exact half
  }
  std::vector<float> corners(9 * facets);
  std::vector<float> colors(9 * facets);
  size_t at = 0;
  for (VoxelKey key : keys) {
    const Voxel& v = *grid.voxels.find(key);
    const double centre[3] = {v.x, v.y, v.z};
    float corner[8][3];
    for (int c = 0; c < 8; ++c)
      for (int a = 0; a < 3; ++a) {
        const double p = centre[a] + kCornerSign[c][a] * h[a];
        corner[c][a] = static_cast<float>(std::floor(p / h[a] + 0.5) * h[a] + grid.modelCentre[a]);
      }
    const float rgb[3] = {v.red / 255.0f, v.green / 255.0f, v.blue / 255.0f};
    for (int k = 0; k < kFaceDirections; ++k) {
      if (!(v.faceFlags & (1u << k))) continue;
      for (const auto& triangle : kFaceTriangles[k])
        for (int c : triangle) {
          std::copy(corner[c], corner[c] + 3, corners.begin() + static_cast<ptrdiff_t>(at));
          std::copy(rgb, rgb + 3, colors.begin() + static_cast<ptrdiff_t>(at));
          at += 3;
        }
    }
  }
  buildTriMesh(mesh, static_cast<uint32_t>(facets), corners.data(), colors.data(), nullptr,
               nullptr);
  mesh.shells.clear();
  run.log(" voxel object has been exported.");
  return 0;
}

}  // namespace vekmesh
