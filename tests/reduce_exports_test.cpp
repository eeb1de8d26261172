// Tests of the reduction and preprocessing exports as a host calls them: the
// ratio reaches the reducer, the large-model cap thins big models to 100000
// faces plus 30 % of the rest, the results stay printable, and colours and
// materials come back with their triangles.
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "include/vekmesh.h"
#include "io/stl.h"
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

// 149000 triangles: above the cap, which keeps (149000 - 100000) x 0.3 + 100000.
constexpr double kCapped = (149000 - 100000) * 0.3 + 100000;
Soup largeSphere() {
  return test::uvSphereSoup(10.0f, 500, 150);
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

  // A ratio of 0 or below keeps only the bounds: the sphere goes as far as a
  // mean error of 0.05 units allows (triangles about 2 units across on this
  // radius of 10), and no corner strays far from it.
  meshReduceFromData(-1.0f, &corners, &count, &out, &out_count);
  EXPECT_LT(out_count, count / 10);
  EXPECT_GT(out_count, 200u);
  for (uint32_t i = 0; i < 3 * out_count; ++i)
    EXPECT_NEAR(std::hypot(out[3 * i], out[3 * i + 1], out[3 * i + 2]), 10.0, 2 * 0.05);
  expectPrintable(out, out_count);
  freeAllArray();
}

TEST(ReduceExports, LargeModelCapThinsDataAndAnswersTheFlawTest) {
  const Soup soup = largeSphere();
  ASSERT_EQ(soup.triangleCount(), 149000u);
  float* corners = const_cast<float*>(soup.corners.data());
  const uint32_t count = soup.triangleCount();
  float* out = nullptr;
  uint32_t out_count = 0;
  int32_t progress = -1;
  EXPECT_EQ(meshPreprocessorFromData(&corners, &count, &out, &out_count, &progress), 0);
  EXPECT_EQ(progress, 100);
  EXPECT_NEAR(out_count, kCapped, 2.0);
  expectPrintable(out, out_count);
  freeAllArray();

  std::array<int32_t, 4> counters = {7, 7, 7, 7};
  float *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  EXPECT_EQ(errorDetectAfterMeshReduceFromColorData(soup.corners.data(), nullptr, nullptr, nullptr,
                                                    count, &out, &colors, &uvs, &materials,
                                                    &out_count, 1, &counters[0], &counters[1],
                                                    &counters[2], &counters[3], &progress),
            0);
  EXPECT_NEAR(out_count, kCapped, 2.0);
  EXPECT_EQ(counters, (std::array<int32_t, 4>{0, 0, 0, 0}));
  freeAllArray();
}

TEST(ReduceExports, FileExportsCapAndReduce) {
  char dir[] = "/tmp/vekmesh_reduce_XXXXXX";
  ASSERT_NE(mkdtemp(dir), nullptr);
  const std::string path = std::string(dir) + "/sphere.stl";
  {
    const TriMesh mesh = test::buildMesh(largeSphere());
    writeStl(path.c_str(), mesh);
  }
  float* out = nullptr;
  uint32_t out_count = 0;
  int32_t progress = -1;
  meshReduceFromFile64(path.c_str(), &out, &out_count, &progress);
  EXPECT_EQ(progress, 100);
  EXPECT_NEAR(out_count, kCapped, 2.0);
  freeAllArray();

  EXPECT_EQ(meshPreprocessorFromFile64(path.c_str(), &out, &out_count, &progress), 0);
  EXPECT_NEAR(out_count, kCapped, 2.0);
  freeAllArray();

  // The controlled form reduces by its own ratio, or not at all below 0.
  EXPECT_EQ(meshPreprocessorCtrlFromFile(path.c_str(), -1, 0.1f, &out, &out_count, &progress), 0);
  EXPECT_NEAR(out_count, 14900, 2.0);
  expectPrintable(out, out_count);
  freeAllArray();
  EXPECT_EQ(meshPreprocessorCtrlFromFile(path.c_str(), 0, -1.0f, &out, &out_count, &progress), 0);
  EXPECT_EQ(out_count, 149000u);
  freeAllArray();

  std::remove(path.c_str());
  rmdir(dir);
}

}  // namespace
}  // namespace vekmesh
