// Morton order by quantising each point to a 128^3 lattice over its box,
// interleaving the bits into a 21-bit code and sorting the codes with a
// least-significant-digit radix sort (two stable passes of 11 and 10 bits).
#include "geometry/morton_order.h"

#include <cmath>

namespace vekmesh {
namespace {

// 128 cells a side: fine enough that runs of a few dozen faces stay within a
// cell or two, coarse enough for two radix passes.
constexpr int kBits = 7;
constexpr uint32_t kCells = 1u << kBits;
constexpr int kDigitBits[2] = {11, 10};

// Spreads the 7 low bits of v so that two zero bits follow each.
uint32_t spread(uint32_t v) {
  v &= kCells - 1;
  v = (v | (v << 8)) & 0x0000F00Fu;
  v = (v | (v << 4)) & 0x000C30C3u;
  v = (v | (v << 2)) & 0x00249249u;
  return v;
}

uint32_t cell(float x, float lo, float scale) {
  const float t = (x - lo) * scale;
  if (!(t > 0.0f)) return 0;  // also NaN
  if (t >= static_cast<float>(kCells - 1)) return kCells - 1;
  return static_cast<uint32_t>(t);
}

}  // namespace

MortonGrid::MortonGrid(const float lo[3], const float hi[3]) {
  for (int d = 0; d < 3; ++d) {
    const float extent = hi[d] - lo[d];
    lo_[d] = lo[d];
    scale_[d] = extent > 0.0f && std::isfinite(extent) ? static_cast<float>(kCells) / extent : 0.0f;
  }
}

uint32_t MortonGrid::code(float x, float y, float z) const {
  return spread(cell(x, lo_[0], scale_[0])) | (spread(cell(y, lo_[1], scale_[1])) << 1) |
         (spread(cell(z, lo_[2], scale_[2])) << 2);
}

std::vector<uint32_t> sortByCode(const std::vector<uint32_t>& codes) {
  const size_t n = codes.size();
  std::vector<uint32_t> order(n), next(n);
  for (size_t i = 0; i < n; ++i) order[i] = static_cast<uint32_t>(i);
  int shift = 0;
  for (int bits : kDigitBits) {
    const uint32_t mask = (1u << bits) - 1;
    std::vector<size_t> start(size_t{mask} + 2, 0);
    for (uint32_t i : order) ++start[((codes[i] >> shift) & mask) + 1];
    for (uint32_t b = 0; b <= mask; ++b) start[b + 1] += start[b];
    for (uint32_t i : order) next[start[(codes[i] >> shift) & mask]++] = i;
    order.swap(next);
    shift += bits;
  }
  return order;
}

}  // namespace vekmesh
