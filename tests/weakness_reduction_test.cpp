// The reduction weaknessDetect chooses before sectional analysis: routine,
// ratio and tuning values by face count, including the negative middle ratio.
#include "analysis/weakness_reduction.h"

#include <gtest/gtest.h>

#include <cmath>

#include "mesh/mesh_utils.h"

namespace vekmesh {
namespace {

TEST(WeaknessReduction, ChoosesRoutineAndRatioByFaceCount) {
  // Small models keep all their faces.
  const WeaknessReduction small = weaknessReductionFor(19999);
  EXPECT_TRUE(small.qualityRoutine);
  EXPECT_EQ(small.ratio, 1.0);
  EXPECT_EQ(small.maxError, 0.05);
  EXPECT_EQ(small.minCosine, 0.985);

  // The middle rule as written: -1 at 20000, about 0 at 253333, 0.2 at 300000.
  EXPECT_DOUBLE_EQ(weaknessReductionFor(20000).ratio, -1.0);
  EXPECT_DOUBLE_EQ(weaknessReductionFor(100000).ratio, (80000 * 0.2 - 200000) / 280000.0);
  EXPECT_NEAR(weaknessReductionFor(100000).ratio, -0.657142857, 1e-9);
  EXPECT_NEAR(weaknessReductionFor(253333).ratio, 0.0, 1e-5);
  EXPECT_LT(weaknessReductionFor(253332).ratio, 0.0);
  EXPECT_DOUBLE_EQ(weaknessReductionFor(300000).ratio, 0.2);
  EXPECT_TRUE(weaknessReductionFor(100000).qualityRoutine);

  const WeaknessReduction large = weaknessReductionFor(999999);
  EXPECT_TRUE(large.qualityRoutine);
  EXPECT_EQ(large.ratio, 0.2);
  EXPECT_EQ(large.minCosine, 0.985);

  // A million faces and more: the fast routine with its own bound.
  const WeaknessReduction huge = weaknessReductionFor(1000000);
  EXPECT_FALSE(huge.qualityRoutine);
  EXPECT_EQ(huge.ratio, 0.2);
  EXPECT_EQ(huge.maxError, 0.05);
  EXPECT_EQ(huge.minCosine, 0.5);
}

// The middle rule's negative ratio reaches the reducer as "bounds only": a
// finely tessellated sphere loses most of its faces within 0.05 units.
TEST(WeaknessReduction, NegativeRatioStillReducesWithinBounds) {
  TriMesh mesh;
  std::vector<float> corners;
  const int slices = 200, stacks = 100;  // 39600 triangles, radius 10
  auto point = [&](int i, int j) {
    if (i == 0 || i == stacks) return std::array<float, 3>{0.0f, 0.0f, i == 0 ? 10.0f : -10.0f};
    const double theta = M_PI * i / stacks, phi = 2.0 * M_PI * j / slices;
    return std::array<float, 3>{static_cast<float>(10.0 * std::sin(theta) * std::cos(phi)),
                                static_cast<float>(10.0 * std::sin(theta) * std::sin(phi)),
                                static_cast<float>(10.0 * std::cos(theta))};
  };
  auto add = [&](std::array<float, 3> a, std::array<float, 3> b, std::array<float, 3> c) {
    for (const auto& p : {a, b, c}) corners.insert(corners.end(), p.begin(), p.end());
  };
  for (int i = 0; i < stacks; ++i)
    for (int j = 0; j < slices; ++j) {
      // Quads between rings; the pole rows' collapsed corners drop out when welding.
      add(point(i, j), point(i + 1, j), point(i + 1, j + 1));
      add(point(i, j), point(i + 1, j + 1), point(i, j + 1));
    }
  buildTriMesh(mesh, static_cast<uint32_t>(corners.size() / 9), corners.data(), nullptr, nullptr,
               nullptr);
  const size_t faces = mesh.faces.size();
  ASSERT_EQ(faces, 39600u);  // closed: the pole rows' triangles collapsed
  ASSERT_LT(weaknessReductionFor(faces).ratio, 0.0);
  const double volume = enclosedVolume(mesh);
  reduceForWeakness(mesh);
  EXPECT_LT(mesh.faces.size(), faces / 2);
  EXPECT_NEAR(enclosedVolume(mesh), volume, 0.01 * volume);
}

}  // namespace
}  // namespace vekmesh
