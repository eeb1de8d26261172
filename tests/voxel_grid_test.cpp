// The voxel grid: key arithmetic and face ids, forming voxels from
// triangles, the surface rule that drops cavity walls and specks, the layer
// operations, the export, the contact clean-up and bounded work on bad input.
#include "design/voxel_grid.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "design/voxel_mesh_cleanup.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

// A voxel at lattice indices (i, j, k) of `grid`.
void place(VoxelGrid& grid, int i, int j, int k, uint8_t red = 255) {
  Voxel v;
  v.x = static_cast<float>(i * double{grid.voxelSize[0]});
  v.y = static_cast<float>(j * double{grid.voxelSize[1]});
  v.z = static_cast<float>(k * double{grid.voxelSize[2]});
  v.red = red;
  ASSERT_TRUE(grid.put(grid.keyOf(v), v));
}

void placeBlock(VoxelGrid& grid, int lo, int hi) {
  for (int k = lo; k <= hi; ++k)
    for (int j = lo; j <= hi; ++j)
      for (int i = lo; i <= hi; ++i) place(grid, i, j, k);
}

size_t exposedFaces(const VoxelGrid& grid) {
  size_t count = 0;
  grid.voxels.forEach([&](VoxelKey, const Voxel& v) {
    for (int k = 0; k < kFaceDirections; ++k) count += (v.faceFlags >> k) & 1;
  });
  return count;
}

// Vertices whose faces do not form one fan (joined across edges at the
// vertex): the pinches the clean-up must split.
size_t pinchedVertices(const SubMesh& mesh) {
  std::map<std::pair<int, int>, std::vector<size_t>> around;  // (vertex, other end) -> faces
  for (size_t f = 0; f < mesh.faces.size(); ++f)
    for (int c = 0; c < 3; ++c) {
      const int v = mesh.faces[f].v[c];
      around[{v, mesh.faces[f].v[(c + 1) % 3]}].push_back(f);
      around[{v, mesh.faces[f].v[(c + 2) % 3]}].push_back(f);
    }
  size_t pinched = 0;
  for (size_t v = 0; v < mesh.vertices.size(); ++v) {
    std::map<size_t, size_t> parent;
    std::function<size_t(size_t)> find = [&](size_t x) {
      return parent[x] == x ? x : parent[x] = find(parent[x]);
    };
    for (const CornerRef r : mesh.incidentCorners[v]) parent[r.face] = r.face;
    for (auto it = around.lower_bound({int(v), std::numeric_limits<int>::min()});
         it != around.end() && it->first.first == int(v); ++it)
      for (size_t f : it->second) parent[find(f)] = find(it->second.front());
    std::set<size_t> roots;
    for (auto& [f, p] : parent) roots.insert(find(f));
    pinched += roots.size() > 1;
  }
  return pinched;
}

TEST(VoxelGrid, KeysAliasBeyondRowsAndFaceIdsWorkBelowZero) {
  VoxelGrid grid(0.5f);
  EXPECT_EQ(grid.keyOf(0.0, 0.0, 0.0), 0);
  EXPECT_EQ(grid.keyOf(0.5, 1.0, -0.5), 2 + 1600 * 2 - 1280000);
  EXPECT_EQ(grid.keyOf(0.24, -0.24, 0.0), 0);  // rounds to the nearest point
  // 400 cells along x is the next row's -400: the key's deliberate limit.
  EXPECT_EQ(grid.keyOf(400 * 0.5, 0.0, 0.0), grid.keyOf(-400 * 0.5, 0.5, 0.0));
  for (VoxelKey key : {VoxelKey{0}, VoxelKey{-2}, VoxelKey{-1281602}, VoxelKey{1283202}})
    for (int k = 0; k < kFaceDirections; ++k) {
      EXPECT_EQ(faceDirectionOf(faceId(key, k)), k);
      EXPECT_EQ(faceVoxelKey(faceId(key, k)), key);
    }
}

TEST(VoxelGrid, FormVoxelsTakesSnappedBoxOfSmallMeshAndLastColour) {
  // A tetrahedron smaller than one voxel: only the points of its snapped box.
  for (float offset : {0.0f, 0.3f, 0.49f, 0.74f}) {
    const Soup soup = test::tetrahedronSoup(0.4f);
    Soup moved = soup;
    for (float& c : moved.corners) c += offset;
    TriMesh mesh = test::buildMesh(moved);
    VoxelGrid grid(1.0f);
    formVoxels(grid, mesh, mesh.vertices);
    EXPECT_GE(grid.voxelCount, 1u);
    EXPECT_LE(grid.voxelCount, 8u);
    EXPECT_EQ(grid.centreZEnabled, 1);
  }
  // Two triangles reaching the same cells: the later one's colour stays.
  Soup two;
  two.addTriangle({0, 0, 0}, {0.3f, 0, 0}, {0, 0.3f, 0});
  two.addTriangle({0, 0, 0.1f}, {0.3f, 0, 0.1f}, {0, 0.3f, 0.1f});
  two.colors.assign(18, 0.0f);
  for (int c = 0; c < 9; c += 3) two.colors[c] = 1.0f;       // first red
  for (int c = 9; c < 18; c += 3) two.colors[c + 2] = 1.0f;  // then blue
  TriMesh mesh = test::buildMesh(two);
  VoxelGrid grid(1.0f);
  formVoxels(grid, mesh, mesh.vertices);
  ASSERT_GT(grid.voxelCount, 0u);
  grid.voxels.forEach([](VoxelKey, const Voxel& v) {
    EXPECT_EQ(v.red, 0);
    EXPECT_EQ(v.blue, 255);
  });
}

TEST(VoxelGrid, FormVoxelsCoversLargeTrianglesNearTheirPlane) {
  const Soup soup = test::uvSphereSoup(10.0f, 48, 24);
  TriMesh mesh = test::buildMesh(soup);
  VoxelGrid grid(0.5f);
  grid.recordTilt = true;
  formVoxels(grid, mesh, mesh.vertices);
  ASSERT_GT(grid.voxelCount, 1000u);
  // Within the capture radius plus the half unit of enlargement of the
  // surface, and the chords of the sphere.
  const double reach = 0.5 * std::sqrt(3.0) * 0.5 + 0.5 + 0.2;
  grid.voxels.forEach([&](VoxelKey key, const Voxel& v) {
    const double r = std::sqrt(double(v.x) * v.x + double(v.y) * v.y + double(v.z) * v.z);
    EXPECT_LT(std::fabs(r - 10.0), reach);
    const int8_t* tilt = grid.tilt.find(key);
    ASSERT_NE(tilt, nullptr);
    EXPECT_GE(*tilt, 0);
    EXPECT_LE(*tilt, 90);
  });
  // Near the poles the faces are nearly level, at the equator upright.
  EXPECT_LE(*grid.tilt.find(grid.keyOf(0.0, 0.0, 10.0)), 10);
  EXPECT_GE(*grid.tilt.find(grid.keyOf(10.0, 0.0, 0.0)), 80);
}

TEST(VoxelGrid, FormSurfaceDropsCavityWallsAndSpecks) {
  VoxelGrid grid(1.0f);
  // A 7-cube with a 3-cube cavity, and a lone voxel (6 faces) beside it.
  for (int k = 0; k < 7; ++k)
    for (int j = 0; j < 7; ++j)
      for (int i = 0; i < 7; ++i)
        if (!(i >= 2 && i <= 4 && j >= 2 && j <= 4 && k >= 2 && k <= 4)) place(grid, i, j, k);
  place(grid, 20, 0, 0);
  std::vector<std::vector<int64_t>> kept;
  formSurface(grid, &kept, kMinComponentFaces);
  ASSERT_EQ(kept.size(), 1u);
  EXPECT_EQ(kept[0].size(), 6u * 49u);
  EXPECT_EQ(exposedFaces(grid), 6u * 49u);
  EXPECT_EQ(grid.voxels.find(grid.keyOf(20, 0, 0))->faceFlags, 0);
  EXPECT_EQ(grid.voxels.find(grid.keyOf(3, 3, 1))->faceFlags, 0);  // under the cavity
  // A threshold above the skin's size drops it too.
  formSurface(grid, nullptr, 6 * 49 + 1);
  EXPECT_EQ(exposedFaces(grid), 0u);
}

TEST(VoxelGrid, PeelFillAndReviseKeepFlagsConsistent) {
  VoxelGrid grid(1.0f);
  placeBlock(grid, 0, 5);
  formSurface(grid, nullptr, kMinComponentFaces);
  std::vector<Voxel> removed;
  peelLayers(grid, 1, &removed);
  EXPECT_EQ(grid.voxelCount, 64u);
  EXPECT_EQ(removed.size(), 216u - 64u);
  EXPECT_EQ(exposedFaces(grid), 6u * 16u);  // the new skin shows what was uncovered
  for (size_t i = 1; i < removed.size(); ++i)
    EXPECT_LT(grid.keyOf(removed[i - 1]), grid.keyOf(removed[i]));
  peelLayers(grid, -1, nullptr);  // a negative count ends with the grid empty
  EXPECT_EQ(grid.voxelCount, 0u);

  // A grid without skin: a negative count must still end.
  placeBlock(grid, 0, 2);
  peelLayers(grid, -1, nullptr);
  EXPECT_EQ(grid.voxelCount, 27u);

  // A hollow box is filled solid, in white or blended toward the far wall.
  for (bool blend : {false, true}) {
    VoxelGrid box(1.0f);
    for (int k = 0; k < 6; ++k)
      for (int j = 0; j < 6; ++j)
        for (int i = 0; i < 6; ++i)
          if (i == 0 || j == 0 || k == 0 || i == 5 || j == 5 || k == 5)
            place(box, i, j, k, i == 5 ? 0 : 200);
    formSurface(box, nullptr, kMinComponentFaces);
    fillInterior(box, blend);
    EXPECT_EQ(box.voxelCount, 216u);
    const Voxel* inner = box.voxels.find(box.keyOf(2, 2, 2));
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(inner->faceFlags, 0);
    EXPECT_EQ(inner->red, blend ? 50 : 255);  // (200 + 0) >> 1, then (100 + 0) >> 1
  }

  // A plate one voxel thick is thickened until no voxel shows two opposite
  // sides, and the flags say what is really exposed.
  VoxelGrid plate(1.0f);
  for (int j = 0; j < 6; ++j)
    for (int i = 0; i < 6; ++i) place(plate, i, j, 0);
  formSurface(plate, nullptr, kMinComponentFaces);
  reviseThinSkin(plate, 2);
  plate.voxels.forEach([&](VoxelKey key, const Voxel& v) {
    for (int k = 0; k < 3; ++k)
      EXPECT_FALSE((v.faceFlags >> k & 1) && (v.faceFlags >> oppositeFace(k) & 1));
    for (int k = 0; k < kFaceDirections; ++k)
      EXPECT_EQ((v.faceFlags >> k) & 1, plate.voxels.contains(key + plate.faceOffset(k)) ? 0 : 1);
  });
}

TEST(VoxelGrid, OffsetGrowsOneLayerPerPassInItsNeighbourhood) {
  const std::pair<int, size_t> grown[] = {{1, 7}, {2, 19}, {3, 27}, {4, 5}, {5, 9}, {6, 3}, {9, 1}};
  for (auto [mode, count] : grown) {
    VoxelGrid grid(1.0f);
    place(grid, 0, 0, 0);
    formSurface(grid, nullptr, 0);
    offsetVoxelLayers(grid, 1, mode, nullptr);
    EXPECT_EQ(grid.voxelCount, count) << "mode " << mode;
  }
  VoxelGrid grid(1.0f);
  place(grid, 0, 0, 0);
  formSurface(grid, nullptr, 0);
  std::vector<Voxel> added;
  offsetVoxelLayers(grid, 2, 1, &added);
  EXPECT_EQ(grid.voxelCount, 25u);  // the octahedron of radius 2
  EXPECT_EQ(added.size(), 24u);

  // Inward: a hollow shell with its inner bits cleared fills three layers.
  VoxelGrid shell(1.0f);
  for (int k = 0; k < 12; ++k)
    for (int j = 0; j < 12; ++j)
      for (int i = 0; i < 12; ++i)
        if (i == 0 || j == 0 || k == 0 || i == 11 || j == 11 || k == 11) place(shell, i, j, k);
  formSurface(shell, nullptr, kMinComponentFaces);  // the inner wall is a cavity wall
  offsetVoxelLayers(shell, -3, 1, nullptr);
  EXPECT_EQ(shell.voxelCount, 1728u - 4u * 4u * 4u);
}

TEST(VoxelGrid, ExportGivesClosedOutwardMeshAndReportsEmptyGrid) {
  VoxelGrid empty(1.0f);
  TriMesh mesh = test::buildMesh(test::cubeSoup());
  test::RunRecorder recorder;
  EXPECT_EQ(exportVoxel(mesh, empty, recorder.context()), 1);
  EXPECT_NE(recorder.log.find("\n\n[start export voxel]\nfacet number : 0"), std::string::npos);
  EXPECT_EQ(mesh.faces.size(), 12u);  // untouched

  VoxelGrid grid(0.3f);
  placeBlock(grid, -2, 2);
  formSurface(grid, nullptr, kMinComponentFaces);
  ASSERT_EQ(exportVoxel(mesh, grid), 0);
  EXPECT_EQ(mesh.faces.size(), 2u * 6u * 25u);
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_NEAR(enclosedVolume(mesh), std::pow(5 * 0.3, 3), 1e-4);
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

TEST(VoxelGrid, CleanupSplitsEdgeAndCornerContacts) {
  // Two voxels on one edge, two more on one corner.
  VoxelGrid grid(1.0f);
  placeBlock(grid, 0, 1);  // a 2-cube keeps the components above 20 faces
  placeBlock(grid, 2, 3);  // touching it at one corner
  place(grid, 2, 2, 0);    // and one voxel along an edge of it
  formSurface(grid, nullptr, kMinComponentFaces);
  TriMesh mesh;
  ASSERT_EQ(exportVoxel(mesh, grid), 0);
  const double volume = enclosedVolume(mesh);
  EXPECT_GT(test::edgeCensus(mesh).nonManifold, 0u);
  EXPECT_GT(pinchedVertices(mesh), 0u);
  separateVoxelContacts(mesh);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_EQ(pinchedVertices(mesh), 0u);
  EXPECT_DOUBLE_EQ(enclosedVolume(mesh), volume);
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

TEST(VoxelGrid, VoxelizeDropsHollowSpheresCavityAndStaysInside) {
  // A sphere of radius 10 with a cavity of radius 9: a wall of two voxels.
  const Soup outer = test::uvSphereSoup(10.0f, 64, 32);
  Soup inner = test::uvSphereSoup(9.0f, 64, 32);
  for (size_t t = 0; t < inner.triangleCount(); ++t)
    for (int a = 0; a < 3; ++a) std::swap(inner.corners[9 * t + a], inner.corners[9 * t + 3 + a]);
  TriMesh mesh = test::buildMesh(test::concatenate(outer, inner));
  test::RunRecorder recorder;
  ASSERT_EQ(voxelizeToSurface(mesh, 0.5f, recorder.context()), 0);
  for (const char* line :
       {"\n\n[start voxelization]", "\nmodel size   : (", "\nmodel center : (",
        "\nform  voxels : ", "\nform  surface: ", "\ntime voxelize: ", "\nvoxel size   : 0.500000",
        "\nvoxel num    : ", " voxel object has been exported."})
    EXPECT_NE(recorder.log.find(line), std::string::npos) << line;
  separateVoxelContacts(mesh);
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_FALSE(detectFlaws(mesh, 0));
  buildShells(mesh);
  EXPECT_EQ(mesh.shells.size(), 1u);  // the cavity's walls are gone
  // Two layers peeled off the captured skin put the voxel surface on the
  // model's: no corner more than a third of a voxel outside the sphere.
  for (const Vertex& v : mesh.vertices) {
    const double r = std::hypot(v.position[0], v.position[1], v.position[2]);
    EXPECT_LT(r, 10.0 + 0.5 / 3);
    EXPECT_GT(r, 8.5);
  }
}

TEST(VoxelGrid, BadInputEndsEmptyWithCaution) {
  const Soup cube = test::cubeSoup(100.0f);
  for (float size : {std::nanf(""), std::numeric_limits<float>::infinity(), -1.0f, 0.0f}) {
    TriMesh mesh = test::buildMesh(cube);
    test::RunRecorder recorder;
    EXPECT_EQ(voxelizeToSurface(mesh, size, recorder.context()), 2);
    EXPECT_TRUE(mesh.faces.empty());
    EXPECT_NE(recorder.log.find("\n[Caution] voxel size invalid!\n"), std::string::npos);
  }
  // Far too small a voxel for the model: refused before anything is made.
  TriMesh mesh = test::buildMesh(cube);
  test::RunRecorder recorder;
  EXPECT_EQ(voxelizeToSurface(mesh, 0.001f, recorder.context()), 2);
  EXPECT_TRUE(mesh.faces.empty());
  EXPECT_NE(recorder.log.find("\n[Caution] too many voxels!\n"), std::string::npos);

  // No triangles, one open triangle, a corner at infinity: no voxel face.
  Soup odd;
  odd.addTriangle({0, 0, 0}, {5, 0, 0}, {0, 5, 0});
  Soup far = odd;
  far.addTriangle({0, 0, 0}, {std::numeric_limits<float>::infinity(), 0, 0}, {0, 0, 1});
  for (const Soup& soup : {Soup{}, odd, far}) {
    TriMesh m = test::buildMesh(soup);
    EXPECT_NE(voxelizeToSurface(m, 0.5f), 0);
  }
}

}  // namespace
}  // namespace vekmesh
