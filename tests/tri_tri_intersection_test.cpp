// Tests of the triangle/triangle test: crossings with their segment, coplanar
// and parallel pairs, shared corners and edges, flat triangles, touches that a
// plain double determinant misjudges, and agreement with an independent
// separating-axis test on small integer coordinates (exact in int64).
#include "geometry/tri_tri_intersection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <random>

#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace {

struct Tri {
  Vec3d p, q, r;
};

struct Outcome {
  bool hit;
  int coplanar;
  Vec3d source, target;
};

Outcome run(const Tri& a, const Tri& b) {
  Outcome o{false, -1, {9, 9, 9}, {9, 9, 9}};
  o.hit = triTriIntersection(a.p, a.q, a.r, b.p, b.q, b.r, o.coplanar, o.source, o.target);
  return o;
}

// Vector helpers for the double points of the test and the int64 points of
// the separating-axis reference alike.
template <class V>
V sub(const V& a, const V& b) {
  return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
template <class V>
V cross(const V& a, const V& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
template <class V>
typename V::value_type dot(const V& a, const V& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
double distance(const Vec3d& a, const Vec3d& b) {
  const Vec3d d = sub(a, b);
  return std::sqrt(dot(d, d));
}

// Distance from x to the closed triangle t, for checking segment ends: the
// distance to the plane when x projects inside, else to the nearest edge.
double distanceToTriangle(const Vec3d& x, const Tri& t) {
  const Vec3d n = cross(sub(t.q, t.p), sub(t.r, t.p));
  const double len = std::sqrt(dot(n, n));
  const Vec3d c[3] = {t.p, t.q, t.r};
  bool inside = true;
  for (int i = 0; i < 3; ++i)
    inside = inside && dot(cross(sub(c[(i + 1) % 3], c[i]), sub(x, c[i])), n) >= 0;
  if (inside) return std::fabs(dot(sub(x, t.p), n)) / len;
  double best = 1e300;
  for (int i = 0; i < 3; ++i) {
    const Vec3d e = sub(c[(i + 1) % 3], c[i]);
    double s = dot(sub(x, c[i]), e) / dot(e, e);
    s = std::clamp(s, 0.0, 1.0);
    const Vec3d foot = {c[i][0] + s * e[0], c[i][1] + s * e[1], c[i][2] + s * e[2]};
    best = std::min(best, distance(x, foot));
  }
  return best;
}

TEST(TriTriIntersection, FlatTrianglesActAsTheirSegment) {
  const Tri t{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
  // Collinear corners piercing t at (1, 1, 0).
  const Tri needle{{1, 1, -1}, {1, 1, 2}, {1, 1, 0.5}};
  Outcome o = run(t, needle);
  ASSERT_TRUE(o.hit);
  EXPECT_EQ(o.coplanar, 0);
  EXPECT_EQ(o.source, (Vec3d{1, 1, 0}));
  EXPECT_TRUE(run(needle, t).hit);
  // The same needle beside t, and one lying in t's plane across its edge.
  EXPECT_FALSE(run(t, {{3, 3, -1}, {3, 3, 2}, {3, 3, 0.5}}).hit);
  o = run(t, {{3, -1, 0}, {3, 3, 0}, {3, 1, 0}});
  EXPECT_TRUE(o.hit);
  EXPECT_EQ(o.coplanar, 1);
  EXPECT_FALSE(run(t, {{5, -1, 0}, {5, 3, 0}, {5, 1, 0}}).hit);
  // Two needles: crossing, skew, and collinear with a gap.
  const Tri n1{{0, 0, 0}, {2, 2, 0}, {1, 1, 0}};
  EXPECT_TRUE(run(n1, {{0, 2, 0}, {2, 0, 0}, {1, 1, 0}}).hit);
  EXPECT_FALSE(run(n1, {{0, 2, 1}, {2, 0, 1}, {1, 1, 1}}).hit);
  EXPECT_FALSE(run(n1, {{3, 3, 0}, {5, 5, 0}, {4, 4, 0}}).hit);
  EXPECT_TRUE(run(n1, {{2, 2, 0}, {5, 5, 0}, {4, 4, 0}}).hit);
}

// A corner placed exactly on an edge of the other triangle (the midpoint of
// two floats is exact in double) where the plain determinant puts it strictly
// above the plane, and the next double beyond it. With the plain sign the test
// would miss the touch; the exact test finds it and rejects the near miss.
TEST(TriTriIntersection, TouchesThatPlainDoublesMisjudge) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<float> coord(-10.0f, 10.0f);
  int found = 0;
  for (int attempt = 0; attempt < 20000 && found < 5; ++attempt) {
    const Tri base{{coord(rng), coord(rng), coord(rng)},
                   {coord(rng), coord(rng), coord(rng)},
                   {coord(rng), coord(rng), coord(rng)}};
    const Vec3d mid = {(base.p[0] + base.q[0]) / 2, (base.p[1] + base.q[1]) / 2,
                       (base.p[2] + base.q[2]) / 2};
    const double plain =
        exact::orient3dValue(base.p.data(), base.q.data(), base.r.data(), mid.data());
    if (plain <= 0) continue;  // want the plain sign to claim "strictly above"
    ++found;
    // The other two corners well above the plane, beside the triangle.
    const Vec3d n = cross(sub(base.q, base.p), sub(base.r, base.p));
    const double k = 5.0 / std::sqrt(dot(n, n));
    const Vec3d out = sub(mid, sub(base.r, mid));  // across edge p q from r
    const Vec3d a = {out[0] + k * n[0], out[1] + k * n[1], out[2] + k * n[2]};
    const Vec3d b = {mid[0] + k * n[0], mid[1] + k * n[1], mid[2] + k * n[2]};
    ASSERT_EQ(exact::orient3d(base.p.data(), base.q.data(), base.r.data(), mid.data()), 0);
    const Outcome touch = run(base, {mid, a, b});
    ASSERT_TRUE(touch.hit) << attempt;
    EXPECT_EQ(touch.coplanar, 0);
    EXPECT_LT(distance(touch.source, mid), 1e-9);
    EXPECT_LT(distance(touch.target, mid), 1e-9);

    // Step mid one double at a time away from the plane until it is
    // strictly above: now nothing touches.
    Vec3d lifted = mid;
    for (int step = 0; step < 64; ++step) {
      for (int c = 0; c < 3; ++c) lifted[c] = std::nextafter(lifted[c], n[c] > 0 ? 1e300 : -1e300);
      if (exact::orient3d(base.p.data(), base.q.data(), base.r.data(), lifted.data()) > 0) break;
    }
    ASSERT_GT(exact::orient3d(base.p.data(), base.q.data(), base.r.data(), lifted.data()), 0);
    EXPECT_FALSE(run(base, {lifted, a, b}).hit) << attempt;
  }
  EXPECT_EQ(found, 5);
}

// --- agreement with the separating-axis test --------------------------------------------

using IVec = std::array<int64_t, 3>;

// Two closed non-flat triangles are disjoint exactly when one of these axes
// separates their projections with a gap: both normals, the nine edge/edge
// cross products and the six in-plane edge normals.
bool separatingAxisMeet(const IVec* a, const IVec* b) {
  const IVec na = cross(sub(a[1], a[0]), sub(a[2], a[0]));
  const IVec nb = cross(sub(b[1], b[0]), sub(b[2], b[0]));
  std::vector<IVec> axes = {na, nb};
  for (int i = 0; i < 3; ++i) {
    const IVec ea = sub(a[(i + 1) % 3], a[i]), eb = sub(b[(i + 1) % 3], b[i]);
    axes.push_back(cross(na, ea));
    axes.push_back(cross(nb, eb));
    for (int j = 0; j < 3; ++j) axes.push_back(cross(ea, sub(b[(j + 1) % 3], b[j])));
  }
  for (const IVec& axis : axes) {
    if (axis == IVec{0, 0, 0}) continue;
    int64_t amin = INT64_MAX, amax = INT64_MIN, bmin = INT64_MAX, bmax = INT64_MIN;
    for (int i = 0; i < 3; ++i) {
      amin = std::min(amin, dot(axis, a[i]));
      amax = std::max(amax, dot(axis, a[i]));
      bmin = std::min(bmin, dot(axis, b[i]));
      bmax = std::max(bmax, dot(axis, b[i]));
    }
    if (amax < bmin || bmax < amin) return false;
  }
  return true;
}

bool flat(const IVec* t) {
  return cross(sub(t[1], t[0]), sub(t[2], t[0])) == IVec{0, 0, 0};
}

// Length of the intersection of two non-coplanar triangles from first
// principles: the points where edges of each cross the other's plane inside
// the other triangle (or corners on it), farthest apart.
double referenceLength(const Tri& a, const Tri& b) {
  std::vector<Vec3d> points;
  auto collect = [&](const Tri& s, const Tri& t) {
    const Vec3d n = cross(sub(t.q, t.p), sub(t.r, t.p));
    const Vec3d c[3] = {s.p, s.q, s.r};
    for (int i = 0; i < 3; ++i) {
      const Vec3d& u = c[i];
      const Vec3d& v = c[(i + 1) % 3];
      const double du = dot(sub(u, t.p), n), dv = dot(sub(v, t.p), n);
      if (du == 0) {
        if (distanceToTriangle(u, t) < 1e-9) points.push_back(u);
      } else if (du * dv < 0) {
        const double s2 = du / (du - dv);
        const Vec3d x = {u[0] + s2 * (v[0] - u[0]), u[1] + s2 * (v[1] - u[1]),
                         u[2] + s2 * (v[2] - u[2])};
        if (distanceToTriangle(x, t) < 1e-9) points.push_back(x);
      }
    }
  };
  collect(a, b);
  collect(b, a);
  double longest = 0;
  for (const Vec3d& x : points)
    for (const Vec3d& y : points) longest = std::max(longest, distance(x, y));
  return longest;
}

// Corners on a 5 x 5 x 5 integer grid make shared corners, corners on edges
// and faces, coplanar pairs and collinear edges common. Every third pair is
// put in one plane on purpose: z = 0 or x + y + z = 0, coordinates permuted.
TEST(TriTriIntersection, AgreesWithSeparatingAxesOnAnIntegerGrid) {
  std::mt19937 rng(2024);
  std::uniform_int_distribution<int> coord(-2, 2);
  std::uniform_int_distribution<int> axis(0, 2);
  int hits = 0, coplanar_hits = 0, touching = 0;
  for (int n = 0; n < 60000; ++n) {
    IVec ia[3], ib[3];
    const int plane = n % 6 == 0 ? 1 : (n % 6 == 3 ? 2 : 0);
    const int turn = axis(rng);
    for (IVec* t : {ia, ib})
      for (int i = 0; i < 3; ++i) {
        IVec c = {coord(rng), coord(rng), coord(rng)};
        if (plane == 1) c[2] = 0;
        if (plane == 2) c[2] = -c[0] - c[1];
        if (plane) std::rotate(c.begin(), c.begin() + turn, c.end());
        t[i] = c;
      }
    if (flat(ia) || flat(ib)) continue;
    auto toTri = [](const IVec* t) {
      Tri r;
      Vec3d* c[3] = {&r.p, &r.q, &r.r};
      for (int i = 0; i < 3; ++i) *c[i] = {double(t[i][0]), double(t[i][1]), double(t[i][2])};
      return r;
    };
    const Tri a = toTri(ia), b = toTri(ib);
    const Outcome o = run(a, b);
    const bool truth = separatingAxisMeet(ia, ib);
    ASSERT_EQ(o.hit, truth) << "case " << n;
    const IVec na = cross(sub(ia[1], ia[0]), sub(ia[2], ia[0]));
    bool same_plane = true;
    for (int i = 0; i < 3; ++i) same_plane = same_plane && dot(na, sub(ib[i], ia[0])) == 0;
    if (!o.hit) continue;
    ++hits;
    ASSERT_EQ(o.coplanar, same_plane ? 1 : 0) << "case " << n;
    if (same_plane) {
      ++coplanar_hits;
      continue;
    }
    ASSERT_LT(distanceToTriangle(o.source, a), 1e-9) << "case " << n;
    ASSERT_LT(distanceToTriangle(o.source, b), 1e-9) << "case " << n;
    ASSERT_LT(distanceToTriangle(o.target, a), 1e-9) << "case " << n;
    ASSERT_LT(distanceToTriangle(o.target, b), 1e-9) << "case " << n;
    const double length = distance(o.source, o.target);
    ASSERT_NEAR(length, referenceLength(a, b), 1e-9) << "case " << n;
    touching += length == 0;
  }
  // The grid produced every kind of contact.
  EXPECT_GT(hits, 5000);
  EXPECT_GT(coplanar_hits, 2000);
  EXPECT_GT(touching, 100);
}

}  // namespace
}  // namespace vekmesh
