// Tests of the exact orientation predicates against rational arithmetic
// (Boost.Multiprecision on exactly converted doubles), on configurations
// built so that a plain double determinant gets the sign wrong.
#include "geometry/exact_predicates.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
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

int signOf(const Rational& q) {
  return q > 0 ? 1 : (q < 0 ? -1 : 0);
}
int signOf(double v) {
  return v > 0 ? 1 : (v < 0 ? -1 : 0);
}

int rationalOrient3d(const double* a, const double* b, const double* c, const double* d) {
  Rational u[3], v[3], w[3];
  for (int k = 0; k < 3; ++k) {
    u[k] = Rational(b[k]) - Rational(a[k]);
    v[k] = Rational(c[k]) - Rational(a[k]);
    w[k] = Rational(d[k]) - Rational(a[k]);
  }
  return signOf(w[0] * (u[1] * v[2] - u[2] * v[1]) + w[1] * (u[2] * v[0] - u[0] * v[2]) +
                w[2] * (u[0] * v[1] - u[1] * v[0]));
}

int rationalOrient2d(const double* a, const double* b, const double* c) {
  return signOf((Rational(b[0]) - Rational(a[0])) * (Rational(c[1]) - Rational(a[1])) -
                (Rational(b[1]) - Rational(a[1])) * (Rational(c[0]) - Rational(a[0])));
}

double naiveOrient2d(const double* a, const double* b, const double* c) {
  return (b[0] - a[0]) * (c[1] - a[1]) - (b[1] - a[1]) * (c[0] - a[0]);
}

TEST(ExactPredicates, SignConventions) {
  const double o[3] = {0, 0, 0}, x[3] = {1, 0, 0}, y[3] = {0, 1, 0};
  const double up[3] = {0.2, 0.3, 1}, down[3] = {0.2, 0.3, -1}, on[3] = {5, -7, 0};
  EXPECT_EQ(orient3d(o, x, y, up), 1);  // the right-handed normal of o, x, y is +z
  EXPECT_EQ(orient3d(o, x, y, down), -1);
  EXPECT_EQ(orient3d(o, x, y, on), 0);
  EXPECT_EQ(orient3d(o, y, x, up), -1);
  EXPECT_EQ(orient3d(o, o, y, up), 0);  // repeated point

  EXPECT_EQ(orient2d(o, x, y), 1);  // counter-clockwise
  EXPECT_EQ(orient2d(o, y, x), -1);
  const double far[2] = {3, 0};
  EXPECT_EQ(orient2d(o, x, far), 0);
}

// The classic near-collinear grid: p walks over 256 x 256 neighbouring doubles
// near (0.5, 0.5) beside the line through (12, 12) and (24, 24). The plain
// determinant is wrong for thousands of them; the exact one for none.
TEST(ExactPredicates, Orient2dRightWherePlainDoublesAreWrong) {
  const double q[2] = {12, 12}, r[2] = {24, 24};
  const double ulp = std::ldexp(1.0, -53);
  int naive_wrong = 0;
  for (int i = 0; i < 256; ++i)
    for (int j = 0; j < 256; ++j) {
      const double p[2] = {0.5 + i * ulp, 0.5 + j * ulp};
      const int truth = rationalOrient2d(p, q, r);
      naive_wrong += signOf(naiveOrient2d(p, q, r)) != truth;
      ASSERT_EQ(orient2d(p, q, r), truth) << i << " " << j;
    }
  EXPECT_GT(naive_wrong, 1000);
}

// The same in space: d beside the plane through the diagonal x = y = z and a
// third point, a few ulps from (0.5, 0.5, 0.5).
TEST(ExactPredicates, Orient3dRightWherePlainDoublesAreWrong) {
  const double a[3] = {12, 12, 12}, b[3] = {24, 24, 24}, c[3] = {-3.0, 7.25, 2.5};
  const double ulp = std::ldexp(1.0, -53);
  int naive_wrong = 0, zero_truth = 0;
  for (int i = 0; i < 64; ++i)
    for (int j = 0; j < 64; ++j) {
      const double d[3] = {0.5 + i * ulp, 0.5 + j * ulp, 0.5};
      const int truth = rationalOrient3d(a, b, c, d);
      naive_wrong += signOf(exact::orient3dValue(a, b, c, d)) != truth;
      zero_truth += truth == 0;
      ASSERT_EQ(orient3d(a, b, c, d), truth) << i << " " << j;
    }
  EXPECT_GT(naive_wrong, 100);
  EXPECT_GT(zero_truth, 0);  // exactly coplanar points are among them
}

// Points on a plane (a line in 2-D) through random points, rounded to
// doubles: the differences are inexact, so the fallback works on two-term
// expansions. Magnitudes range over many binades, far from the origin too.
TEST(ExactPredicates, MatchRationalsOnRoundedDegenerateInput) {
  std::mt19937_64 rng(6);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  std::uniform_int_distribution<int> binade(-20, 20);
  for (int n = 0; n < 3000; ++n) {
    const double scale = std::ldexp(1.0, binade(rng));
    const double offset = std::ldexp(unit(rng), binade(rng));
    double a[3], b[3], c[3], d[3];
    for (int k = 0; k < 3; ++k) {
      a[k] = offset + scale * unit(rng);
      b[k] = offset + scale * unit(rng);
      c[k] = offset + scale * unit(rng);
    }
    const double s = unit(rng), t = 4.0 * unit(rng);
    for (int k = 0; k < 3; ++k) d[k] = a[k] + s * (b[k] - a[k]) + t * (c[k] - a[k]);
    const int truth = rationalOrient3d(a, b, c, d);
    ASSERT_EQ(orient3d(a, b, c, d), truth) << n;
    // Swapping two points flips the sign, as it does the determinant's.
    ASSERT_EQ(orient3d(b, a, c, d), -truth) << n;
    ASSERT_EQ(orient3d(d, b, c, a), -truth) << n;

    double e[2];
    for (int k = 0; k < 2; ++k) e[k] = a[k] + t * (b[k] - a[k]);
    ASSERT_EQ(orient2d(a, b, e), rationalOrient2d(a, b, e)) << n;
    ASSERT_EQ(orient2d(e, b, a), -rationalOrient2d(a, b, e)) << n;
  }
}

TEST(ExactPredicates, NonFiniteInputGivesASignWithoutCrashing) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const double o[3] = {0, 0, 0}, x[3] = {1, 0, 0}, y[3] = {0, 1, 0};
  const double bad[3] = {nan, 0, 1}, huge[3] = {inf, -inf, 1};
  for (const double* p : {bad, huge}) {
    const int s3 = orient3d(o, x, y, p);
    EXPECT_TRUE(s3 >= -1 && s3 <= 1);
    const int s2 = orient2d(o, x, p);
    EXPECT_TRUE(s2 >= -1 && s2 <= 1);
  }
}

}  // namespace
}  // namespace vekmesh
