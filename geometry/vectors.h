// The vector types every kernel shares: double-precision 3-vectors with their
// operations (mesh storage stays single precision; sums, normals and patch
// geometry are accumulated in these) and integer plane points for the exact
// planar kernels and the polygon clipper.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

namespace vekmesh {

// Standard C++17 has no pi (M_PI is POSIX, and MinGW's <cmath> leaves it out).
constexpr double kPi = 3.14159265358979323846;

using Vec3d = std::array<double, 3>;

// A point of the integer plane; the planar kernels state the range they need.
struct IntPoint2 {
  int64_t x;
  int64_t y;
};

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
