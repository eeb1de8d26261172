// Small double-precision vector helpers for the repair geometry (hole patches
// and loop triangulation); mesh storage stays single precision.
#pragma once

#include <cmath>

#include "mesh/mesh_utils.h"

namespace vekmesh {

inline Vec3d sub(const Vec3d& a, const Vec3d& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline Vec3d add(const Vec3d& a, const Vec3d& b) {
  return {a[0] + b[0], a[1] + b[1], a[2] + b[2]};
}
inline Vec3d scaled(const Vec3d& a, double s) {
  return {a[0] * s, a[1] * s, a[2] * s};
}
inline Vec3d cross(const Vec3d& a, const Vec3d& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
inline double dot(const Vec3d& a, const Vec3d& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
inline double length(const Vec3d& a) {
  return std::sqrt(dot(a, a));
}
// a / |a|, or zero for a zero (or non-finite) vector.
inline Vec3d normalized(const Vec3d& a) {
  const double len = length(a);
  if (!(len > 0.0) || !std::isfinite(len)) return {0.0, 0.0, 0.0};
  return scaled(a, 1.0 / len);
}

}  // namespace vekmesh
