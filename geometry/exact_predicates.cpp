// Exact signs of the 2-D and 3-D orientation determinants by floating-point
// expansion arithmetic (Shewchuk 1997): differences become two-term expansions,
// products and sums stay exact as non-overlapping expansions on the stack.
#include "geometry/exact_predicates.h"

#if defined(__FAST_MATH__)
#error "The exact predicates need IEEE rounding; do not build them with -ffast-math."
#endif

namespace vekmesh {
namespace exact {
namespace {

// The error-free transformations below are correct only when every operation
// rounds once, to nearest even: no fused multiply-add (the build passes
// -ffp-contract=off) and no extended-precision intermediates (SSE2 on x86-64).

// x + y == a + b exactly, x = fl(a + b).
inline void twoSum(double a, double b, double& x, double& y) {
  x = a + b;
  const double b_virtual = x - a;
  const double a_virtual = x - b_virtual;
  y = (a - a_virtual) + (b - b_virtual);
}

// x + y == a - b exactly, x = fl(a - b).
inline void twoDiff(double a, double b, double& x, double& y) {
  x = a - b;
  const double b_virtual = a - x;
  const double a_virtual = x + b_virtual;
  y = (a - a_virtual) + (b_virtual - b);
}

// Veltkamp's split: hi + lo == a with each half of at most 26 significant bits,
// so that products of halves are exact.
constexpr double kSplitter = 134217729.0;  // 2^27 + 1
inline void split(double a, double& hi, double& lo) {
  const double c = kSplitter * a;
  const double big = c - a;
  hi = c - big;
  lo = a - hi;
}

// x + y == a * b exactly (Dekker), with b already split.
inline void twoProduct(double a, double b, double b_hi, double b_lo, double& x, double& y) {
  x = a * b;
  double a_hi, a_lo;
  split(a, a_hi, a_lo);
  const double err1 = x - a_hi * b_hi;
  const double err2 = err1 - a_lo * b_hi;
  const double err3 = err2 - a_hi * b_lo;
  y = a_lo * b_lo - err3;
}

// An expansion is a sum of non-overlapping doubles in increasing magnitude with
// zeros removed; its sign is the sign of its last (largest) component. A zero
// expansion is the single component 0.

// h = e * b. h needs room for 2 * elen components.
int scaleExpansion(int elen, const double* e, double b, double* h) {
  double b_hi, b_lo;
  split(b, b_hi, b_lo);
  int n = 0;
  double q, tail;
  twoProduct(e[0], b, b_hi, b_lo, q, tail);
  if (tail != 0.0) h[n++] = tail;
  for (int i = 1; i < elen; ++i) {
    double p_hi, p_lo, sum;
    twoProduct(e[i], b, b_hi, b_lo, p_hi, p_lo);
    twoSum(q, p_lo, sum, tail);
    if (tail != 0.0) h[n++] = tail;
    twoSum(p_hi, sum, q, tail);
    if (tail != 0.0) h[n++] = tail;
  }
  if (q != 0.0 || n == 0) h[n++] = q;
  return n;
}

// h = e + f by merging the components in order of magnitude and carrying one
// running sum (Shewchuk's fast expansion sum, which relies on round-to-even).
// h needs room for elen + flen components.
int sumExpansions(int elen, const double* e, int flen, const double* f, double* h) {
  int i = 0, j = 0, n = 0;
  auto next = [&]() {
    if (j >= flen || (i < elen && std::fabs(e[i]) < std::fabs(f[j]))) return e[i++];
    return f[j++];
  };
  double q = next();
  while (i < elen || j < flen) {
    double sum, tail;
    twoSum(q, next(), sum, tail);
    if (tail != 0.0) h[n++] = tail;
    q = sum;
  }
  if (q != 0.0 || n == 0) h[n++] = q;
  return n;
}

// A coordinate difference as an expansion of one or two components.
struct Diff {
  double c[2];
  int n;
};

inline Diff difference(double a, double b) {
  Diff d;
  double x, y;
  twoDiff(a, b, x, y);
  if (y != 0.0) {
    d.c[0] = y;
    d.c[1] = x;
    d.n = 2;
  } else {
    d.c[0] = x;
    d.n = 1;
  }
  return d;
}

inline Diff negated(Diff d) {
  for (int i = 0; i < d.n; ++i) d.c[i] = -d.c[i];
  return d;
}

// h = e * f for a difference f. h needs room for 2 * f.n * elen components.
int multiply(int elen, const double* e, const Diff& f, double* h) {
  if (f.n == 1) return scaleExpansion(elen, e, f.c[0], h);
  double lo[64], hi[64];  // elen is at most 32 here
  const int nlo = scaleExpansion(elen, e, f.c[0], lo);
  const int nhi = scaleExpansion(elen, e, f.c[1], hi);
  return sumExpansions(nlo, lo, nhi, hi, h);
}

// h = p * q - r * s for differences: at most 16 components.
int crossTerm(const Diff& p, const Diff& q, const Diff& r, const Diff& s, double* h) {
  double pq[8], rs[8];
  const int npq = multiply(p.n, p.c, q, pq);
  const Diff minus_s = negated(s);
  const int nrs = multiply(r.n, r.c, minus_s, rs);
  return sumExpansions(npq, pq, nrs, rs, h);
}

inline int signOf(int n, const double* e) {
  const double top = e[n - 1];
  return top > 0.0 ? 1 : (top < 0.0 ? -1 : 0);
}

}  // namespace

int orient3dExact(const double* a, const double* b, const double* c, const double* d) {
  const Diff ux = difference(b[0], a[0]), uy = difference(b[1], a[1]), uz = difference(b[2], a[2]);
  const Diff vx = difference(c[0], a[0]), vy = difference(c[1], a[1]), vz = difference(c[2], a[2]);
  const Diff wx = difference(d[0], a[0]), wy = difference(d[1], a[1]), wz = difference(d[2], a[2]);

  // w . (u x v), each minor at most 16 components, each term at most 64.
  double minor[16], tx[64], ty[64], tz[64], txy[128], det[192];
  int n = crossTerm(uy, vz, uz, vy, minor);
  const int ntx = multiply(n, minor, wx, tx);
  n = crossTerm(uz, vx, ux, vz, minor);
  const int nty = multiply(n, minor, wy, ty);
  n = crossTerm(ux, vy, uy, vx, minor);
  const int ntz = multiply(n, minor, wz, tz);
  const int nxy = sumExpansions(ntx, tx, nty, ty, txy);
  const int ndet = sumExpansions(nxy, txy, ntz, tz, det);
  return signOf(ndet, det);
}

int orient2dExact(const double* a, const double* b, const double* c) {
  const Diff ux = difference(b[0], a[0]), uy = difference(b[1], a[1]);
  const Diff vx = difference(c[0], a[0]), vy = difference(c[1], a[1]);
  double det[16];
  const int n = crossTerm(ux, vy, uy, vx, det);
  return signOf(n, det);
}

}  // namespace exact
}  // namespace vekmesh
