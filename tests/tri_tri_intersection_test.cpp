// The triangle/triangle test: flat triangles, touches a plain double determinant
// misjudges, and agreement with a separating-axis oracle on a small grid.
#include "geometry/tri_tri_intersection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace {

using Tri = std::array<Vec3d, 3>;
Vec3d normal(const Tri& t) {
  return cross(sub(t[1], t[0]), sub(t[2], t[0]));
}

struct Outcome {
  bool hit;
  int coplanar = -1;
  Vec3d source{9, 9, 9}, target{9, 9, 9};
};

Outcome run(const Tri& a, const Tri& b) {
  Outcome o;
  o.hit = triTriIntersection(a[0], a[1], a[2], b[0], b[1], b[2], o.coplanar, o.source, o.target);
  return o;
}

// Whether x lies on the closed triangle t, to within 1e-9 or so.
bool onTriangle(const Vec3d& x, const Tri& t) {
  const Vec3d n = normal(t);
  bool on = std::fabs(dot(sub(x, t[0]), n)) <= 1e-9 * length(n);
  for (int i = 0; i < 3; ++i)
    on = on && dot(cross(sub(t[(i + 1) % 3], t[i]), sub(x, t[i])), n) >= -1e-8 * length(n);
  return on;
}

TEST(TriTriIntersection, FlatTrianglePiercingAnotherMeetsItInOnePoint) {
  // Collinear corners act as their segment, here through (1, 1, 0); in the
  // other's plane, the pair is coplanar.
  const Tri t{{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}};
  const Outcome o = run(t, {{{1, 1, -1}, {1, 1, 2}, {1, 1, 0.5}}});
  ASSERT_TRUE(o.hit);
  EXPECT_EQ(o.coplanar, 0);
  EXPECT_TRUE(o.source == (Vec3d{1, 1, 0}) && o.target == o.source);
  EXPECT_EQ(run(t, {{{3, -1, 0}, {3, 3, 0}, {3, 1, 0}}}).coplanar, 1);
}

// A corner placed exactly on an edge of the other triangle (the midpoint of
// two floats is exact in double) where the plain determinant puts it strictly
// above the plane, and the next doubles beyond it. With the plain sign the
// test would miss the touch; the exact test finds it and rejects the near miss.
TEST(TriTriIntersection, TouchesThatPlainDoublesMisjudge) {
  const Tri base{{{7.01590157f, 7.79416275f, 4.59928989f},
                  {4.27523804f, -7.82527876f, 0.357971191f},
                  {7.87808228f, 5.70777416f, 7.14308548f}}};
  auto side = [&](const Vec3d& x) {
    return exact::orient3d(base[0].data(), base[1].data(), base[2].data(), x.data());
  };
  const Vec3d mid = scaled(add(base[0], base[1]), 0.5), up = scaled(normalized(normal(base)), 5);
  ASSERT_GT(exact::orient3dValue(base[0].data(), base[1].data(), base[2].data(), mid.data()), 0);
  ASSERT_EQ(side(mid), 0);
  // The other two corners well above the plane, across edge 0 1 from corner 2.
  const Vec3d a = add(sub(mid, sub(base[2], mid)), up), b = add(mid, up);
  const Outcome touch = run(base, {mid, a, b});
  ASSERT_TRUE(touch.hit);
  EXPECT_LT(length(sub(touch.source, mid)) + length(sub(touch.target, mid)), 1e-9);
  // Step mid a double at a time away from the plane until strictly above.
  Vec3d lifted = mid;
  for (int step = 0; step < 64 && side(lifted) <= 0; ++step)
    for (int c = 0; c < 3; ++c) lifted[c] = std::nextafter(lifted[c], up[c] > 0 ? 1e300 : -1e300);
  ASSERT_GT(side(lifted), 0);
  EXPECT_FALSE(run(base, {lifted, a, b}).hit);
}

// Two closed triangles, flat ones included, are disjoint exactly when an axis
// separates their projections: the normals, edges and coordinate axes, their
// cross products, and those crossed with an edge again (in-plane normals of
// flat or coplanar pairs). Exact in doubles on small integer coordinates.
bool separatingAxisMeet(const Tri& a, const Tri& b) {
  std::vector<Vec3d> v = {normal(a), normal(b), {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, axes = v;
  for (const Tri& t : {a, b})
    for (int i = 0; i < 3; ++i) v.push_back(sub(t[(i + 1) % 3], t[i]));
  for (const Vec3d& x : v)
    for (const Vec3d& y : v) {
      axes.push_back(cross(x, y));
      for (size_t z = 5; z < v.size(); ++z) axes.push_back(cross(cross(x, y), v[z]));
    }
  for (const Vec3d& axis : axes) {
    double amin = 1e300, amax = -1e300, bmin = 1e300, bmax = -1e300;
    for (int i = 0; i < 3; ++i) {
      amin = std::min(amin, dot(axis, a[i])), amax = std::max(amax, dot(axis, a[i]));
      bmin = std::min(bmin, dot(axis, b[i])), bmax = std::max(bmax, dot(axis, b[i]));
    }
    if (amax < bmin || bmax < amin) return false;
  }
  return true;
}

// Length of the intersection of two non-coplanar triangles from first
// principles: the points where edges of each cross the other's plane inside
// the other triangle (or corners on it), farthest apart.
double referenceLength(const Tri& a, const Tri& b) {
  std::vector<Vec3d> points;
  for (const auto& [s, t] : {std::pair{a, b}, std::pair{b, a}}) {
    const Vec3d n = normal(t);
    for (int i = 0; i < 3; ++i) {
      const Vec3d &u = s[i], &v = s[(i + 1) % 3];
      const double du = dot(sub(u, t[0]), n), dv = dot(sub(v, t[0]), n);
      if (du != 0 && du * dv >= 0) continue;
      const Vec3d x = du == 0 ? u : add(u, scaled(sub(v, u), du / (du - dv)));
      if (onTriangle(x, t)) points.push_back(x);
    }
  }
  double longest = 0;
  for (const Vec3d& x : points)
    for (const Vec3d& y : points) longest = std::max(longest, length(sub(x, y)));
  return longest;
}

// Corners on a 5 x 5 x 5 integer grid make shared corners, corners on edges
// and faces, coplanar pairs and collinear edges common. Every third pair is
// put in one plane on purpose: z = 0 or x + y + z = 0, coordinates permuted.
TEST(TriTriIntersection, AgreesWithSeparatingAxesOnAnIntegerGrid) {
  std::mt19937 rng(2024);
  std::uniform_int_distribution<int> coord(-2, 2), axis(0, 2);
  int hits = 0, flat_hits = 0, coplanar_hits = 0, touching = 0;
  for (int n = 0; n < 60000; ++n) {
    Tri a, b;
    const int plane = n % 6 == 0 ? 1 : (n % 6 == 3 ? 2 : 0), turn = axis(rng);
    for (Tri* t : {&a, &b})
      for (Vec3d& c : *t) {
        c = {double(coord(rng)), double(coord(rng)), double(coord(rng))};
        if (plane) c[2] = plane == 1 ? 0 : -c[0] - c[1];
        if (plane) std::rotate(c.begin(), c.begin() + turn, c.end());
      }
    const Outcome o = run(a, b);
    ASSERT_EQ(o.hit, separatingAxisMeet(a, b)) << "case " << n;
    if (!o.hit) continue;
    ++hits;
    if (normal(a) == Vec3d{0, 0, 0} || normal(b) == Vec3d{0, 0, 0}) {
      ++flat_hits;  // treated as segments: no plane to compare
      continue;
    }
    bool same_plane = true;
    for (int i = 0; i < 3; ++i) same_plane = same_plane && dot(normal(a), sub(b[i], a[0])) == 0;
    ASSERT_EQ(o.coplanar, same_plane ? 1 : 0) << "case " << n;
    coplanar_hits += same_plane;
    if (same_plane) continue;
    for (const Vec3d& end : {o.source, o.target})
      ASSERT_TRUE(onTriangle(end, a) && onTriangle(end, b)) << "case " << n;
    const double segment = length(sub(o.source, o.target));
    ASSERT_NEAR(segment, referenceLength(a, b), 1e-9) << "case " << n;
    touching += segment == 0;
  }
  // The grid produced every kind of contact.
  EXPECT_TRUE(hits > 5000 && coplanar_hits > 2000 && flat_hits > 1000 && touching > 100)
      << hits << " " << coplanar_hits << " " << flat_hits << " " << touching;
}

}  // namespace
}  // namespace vekmesh
