// The reduction weaknessDetect chooses before sectional analysis: routine,
// ratio and tuning values by face count, including the negative middle ratio.
#include "analysis/weakness_reduction.h"

#include <gtest/gtest.h>

#include <cmath>

#include "mesh/mesh_utils.h"

namespace vekmesh {
namespace {

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
