// The polygon clipping wrapper: outlines come back grouped with their holes (an
// island in a hole is an outline of its own), offsets move rings the right way,
// input out of range gives an empty answer instead of an exception.
#include "geometry/polygon_clipping.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vekmesh {
namespace {

IntRing square(int64_t x0, int64_t y0, int64_t size, bool counter_clockwise = true) {
  IntRing r = {{x0, y0}, {x0 + size, y0}, {x0 + size, y0 + size}, {x0, y0 + size}};
  if (!counter_clockwise) std::reverse(r.begin(), r.end());
  return r;
}

TEST(PolygonClipping, GroupsOutlinesWithTheirHoles) {
  // A frame with an island in its hole, and a separate square; given in any
  // winding, with even-odd fill deciding what is inside.
  const std::vector<IntRing> rings = {square(0, 0, 100), square(20, 20, 60),
                                      square(40, 40, 20, false), square(200, 0, 10, false)};
  const std::vector<OutlineWithHoles> outlines = outlinesWithHoles(rings, FillRule::kEvenOdd);
  ASSERT_EQ(outlines.size(), 3u);
  double total = 0.0;
  size_t holes = 0;
  for (const OutlineWithHoles& o : outlines) {
    EXPECT_GT(ringArea(o.outer), 0.0);
    total += ringArea(o.outer);
    for (const IntRing& h : o.holes) {
      EXPECT_LT(ringArea(h), 0.0);
      total += ringArea(h), ++holes;
    }
  }
  EXPECT_EQ(holes, 1u);
  EXPECT_DOUBLE_EQ(total, 100.0 * 100 - 60 * 60 + 20 * 20 + 10 * 10);
  // Non-zero fill: the inner square wound the same way is covered twice and
  // so is no hole.
  const std::vector<IntRing> same_way = {square(0, 0, 100), square(20, 20, 60)};
  EXPECT_EQ(unionRings(same_way, FillRule::kNonZero).size(), 1u);
  EXPECT_EQ(unionRings(same_way, FillRule::kEvenOdd).size(), 2u);
}

TEST(PolygonClipping, OffsetsAndSimplicityAndRange) {
  const std::vector<IntRing> grown = offsetRings({square(0, 0, 100)}, 10.0, JoinKind::kMiter);
  ASSERT_EQ(grown.size(), 1u);
  EXPECT_DOUBLE_EQ(ringArea(grown[0]), 120.0 * 120.0);
  EXPECT_TRUE(offsetRings({square(0, 0, 100)}, -60.0).empty());  // shrunk away

  EXPECT_TRUE(isSimpleCounterClockwise(square(0, 0, 10)));
  EXPECT_FALSE(isSimpleCounterClockwise(square(0, 0, 10, false)));
  EXPECT_FALSE(isSimpleCounterClockwise({{0, 0}, {10, 10}, {10, 0}, {0, 10}}));  // bow tie

  // Beyond the clipper's 62-bit range: empty results, no exception.
  const int64_t huge = int64_t(1) << 62;
  const IntRing far = square(huge, huge, huge / 2);
  EXPECT_TRUE(unionRings({far}, FillRule::kNonZero).empty());
  EXPECT_TRUE(outlinesWithHoles({far}, FillRule::kNonZero).empty());
  EXPECT_FALSE(isSimpleCounterClockwise(far));

  // Scaling to integers and back, as the outline operations use it.
  const IntRing scaled = toIntegerRing({{0.5, -0.25}, {1.0, 2.0}}, 100000.0);
  EXPECT_TRUE(scaled[0].x == 50000 && scaled[0].y == -25000);
  EXPECT_DOUBLE_EQ(fromIntegerRing(scaled, 100000.0)[1][1], 2.0);
}

}  // namespace
}  // namespace vekmesh
