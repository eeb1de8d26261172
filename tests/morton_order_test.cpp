// Tests of the Morton order used to cut large shells into compact runs: the
// radix sort is a stable sort by code, and codes interleave the cell bits.
#include "geometry/morton_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace vekmesh {
namespace {

TEST(MortonOrder, SortsStablyByCodesThatInterleaveCellBits) {
  // Few distinct codes over all 21 bits: ties are common and both digits matter.
  std::mt19937 rng(5);
  std::vector<uint32_t> palette(40), codes(5000), expected(5000);
  for (uint32_t& c : palette) c = rng() & 0x1FFFFFu;
  for (uint32_t& c : codes) c = palette[rng() % palette.size()];
  std::iota(expected.begin(), expected.end(), 0u);
  std::stable_sort(expected.begin(), expected.end(),
                   [&](uint32_t a, uint32_t b) { return codes[a] < codes[b]; });
  EXPECT_EQ(sortByCode(codes), expected);
  EXPECT_TRUE(sortByCode({}).empty());

  const float lo[3] = {0, 0, 0}, hi[3] = {128, 128, 128}, flat_hi[3] = {128, 128, 0};
  const MortonGrid grid(lo, hi);
  for (int n = 0; n < 1000; ++n) {
    uint32_t cell[3], code = 0;
    for (uint32_t& c : cell) c = rng() % 128;
    for (int bit = 0; bit < 7; ++bit)
      for (int d = 0; d < 3; ++d) code |= ((cell[d] >> bit) & 1u) << (3 * bit + d);
    ASSERT_EQ(grid.code(cell[0] + 0.5f, cell[1] + 0.5f, cell[2] + 0.5f), code);
  }
  // Outside the box, on its upper side and NaN: clamped, never out of range.
  EXPECT_EQ(grid.code(-5.0f, 500.0f, 128.0f), grid.code(0.0f, 127.9f, 127.9f));
  EXPECT_EQ(grid.code(std::nanf(""), 0.5f, 0.5f), 0u);
  // A flat box puts every point of that axis in cell 0.
  EXPECT_EQ(MortonGrid(lo, flat_hi).code(0.5f, 0.5f, 99.0f), 0u);
}

}  // namespace
}  // namespace vekmesh
