// The reduction weaknessDetect chooses before sectional analysis: routine,
// ratio and tuning values by face count, including the negative middle ratio.
#include "analysis/weakness_reduction.h"

#include <gtest/gtest.h>

namespace vekmesh {
namespace {

TEST(WeaknessReduction, ChoosesRoutineAndRatioByFaceCount) {
  // Small models keep all their faces.
  const WeaknessReduction small = weaknessReductionFor(19999);
  EXPECT_FALSE(small.mainRoutine);
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
  EXPECT_FALSE(weaknessReductionFor(100000).mainRoutine);

  const WeaknessReduction large = weaknessReductionFor(999999);
  EXPECT_FALSE(large.mainRoutine);
  EXPECT_EQ(large.ratio, 0.2);
  EXPECT_EQ(large.minCosine, 0.985);

  // A million faces and more: the main routine with its own bound.
  const WeaknessReduction huge = weaknessReductionFor(1000000);
  EXPECT_TRUE(huge.mainRoutine);
  EXPECT_EQ(huge.ratio, 0.2);
  EXPECT_EQ(huge.maxError, 0.05);
  EXPECT_EQ(huge.minCosine, 0.5);
}

}  // namespace
}  // namespace vekmesh
