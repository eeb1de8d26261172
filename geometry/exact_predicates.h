// Orientation predicates whose sign is always right: a floating-point filter
// with a static error bound, and an exact fallback in floating-point expansion
// arithmetic (Shewchuk, "Adaptive precision floating-point arithmetic", 1997).
#pragma once

#include <cmath>

namespace vekmesh {
namespace exact {

// Out-of-line exact evaluations, reached only when the filter cannot decide.
// They work on the stack and never allocate.
int orient3dExact(const double* a, const double* b, const double* c, const double* d);
int orient2dExact(const double* a, const double* b, const double* c);

// Relative error bounds of the plain evaluations below, including the rounding
// of the coordinate differences (Shewchuk's bounds A; eps = 2^-53).
constexpr double kEpsilon = 1.1102230246251565e-16;
constexpr double kOrient3dBound = (7.0 + 56.0 * kEpsilon) * kEpsilon;
constexpr double kOrient2dBound = (3.0 + 16.0 * kEpsilon) * kEpsilon;

// (b - a) x (c - a) . (d - a) in plain double arithmetic: positive when d lies
// on the side of the plane a, b, c that the right-handed normal points to.
// Use only for magnitudes (interpolation), never for a decision.
inline double orient3dValue(const double* a, const double* b, const double* c, const double* d) {
  const double ux = b[0] - a[0], uy = b[1] - a[1], uz = b[2] - a[2];
  const double vx = c[0] - a[0], vy = c[1] - a[1], vz = c[2] - a[2];
  const double wx = d[0] - a[0], wy = d[1] - a[1], wz = d[2] - a[2];
  return wx * (uy * vz - uz * vy) + wy * (uz * vx - ux * vz) + wz * (ux * vy - uy * vx);
}

// Sign (+1, 0, -1) of orient3dValue, exact for finite coordinates whose
// differences and their triple products neither overflow nor underflow (every
// single-precision model qualifies). Non-finite input gives some sign or 0,
// never a crash.
inline int orient3d(const double* a, const double* b, const double* c, const double* d) {
  const double ux = b[0] - a[0], uy = b[1] - a[1], uz = b[2] - a[2];
  const double vx = c[0] - a[0], vy = c[1] - a[1], vz = c[2] - a[2];
  const double wx = d[0] - a[0], wy = d[1] - a[1], wz = d[2] - a[2];
  const double m1 = uy * vz, m2 = uz * vy;
  const double m3 = uz * vx, m4 = ux * vz;
  const double m5 = ux * vy, m6 = uy * vx;
  const double det = wx * (m1 - m2) + wy * (m3 - m4) + wz * (m5 - m6);
  const double permanent = std::fabs(wx) * (std::fabs(m1) + std::fabs(m2)) +
                           std::fabs(wy) * (std::fabs(m3) + std::fabs(m4)) +
                           std::fabs(wz) * (std::fabs(m5) + std::fabs(m6));
  const double bound = kOrient3dBound * permanent;
  if (det > bound) return 1;
  if (-det > bound) return -1;
  return orient3dExact(a, b, c, d);
}

// Sign of (b - a) x (c - a) for 2-D points: positive when a, b, c turn
// counter-clockwise. Exact under the same conditions as orient3d.
inline int orient2d(const double* a, const double* b, const double* c) {
  const double l = (b[0] - a[0]) * (c[1] - a[1]);
  const double r = (b[1] - a[1]) * (c[0] - a[0]);
  const double det = l - r;
  const double bound = kOrient2dBound * (std::fabs(l) + std::fabs(r));
  if (det > bound) return 1;
  if (-det > bound) return -1;
  return orient2dExact(a, b, c);
}

}  // namespace exact
}  // namespace vekmesh
