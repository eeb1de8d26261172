// Rotation matrices about an axis through the origin (Rodrigues' formula),
// row by row, and their application to single-precision points.
#pragma once

#include <array>
#include <cmath>

#include "geometry/vectors.h"

namespace vekmesh {

using Rotation = std::array<std::array<double, 3>, 3>;

// The turn by `angle` radians about the unit vector `axis`, right-handed.
inline Rotation rotationAbout(const Vec3d& axis, double angle) {
  const double c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
  const double x = axis[0], y = axis[1], z = axis[2];
  return {{{t * x * x + c, t * x * y - s * z, t * x * z + s * y},
           {t * x * y + s * z, t * y * y + c, t * y * z - s * x},
           {t * x * z - s * y, t * y * z + s * x, t * z * z + c}}};
}

// r p, computed in double and rounded to float.
inline std::array<float, 3> turned(const Rotation& r, const std::array<float, 3>& p) {
  std::array<float, 3> out;
  for (size_t k = 0; k < 3; ++k)
    out[k] = static_cast<float>(r[k][0] * p[0] + r[k][1] * p[1] + r[k][2] * p[2]);
  return out;
}

}  // namespace vekmesh
