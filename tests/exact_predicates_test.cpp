// Tests of the exact orientation predicates against rational arithmetic
// (Boost.Multiprecision on exactly converted doubles), on configurations
// built so that a plain double determinant gets the sign wrong.
#include "geometry/exact_predicates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

// GCC 12 reports a false maybe-uninitialized inside Boost's rational
// normalisation; the reference arithmetic is not ours to change.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <boost/multiprecision/cpp_int.hpp>
#pragma GCC diagnostic pop

namespace vekmesh {
namespace {

using Rational = boost::multiprecision::cpp_rational;
using exact::orient2d;
using exact::orient3d;

template <class T>
int signOf(const T& v) {
  return (v > 0) - (v < 0);
}

// The 2-D determinant of b - a and c - a, in doubles or in rationals.
template <class T>
T det2(const double* a, const double* b, const double* c) {
  return (T(b[0]) - T(a[0])) * (T(c[1]) - T(a[1])) - (T(b[1]) - T(a[1])) * (T(c[0]) - T(a[0]));
}

int rationalOrient3d(const double* a, const double* b, const double* c, const double* d) {
  Rational u[3], v[3], w[3];
  for (int k = 0; k < 3; ++k)
    u[k] = Rational(b[k]) - a[k], v[k] = Rational(c[k]) - a[k], w[k] = Rational(d[k]) - a[k];
  return signOf(w[0] * (u[1] * v[2] - u[2] * v[1]) + w[1] * (u[2] * v[0] - u[0] * v[2]) +
                w[2] * (u[0] * v[1] - u[1] * v[0]));
}

TEST(ExactPredicates, MatchRationalsWherePlainDoublesAreWrong) {
  // The classic near-collinear grid: p walks over 256 x 256 neighbouring
  // doubles near (0.5, 0.5) beside the line through (12, 12) and (24, 24). The
  // plain determinant is wrong for thousands of them; the exact one for none.
  const double q[2] = {12, 12}, r[2] = {24, 24}, ulp = std::ldexp(1.0, -53);
  int naive_wrong = 0;
  for (int i = 0; i < 256; ++i)
    for (int j = 0; j < 256; ++j) {
      const double p[2] = {0.5 + i * ulp, 0.5 + j * ulp};
      const int truth = signOf(det2<Rational>(p, q, r));
      naive_wrong += signOf(det2<double>(p, q, r)) != truth;
      ASSERT_EQ(orient2d(p, q, r), truth) << i << " " << j;
    }
  EXPECT_GT(naive_wrong, 1000);

  // Points on a plane (a line in 2-D) through random points, rounded to
  // doubles: the differences are inexact, so the fallback works on two-term
  // expansions. Magnitudes range over many binades, far from the origin too.
  std::mt19937_64 rng(6);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_int_distribution<int> binade(-20, 20);
  for (int n = 0; n < 3000; ++n) {
    const double scale = std::ldexp(1.0, binade(rng)), offset = std::ldexp(unit(rng), binade(rng));
    double a[3], b[3], c[3], d[3], e[2];
    for (double* p : {a, b, c})
      for (int k = 0; k < 3; ++k) p[k] = offset + scale * unit(rng);
    const double s = unit(rng), t = 4.0 * unit(rng);
    for (int k = 0; k < 3; ++k) d[k] = a[k] + s * (b[k] - a[k]) + t * (c[k] - a[k]);
    for (int k = 0; k < 2; ++k) e[k] = a[k] + t * (b[k] - a[k]);
    // Swapping two points flips the sign, as it does the determinant's.
    const int truth = rationalOrient3d(a, b, c, d), truth2 = signOf(det2<Rational>(a, b, e));
    ASSERT_EQ(orient3d(a, b, c, d), truth) << n;
    ASSERT_EQ(orient3d(b, a, c, d), -truth) << n;
    ASSERT_EQ(orient3d(d, b, c, a), -truth) << n;
    ASSERT_EQ(orient2d(a, b, e), truth2) << n;
    ASSERT_EQ(orient2d(e, b, a), -truth2) << n;
  }
}

}  // namespace
}  // namespace vekmesh
