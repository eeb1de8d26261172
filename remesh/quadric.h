// Quadric error metrics (Garland and Heckbert 1997): the weighted sum of squared
// distances to a set of planes kept as a symmetric 4x4 form, with its sum, its
// value at a point and the point that minimises it.
#pragma once

#include <cmath>

namespace vekmesh::reducer {

// Q(p) = p^T A p + 2 b.p + c, A symmetric (upper triangle stored). `weight` is
// the area the planes stand for: Q(p) / weight is the mean squared distance.
// Constraint planes (boundaries, seams) add to the form but not to the weight,
// so that a point off a boundary reads as that much further from the surface.
struct Quadric {
  double xx = 0, xy = 0, xz = 0, yy = 0, yz = 0, zz = 0;
  double bx = 0, by = 0, bz = 0;
  double c = 0;
  double weight = 0;

  Quadric& operator+=(const Quadric& q) {
    xx += q.xx, xy += q.xy, xz += q.xz, yy += q.yy, yz += q.yz, zz += q.zz;
    bx += q.bx, by += q.by, bz += q.bz;
    c += q.c;
    weight += q.weight;
    return *this;
  }
};

inline Quadric operator+(Quadric a, const Quadric& b) {
  return a += b;
}

// The plane n.p + d = 0 (n of unit length) with the weight `w` on its squared
// distance; `area` is what it adds to Quadric::weight.
inline Quadric planeQuadric(const double n[3], double d, double w, double area) {
  Quadric q;
  q.xx = w * n[0] * n[0], q.xy = w * n[0] * n[1], q.xz = w * n[0] * n[2];
  q.yy = w * n[1] * n[1], q.yz = w * n[1] * n[2], q.zz = w * n[2] * n[2];
  q.bx = w * d * n[0], q.by = w * d * n[1], q.bz = w * d * n[2];
  q.c = w * d * d;
  q.weight = area;
  return q;
}

// Q(p), never negative (rounding can take the exact value of a point on every
// plane slightly below 0).
inline double evaluate(const Quadric& q, const double p[3]) {
  const double x = p[0], y = p[1], z = p[2];
  const double r = x * (q.xx * x + 2.0 * (q.xy * y + q.xz * z + q.bx)) +
                   y * (q.yy * y + 2.0 * (q.yz * z + q.by)) + z * (q.zz * z + 2.0 * q.bz) + q.c;
  return r > 0.0 ? r : 0.0;
}

// std::fmax without the library call it compiles to: a NaN gives the other
// argument. (Which zero a tie of zeros gives does not matter to its one use.)
inline double maxOf(double a, double b) {
  return a < b || a != a ? b : a;
}

// The point where Q is smallest, when A is safely invertible: the solution of
// A p = -b by the adjugate. Returns false for a (nearly) singular A, i.e. when
// the planes do not pin a point down (flat or creased surface).
inline bool minimizer(const Quadric& q, double p[3]) {
  const double c00 = q.yy * q.zz - q.yz * q.yz;
  const double c01 = q.xz * q.yz - q.xy * q.zz;
  const double c02 = q.xy * q.yz - q.xz * q.yy;
  const double det = q.xx * c00 + q.xy * c01 + q.xz * c02;
  // Compared with the cube of the largest diagonal term: a relative test, so
  // that the decision does not depend on the model's units.
  const double scale = maxOf(q.xx, maxOf(q.yy, q.zz));
  if (!(std::fabs(det) > 1e-12 * scale * scale * scale)) return false;
  const double c11 = q.xx * q.zz - q.xz * q.xz;
  const double c12 = q.xy * q.xz - q.xx * q.yz;
  const double c22 = q.xx * q.yy - q.xy * q.xy;
  const double inv = -1.0 / det;
  p[0] = inv * (c00 * q.bx + c01 * q.by + c02 * q.bz);
  p[1] = inv * (c01 * q.bx + c11 * q.by + c12 * q.bz);
  p[2] = inv * (c02 * q.bx + c12 * q.by + c22 * q.bz);
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

}  // namespace vekmesh::reducer
