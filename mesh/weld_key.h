// The identity of a point in the single-precision weld: its cell in the
// 101^3 grid over the soup's box and a 64-bit key of its float bit patterns.
// Shared by construction and compaction so that both weld exactly alike.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace vekmesh {

class WeldGrid {
 public:
  static constexpr int kCellsPerAxis = 101;  // 0..100: a corner on the maximum gets cell 100

  // The box starts at +-1e6 and is widened by every point (NaN never widens it).
  WeldGrid() : lo_{1e6f, 1e6f, 1e6f}, hi_{-1e6f, -1e6f, -1e6f} {}
  void widen(const std::array<float, 3>& p) {
    for (int a = 0; a < 3; ++a) {
      if (p[a] < lo_[a]) lo_[a] = p[a];
      if (p[a] > hi_[a]) hi_[a] = p[a];
    }
  }
  // Fixes the cell sizes once the box is complete.
  void finish() {
    for (int a = 0; a < 3; ++a) {
      const float extent = hi_[a] - lo_[a];
      cell_size_[a] = (extent > 0.0f ? extent : 0.0f) / 100.0f;
    }
  }
  // Whether `other` spans the same box, so that every point falls in the
  // same cell of both.
  bool sameBox(const WeldGrid& other) const {
    return std::memcmp(lo_, other.lo_, sizeof lo_) == 0 &&
           std::memcmp(hi_, other.hi_, sizeof hi_) == 0;
  }
  uint32_t cell(const std::array<float, 3>& p) const {
    uint32_t cell = 0;
    for (int a = 2; a >= 0; --a)
      cell = cell * kCellsPerAxis + cellCoordinate((p[a] - lo_[a]) / cell_size_[a]);
    return cell;
  }

  // Key of the single-precision weld: the bit patterns decide, so +0 and -0 differ.
  static uint64_t bitPatternKey(const std::array<float, 3>& p) {
    return 108881ull * floatBits(p[0]) + 110881ull * floatBits(p[1]) + 118081ull * floatBits(p[2]);
  }

 private:
  // Truncates a cell coordinate toward zero. NaN, negative and oversized values
  // (non-finite input, a zero cell size) are clamped so the cell always exists.
  static int cellCoordinate(float q) {
    if (!(q > 0.0f)) return 0;
    if (q >= 100.0f) return 100;
    return static_cast<int>(q);
  }
  static uint32_t floatBits(float f) {
    uint32_t b;
    std::memcpy(&b, &f, sizeof b);
    return b;
  }

  float lo_[3], hi_[3];
  float cell_size_[3] = {0.0f, 0.0f, 0.0f};
};

}  // namespace vekmesh
