// The reduction and preprocessing exports as a host calls them, and the
// reduction weaknessDetect runs first: the ratio reaches the reducer, the
// large-model cap thins big models, and the results stay printable.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "analysis/weakness_reduction.h"
#include "include/vekmesh.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

// A returned soup welded again and checked as the next step would see it.
void expectPrintable(const float* corners, uint32_t count) {
  TriMesh mesh;
  buildTriMesh(mesh, count, corners, nullptr, nullptr, nullptr);
  EXPECT_EQ(mesh.faces.size(), count);  // nothing degenerate came back
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

TEST(ReduceExports, RatioReachesTheReducer) {
  const Soup soup = test::uvSphereSoup(10.0f, 160, 80);  // 25280 triangles
  float* corners = const_cast<float*>(soup.corners.data());
  const uint32_t count = soup.triangleCount();
  float* out = nullptr;
  uint32_t out_count = 0;
  meshReduceFromData(0.25f, &corners, &count, &out, &out_count);
  EXPECT_NEAR(out_count, 0.25 * count, 2.0);
  expectPrintable(out, out_count);
  freeAllArray();

  // A ratio of 0 or below keeps only the bounds: the sphere (triangles about 2
  // units across) goes as far as a mean error of 0.05 units allows.
  meshReduceFromData(-1.0f, &corners, &count, &out, &out_count);
  EXPECT_LT(out_count, count / 10);
  EXPECT_GT(out_count, 200u);
  for (uint32_t i = 0; i < 3 * out_count; ++i)
    EXPECT_NEAR(std::hypot(out[3 * i], out[3 * i + 1], out[3 * i + 2]), 10.0, 2 * 0.05);
  expectPrintable(out, out_count);
  freeAllArray();
}

// weaknessDetect's reduction of a mid-sized model has a negative ratio, which
// reaches the reducer as "bounds only" too.
TEST(WeaknessReduction, NegativeRatioStillReducesWithinBounds) {
  TriMesh mesh = test::buildMesh(test::uvSphereSoup(10.0f, 200, 100));
  const size_t faces = mesh.faces.size();
  ASSERT_LT(weaknessReductionFor(faces).ratio, 0.0);
  const double volume = enclosedVolume(mesh);
  reduceForWeakness(mesh);
  EXPECT_LT(mesh.faces.size(), faces / 2);
  EXPECT_NEAR(enclosedVolume(mesh), volume, 0.01 * volume);
}

// 149000 triangles: above the cap, which keeps 100000 and 30 % of the rest,
// from data and from files; the controlled form reduces by its own ratio.
TEST(ReduceExports, LargeModelCapThinsDataAndFiles) {
  const Soup soup = test::uvSphereSoup(10.0f, 500, 150);
  float* corners = const_cast<float*>(soup.corners.data());
  const uint32_t count = soup.triangleCount();
  ASSERT_EQ(count, 149000u);
  const double capped = (149000 - 100000) * 0.3 + 100000;
  float* out = nullptr;
  uint32_t out_count = 0;
  EXPECT_EQ(meshPreprocessorFromData(&corners, &count, &out, &out_count, nullptr), 0);
  EXPECT_NEAR(out_count, capped, 2.0);
  expectPrintable(out, out_count);
  freeAllArray();
  std::array<int32_t, 4> counters = {7, 7, 7, 7};
  EXPECT_EQ(errorDetectAfterMeshReduceFromColorData(
                corners, nullptr, nullptr, nullptr, count, &out, nullptr, nullptr, nullptr,
                &out_count, 1, &counters[0], &counters[1], &counters[2], &counters[3], nullptr),
            0);
  EXPECT_NEAR(out_count, capped, 2.0);
  EXPECT_EQ(counters, (std::array<int32_t, 4>{0, 0, 0, 0}));
  freeAllArray();

  test::ScratchDir dir;
  const std::string path = dir.write("sphere.stl", test::binaryStl(soup));
  meshReduceFromFile64(path.c_str(), &out, &out_count, nullptr);
  EXPECT_NEAR(out_count, capped, 2.0);
  freeAllArray();
  EXPECT_EQ(meshPreprocessorCtrlFromFile(path.c_str(), -1, 0.1f, &out, &out_count, nullptr), 0);
  EXPECT_NEAR(out_count, 14900, 2.0);
  expectPrintable(out, out_count);
  freeAllArray();
  EXPECT_EQ(meshPreprocessorCtrlFromFile(path.c_str(), 0, -1.0f, &out, &out_count, nullptr), 0);
  EXPECT_EQ(out_count, 149000u);
  freeAllArray();
}

}  // namespace
}  // namespace vekmesh
