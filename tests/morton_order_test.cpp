// Tests of the Morton order used to cut large shells into compact runs: the
// radix sort is a stable sort by code, and codes interleave the cell bits.
#include "geometry/morton_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace vekmesh {
namespace {

TEST(MortonOrder, SortsStablyByTheFullCode) {
  std::mt19937 rng(5);
  // Few distinct codes, spread over all 21 bits, so that ties are common and
  // both radix digits matter.
  std::vector<uint32_t> palette(40);
  for (uint32_t& c : palette) c = rng() & 0x1FFFFFu;
  std::vector<uint32_t> codes(5000);
  for (uint32_t& c : codes) c = palette[rng() % palette.size()];
  std::vector<uint32_t> expected(codes.size());
  for (uint32_t i = 0; i < expected.size(); ++i) expected[i] = i;
  std::stable_sort(expected.begin(), expected.end(),
                   [&](uint32_t a, uint32_t b) { return codes[a] < codes[b]; });
  EXPECT_EQ(sortByCode(codes), expected);
  EXPECT_TRUE(sortByCode({}).empty());
}

TEST(MortonOrder, CodesInterleaveCellBitsAndClampToTheBox) {
  const float lo[3] = {0, 0, 0}, hi[3] = {128, 128, 128};
  const MortonGrid grid(lo, hi);
  EXPECT_EQ(grid.code(0.5f, 0.5f, 0.5f), 0u);
  EXPECT_EQ(grid.code(1.5f, 0.5f, 0.5f), 1u);  // x is the lowest bit
  EXPECT_EQ(grid.code(0.5f, 1.5f, 0.5f), 2u);
  EXPECT_EQ(grid.code(0.5f, 0.5f, 1.5f), 4u);
  EXPECT_EQ(grid.code(2.5f, 0.5f, 0.5f), 8u);
  EXPECT_EQ(grid.code(127.5f, 127.5f, 127.5f), 0x1FFFFFu);
  // Outside the box, on its upper side and NaN: clamped, never out of range.
  EXPECT_EQ(grid.code(-5.0f, 500.0f, 128.0f), grid.code(0.0f, 127.9f, 127.9f));
  EXPECT_EQ(grid.code(std::nanf(""), 0.5f, 0.5f), 0u);
  // A flat box puts every point of that axis in cell 0.
  const float flat_hi[3] = {128, 128, 0};
  EXPECT_EQ(MortonGrid(lo, flat_hi).code(0.5f, 0.5f, 99.0f), 0u);
}

}  // namespace
}  // namespace vekmesh
