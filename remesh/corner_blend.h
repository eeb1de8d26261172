// Corner attributes for the subdivision rounds: when two corner colours count
// as different, the midpoint of two corners' colours and texture coordinates,
// and the comparison of texture coordinates by value.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// More than 1/255 apart in some channel: bytes come from truncating x 255, so
// one step of difference is what rounding alone can make of one colour.
inline bool colorsDiffer(const uint8_t (&a)[3], const uint8_t (&b)[3]) {
  for (int k = 0; k < 3; ++k)
    if (std::abs(int(a[k]) - int(b[k])) > 1) return true;
  return false;
}

// Rounded half up: symmetric in a and b, so both faces of an edge that carry
// the same two colours give the same midpoint.
inline void blendColor(const uint8_t (&a)[3], const uint8_t (&b)[3], uint8_t (&out)[3]) {
  for (int k = 0; k < 3; ++k) out[k] = static_cast<uint8_t>((int(a[k]) + int(b[k]) + 1) / 2);
}

using Uv = std::array<double, 2>;

// Texture coordinate of corner c of `f`; (0, 0) for an untextured face or an
// index out of range, as compaction reads it.
inline Uv cornerUv(const SubMesh& mesh, const Face& f, uint32_t c) {
  if (f.material < 0 || f.uv[c] >= mesh.texCoords.size()) return {0.0, 0.0};
  const TexCoord& t = mesh.texCoords[f.uv[c]];
  return {t.u, t.v};
}

inline Uv blendUv(const Uv& a, const Uv& b) {
  return {(a[0] + b[0]) * 0.5, (a[1] + b[1]) * 0.5};
}

// Texture coordinates differ by value (bit-identical values are the same
// coordinate; copies of one coordinate are never re-computed).
inline bool uvsDiffer(const Uv& a, const Uv& b) {
  return !(a[0] == b[0] && a[1] == b[1]);
}

}  // namespace vekmesh
