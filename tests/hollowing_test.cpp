// Hollowing: the voxel size and wall layers of the worked values, the core of
// a cube (closed, printable, inside the model and smaller), the caution cases,
// and the voxelize and hollowFromData exports as a host calls them.
#include "design/hollowing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

TEST(Hollowing, VoxelSizeAndWallLayersFollowTheWorkedValues) {
  EXPECT_EQ(hollowVoxelSize(1.2e6), 1.0f);
  EXPECT_EQ(hollowWallLayers(2.0f, 1.0f), 2);  // (2.0 - 0.5) / 1.0 + 1.0 = 2.5
  EXPECT_EQ(hollowVoxelSize(1000.0), 0.4f);    // s0 = 0.1024
  EXPECT_EQ(hollowWallLayers(2.0f, 0.4f), 4);  // 4.75: under 5, the thin skin is revised
  EXPECT_EQ(hollowVoxelSize(1.2e6 * 27.0), 2.0f);
  EXPECT_FLOAT_EQ(hollowVoxelSize(1.2e6 * 2.0), static_cast<float>(std::pow(2.0, 0.33)));
  EXPECT_EQ(hollowVoxelSize(0.0), 0.4f);
  EXPECT_EQ(hollowVoxelSize(std::nan("")), 0.4f);
  for (float s : {0.4f, 1.0f, 2.0f}) EXPECT_EQ(hollowWallLayers(0.5f, s), 1);
  EXPECT_LT(hollowWallLayers(-1.0f, 0.4f), 0);
  EXPECT_LT(hollowWallLayers(std::nanf(""), 0.4f), 0);
  EXPECT_EQ(hollowWallLayers(std::numeric_limits<float>::infinity(), 0.4f),
            std::numeric_limits<int32_t>::max());
}

TEST(Hollowing, CoreOfCubeIsClosedInsideAndSmaller) {
  const Soup cube = test::cubeSoup(10.0f);
  TriMesh mesh = test::buildMesh(cube);
  test::RunRecorder recorder;
  HollowReport report;
  ASSERT_EQ(hollowMesh(mesh, 2.0f, recorder.context(), &report), 0);
  EXPECT_EQ(report.voxelSize, 0.4f);
  EXPECT_EQ(report.layers, 4);
  EXPECT_EQ(recorder.percents, (std::vector<int32_t>{10, 30, 40, 50, 60, 70, 80, 85}));
  for (const char* line :
       {"\n---start executing light weight---", "\nthickness    : 2.000000",
        "\n[start export voxel]", "\nhollow volume: ", "\n---{success} light weight : "})
    EXPECT_NE(recorder.log.find(line), std::string::npos) << line;
  EXPECT_NE(recorder.log.find(" %\n---{success}"), std::string::npos);

  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_FALSE(detectFlaws(mesh, 0));
  for (const Vertex& v : mesh.vertices)
    for (float x : v.position) {
      EXPECT_GT(x, 1.0f);
      EXPECT_LT(x, 9.0f);
    }
  EXPECT_GT(report.coreVolume, 0.1 * 1000.0);
  EXPECT_LT(report.coreVolume, 0.8 * 1000.0);
  EXPECT_NEAR(enclosedVolume(mesh), report.coreVolume, 1e-9);
}

TEST(Hollowing, NothingLeftEndsInCaution) {
  // A negative wall peels until nothing is left; a wall thicker than half
  // the model leaves nothing; NaN counts as negative.
  for (float wall : {-1.0f, 6.0f, std::nanf("")}) {
    TriMesh mesh = test::buildMesh(test::cubeSoup(10.0f));
    test::RunRecorder recorder;
    EXPECT_EQ(hollowMesh(mesh, wall, recorder.context()), 1) << wall;
    EXPECT_TRUE(mesh.faces.empty());
    EXPECT_TRUE(mesh.vertices.empty());
    EXPECT_NE(recorder.log.find("\n[Caution] hollow nothing!\n"), std::string::npos);
    EXPECT_EQ(recorder.log.find("{success}"), std::string::npos);
    EXPECT_EQ(recorder.percents, (std::vector<int32_t>{10, 30, 40, 50, 60}));
  }
  // No triangles, or an open sheet: nothing to hollow either.
  Soup sheet;
  sheet.addTriangle({0, 0, 0}, {10, 0, 0}, {0, 10, 0});
  for (const Soup& soup : {Soup{}, sheet}) {
    TriMesh mesh = test::buildMesh(soup);
    EXPECT_EQ(hollowMesh(mesh, 1.0f), 1);
    EXPECT_TRUE(mesh.faces.empty());
  }
}

TEST(DesignExports, VoxelizeAndHollowHandBackFreeableArrays) {
  Soup cube = test::cubeSoup(10.0f);
  test::paint(cube, {1.0f, 0.0f, 0.0f});
  float* corners = nullptr;
  float* colors = nullptr;
  uint32_t count = 0;
  voxelize(0.5f, cube.corners.data(), cube.colors.data(), cube.triangleCount(), &corners, &colors,
           &count);
  ASSERT_GT(count, 0u);
  ASSERT_NE(colors, nullptr);
  for (uint32_t i = 0; i < 3 * count; ++i) {
    EXPECT_EQ(colors[3 * i], 1.0f);
    EXPECT_EQ(colors[3 * i + 1], 0.0f);
  }
  freeAllArray();
  voxelize(std::nanf(""), cube.corners.data(), nullptr, cube.triangleCount(), &corners, &colors,
           &count);
  EXPECT_EQ(count, 0u);
  freeAllArray();

  int32_t progress = -1;
  hollowFromData(2.0f, cube.corners.data(), cube.triangleCount(), &corners, &count, &progress);
  EXPECT_EQ(progress, 100);
  ASSERT_GT(count, 0u);
  TriMesh core;
  buildTriMesh(core, count, corners, nullptr, nullptr, nullptr);
  EXPECT_LT(enclosedVolume(core), 1000.0);
  freeAllArray();
  hollowFromData(-2.0f, cube.corners.data(), cube.triangleCount(), &corners, &count, &progress);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(progress, 100);
  freeAllArray();
}

}  // namespace
}  // namespace vekmesh
