// Spatial order of points for grouping them into compact runs: Morton (Z-order)
// codes of 7 bits per axis inside a box, sorted by a two-pass radix sort.
#pragma once

#include <cstdint>
#include <vector>

namespace vekmesh {

// The 128^3 lattice over a box; points outside it (NaN included) are clamped
// to its sides, and a box of no extent on an axis puts every point in cell 0.
class MortonGrid {
 public:
  MortonGrid(const float lo[3], const float hi[3]);
  // 21-bit code: the cell indices' bits interleaved, x lowest.
  uint32_t code(float x, float y, float z) const;

 private:
  float lo_[3];
  float scale_[3];
};

// Positions 0..n-1 sorted by code; equal codes keep their input order, so the
// result depends on the input alone.
std::vector<uint32_t> sortByCode(const std::vector<uint32_t>& codes);

}  // namespace vekmesh
