// Colour channels from 0..1 reals to the bytes a Face stores, the one rule
// every constructor and reader shares, with the saturating truncation it uses.
#pragma once

#include <cstdint>
#include <limits>

namespace vekmesh {

// Truncation toward zero to a 64-bit integer, saturated instead of undefined
// when the value does not fit (NaN gives 0).
inline int64_t truncateToInt64(double d) {
  if (!(d == d)) return 0;
  if (d >= 9.2e18) return std::numeric_limits<int64_t>::max();
  if (d <= -9.2e18) return std::numeric_limits<int64_t>::min();
  return static_cast<int64_t>(d);
}

// x 255 in double, truncated, low 8 bits kept: 1.0 gives 255, 0.5 gives 127
// and values above 1 wrap.
inline uint8_t colorByte(double channel) {
  return static_cast<uint8_t>(static_cast<uint64_t>(truncateToInt64(channel * 255.0)));
}

}  // namespace vekmesh
