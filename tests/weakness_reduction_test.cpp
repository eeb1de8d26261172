// The reduction weaknessDetect chooses before sectional analysis: routine,
// ratio and tuning values by face count, including the negative middle ratio.
#include "analysis/weakness_reduction.h"

#include <gtest/gtest.h>

#include <cmath>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"

namespace vekmesh {
namespace {

// The middle rule's negative ratio reaches the reducer as "bounds only": a
// finely tessellated sphere loses most of its faces within 0.05 units.
TEST(WeaknessReduction, NegativeRatioStillReducesWithinBounds) {
  TriMesh mesh = test::buildMesh(test::uvSphereSoup(10.0f, 200, 100));
  const size_t faces = mesh.faces.size();
  ASSERT_EQ(faces, 39600u);
  ASSERT_LT(weaknessReductionFor(faces).ratio, 0.0);
  const double volume = enclosedVolume(mesh);
  reduceForWeakness(mesh);
  EXPECT_LT(mesh.faces.size(), faces / 2);
  EXPECT_NEAR(enclosedVolume(mesh), volume, 0.01 * volume);
}

}  // namespace
}  // namespace vekmesh
