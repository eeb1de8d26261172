// Triangle/triangle intersection by orientation predicates (Guigue and
// Devillers 2003): classify each triangle against the other's plane, bring the
// lone corner of each to a fixed side, and compare the two intervals on the
// common line with four more orientation signs. Coplanar pairs are tested in 2-D.
#include "geometry/tri_tri_intersection.h"

#include <algorithm>
#include <cmath>

#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace {

using exact::orient2d;
using exact::orient3d;

// --- the coplanar case in 2-D ---------------------------------------------------

using Point2 = std::array<double, 2>;

// Drops coordinate `axis`: 0 gives (y, z), 1 gives (x, z), 2 gives (x, y).
inline Point2 project(const Vec3d& p, int axis) {
  return {p[axis == 0 ? 1 : 0], p[axis == 2 ? 1 : 2]};
}

// p is known to lie on the line through a and b.
inline bool withinSpan(const Point2& a, const Point2& b, const Point2& p) {
  return std::min(a[0], b[0]) <= p[0] && p[0] <= std::max(a[0], b[0]) &&
         std::min(a[1], b[1]) <= p[1] && p[1] <= std::max(a[1], b[1]);
}

// Closed segments ab and cd; a segment may have both ends equal.
bool segmentsMeet(const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
  const int o1 = orient2d(a.data(), b.data(), c.data());
  const int o2 = orient2d(a.data(), b.data(), d.data());
  const int o3 = orient2d(c.data(), d.data(), a.data());
  const int o4 = orient2d(c.data(), d.data(), b.data());
  if (o1 * o2 < 0 && o3 * o4 < 0) return true;
  return (o1 == 0 && withinSpan(a, b, c)) || (o2 == 0 && withinSpan(a, b, d)) ||
         (o3 == 0 && withinSpan(c, d, a)) || (o4 == 0 && withinSpan(c, d, b));
}

// p inside or on the closed triangle t; a triangle of zero area contains
// nothing here (its edges are tested separately).
bool insideTriangle(const Point2& p, const Point2* t) {
  const int s = orient2d(t[0].data(), t[1].data(), t[2].data());
  if (s == 0) return false;
  for (int i = 0; i < 3; ++i)
    if (orient2d(t[i].data(), t[(i + 1) % 3].data(), p.data()) * s < 0) return false;
  return true;
}

// Two closed triangles in the plane meet when two edges meet or, failing
// that, when one lies inside the other (then any corner of it is inside).
bool trianglesMeet2d(const Point2* a, const Point2* b) {
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j)
      if (segmentsMeet(a[i], a[(i + 1) % 3], b[j], b[(j + 1) % 3])) return true;
  return insideTriangle(a[0], b) || insideTriangle(b[0], a);
}

bool meetInProjection(const Vec3d* t1, const Vec3d* t2, int axis) {
  const Point2 a[3] = {project(t1[0], axis), project(t1[1], axis), project(t1[2], axis)};
  const Point2 b[3] = {project(t2[0], axis), project(t2[1], axis), project(t2[2], axis)};
  return trianglesMeet2d(a, b);
}

bool flatInProjection(const Vec3d* t, int axis) {
  const Point2 a = project(t[0], axis), b = project(t[1], axis), c = project(t[2], axis);
  return orient2d(a.data(), b.data(), c.data()) == 0;
}

// Corners on one line (or coinciding): flat in every projection.
bool collinear(const Vec3d* t) {
  return flatInProjection(t, 0) && flatInProjection(t, 1) && flatInProjection(t, 2);
}

// Coplanar sets meet exactly when they meet in every axis projection: any
// projection keeps a meeting point, and the one across a non-zero component of
// the common normal is one-to-one on the plane. Used when no single projection
// is known to be one-to-one (both triangles flat).
bool meetInEveryProjection(const Vec3d* t1, const Vec3d* t2) {
  return meetInProjection(t1, t2, 0) && meetInProjection(t1, t2, 1) && meetInProjection(t1, t2, 2);
}

// --- the general case -------------------------------------------------------------

// Where segment a -> b meets the plane of (p, q, r), for an a and b on
// opposite sides or on it. Only the position is rounded; the parameter is
// clamped so that the point stays on the segment.
Vec3d planeCrossing(const Vec3d& a, const Vec3d& b, const Vec3d& p, const Vec3d& q,
                    const Vec3d& r) {
  const double da = exact::orient3dValue(p.data(), q.data(), r.data(), a.data());
  const double db = exact::orient3dValue(p.data(), q.data(), r.data(), b.data());
  double t = da != db ? da / (da - db) : 0.0;
  if (!(t >= 0.0)) t = 0.0;  // also catches NaN
  if (t > 1.0) t = 1.0;
  return {a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]), a[2] + t * (b[2] - a[2])};
}

inline int o3(const Vec3d& a, const Vec3d& b, const Vec3d& c, const Vec3d& d) {
  return orient3d(a.data(), b.data(), c.data(), d.data());
}

// Both triangles arranged so that p1 lies on or above the plane of (p2, q2, r2)
// with q1, r1 on or below it, and p2 on or above the plane of (p1, q1, r1) with
// q2, r2 on or below. T1 then cuts the common line in the interval from
// i = p1q1 x plane2 to j = p1r1 x plane2, T2 from k = p2q2 x plane1 to
// l = p2r2 x plane1, and four signs order these ends along the line.
bool overlapOnCommonLine(const Vec3d& p1, const Vec3d& q1, const Vec3d& r1, const Vec3d& p2,
                         const Vec3d& q2, const Vec3d& r2, Vec3d& source, Vec3d& target) {
  if (o3(p1, q1, r2, p2) > 0) {
    if (o3(p1, r1, r2, p2) > 0) return false;                             // l before i: disjoint
    source = o3(p1, r1, q2, p2) > 0 ? planeCrossing(p1, r1, p2, q2, r2)   // j
                                    : planeCrossing(p2, q2, p1, q1, r1);  // k
    target = planeCrossing(p2, r2, p1, q1, r1);                           // l
    return true;
  }
  if (o3(p1, q1, q2, p2) < 0) return false;  // k after i the other way: disjoint
  source = o3(p1, r1, q2, p2) >= 0 ? planeCrossing(p1, r1, p2, q2, r2)   // j
                                   : planeCrossing(p2, q2, p1, q1, r1);  // k
  target = planeCrossing(p1, q1, p2, q2, r2);                            // i
  return true;
}

// T1 is arranged already; d*2 are the signs of T2's corners against T1's
// plane. Rotates T2 so that its lone corner comes first and, where that corner
// lies below T1, turns T1 over (swapping q1 and r1) so that it lies above.
bool arrangeSecond(const Vec3d& p1, const Vec3d& q1, const Vec3d& r1, const Vec3d& p2,
                   const Vec3d& q2, const Vec3d& r2, int dp2, int dq2, int dr2, Vec3d& source,
                   Vec3d& target) {
  if (dp2 > 0) {
    if (dq2 > 0) return overlapOnCommonLine(p1, r1, q1, r2, p2, q2, source, target);
    if (dr2 > 0) return overlapOnCommonLine(p1, r1, q1, q2, r2, p2, source, target);
    return overlapOnCommonLine(p1, q1, r1, p2, q2, r2, source, target);
  }
  if (dp2 < 0) {
    if (dq2 < 0) return overlapOnCommonLine(p1, q1, r1, r2, p2, q2, source, target);
    if (dr2 < 0) return overlapOnCommonLine(p1, q1, r1, q2, r2, p2, source, target);
    return overlapOnCommonLine(p1, r1, q1, p2, q2, r2, source, target);
  }
  if (dq2 < 0) {
    if (dr2 >= 0) return overlapOnCommonLine(p1, r1, q1, q2, r2, p2, source, target);
    return overlapOnCommonLine(p1, q1, r1, p2, q2, r2, source, target);
  }
  if (dq2 > 0) {
    if (dr2 > 0) return overlapOnCommonLine(p1, r1, q1, p2, q2, r2, source, target);
    return overlapOnCommonLine(p1, q1, r1, q2, r2, p2, source, target);
  }
  // dp2 == dq2 == 0; dr2 != 0 because the all-zero case never gets here.
  if (dr2 > 0) return overlapOnCommonLine(p1, q1, r1, r2, p2, q2, source, target);
  return overlapOnCommonLine(p1, r1, q1, r2, p2, q2, source, target);
}

// --- flat triangles -------------------------------------------------------------------

// Flat triangle f (collinear corners, not all on the plane of the proper
// triangle t; df are their signs against it) against t: the line of f crosses
// t's plane in one point, found on an edge of f whose ends differ in sign.
bool flatAgainstProper(const Vec3d* f, const int* df, const Vec3d* t, Vec3d& source,
                       Vec3d& target) {
  for (int e = 0; e < 3; ++e) {
    const Vec3d& a = f[e];
    const Vec3d& b = f[(e + 1) % 3];
    if (df[e] == df[(e + 1) % 3]) continue;
    // a != b, and the line ab is not in t's plane: it passes through the
    // closed triangle when it does not pass strictly outside any edge of it.
    const int s0 = o3(a, b, t[0], t[1]), s1 = o3(a, b, t[1], t[2]), s2 = o3(a, b, t[2], t[0]);
    if ((s0 < 0 || s1 < 0 || s2 < 0) && (s0 > 0 || s1 > 0 || s2 > 0)) return false;
    source = target = planeCrossing(a, b, t[0], t[1], t[2]);
    return true;
  }
  return false;  // all signs equal and non-zero: rejected by the caller already
}

// Two ends of the segment a flat triangle covers, or one point twice.
void span(const Vec3d* t, Vec3d& a, Vec3d& b) {
  a = t[0];
  b = t[1] != t[0] ? t[1] : t[2];
}

// Every corner of one triangle lies on the other's plane, or a plane is not
// defined because a triangle is flat.
bool onePlaneOrFlat(const Vec3d* t1, const Vec3d* t2, const int* d1, const int* d2, int& coplanar,
                    Vec3d& source, Vec3d& target) {
  const bool flat1 = collinear(t1), flat2 = collinear(t2);
  if (!flat1 && !flat2) {
    coplanar = 1;
    const Vec3d u = {t1[1][0] - t1[0][0], t1[1][1] - t1[0][1], t1[1][2] - t1[0][2]};
    const Vec3d v = {t1[2][0] - t1[0][0], t1[2][1] - t1[0][1], t1[2][2] - t1[0][2]};
    const Vec3d n = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                     u[0] * v[1] - u[1] * v[0]};
    return coplanarTriTri(t1[0], t1[1], t1[2], t2[0], t2[1], t2[2], n);
  }
  if (flat1 && flat2) {
    Vec3d a1, b1, a2, b2;
    span(t1, a1, b1);
    span(t2, a2, b2);
    if (o3(a1, b1, a2, b2) != 0) return false;  // skew lines
    coplanar = 1;
    return meetInEveryProjection(t1, t2);
  }
  const Vec3d* f = flat1 ? t1 : t2;
  const Vec3d* t = flat1 ? t2 : t1;
  const int* df = flat1 ? d1 : d2;  // signs of f's corners against t's plane
  if (df[0] == 0 && df[1] == 0 && df[2] == 0) {
    coplanar = 1;
    return meetInEveryProjection(t, f);
  }
  return flatAgainstProper(f, df, t, source, target);
}

}  // namespace

bool coplanarTriTri(const Vec3d& p1, const Vec3d& q1, const Vec3d& r1, const Vec3d& p2,
                    const Vec3d& q2, const Vec3d& r2, const Vec3d& normal1) {
  const Vec3d t1[3] = {p1, q1, r1};
  const Vec3d t2[3] = {p2, q2, r2};
  const double nx = std::fabs(normal1[0]), ny = std::fabs(normal1[1]), nz = std::fabs(normal1[2]);
  int axis = 2;
  if (nx > nz && nx >= ny)
    axis = 0;
  else if (ny > nz && ny >= nx)
    axis = 1;
  // The rounded normal may point the projection along the plane of a sliver;
  // the projection is one-to-one on the plane exactly when the first
  // triangle keeps an area in it.
  if (!flatInProjection(t1, axis)) return meetInProjection(t1, t2, axis);
  return meetInEveryProjection(t1, t2);
}

bool triTriIntersection(const Vec3d& p1, const Vec3d& q1, const Vec3d& r1, const Vec3d& p2,
                        const Vec3d& q2, const Vec3d& r2, int& coplanar, Vec3d& source,
                        Vec3d& target) {
  coplanar = 0;
  // Corners of T1 against T2's plane; all strictly on one side: no contact.
  const int dp1 = o3(p2, q2, r2, p1), dq1 = o3(p2, q2, r2, q1), dr1 = o3(p2, q2, r2, r1);
  if (dp1 * dq1 > 0 && dp1 * dr1 > 0) return false;
  const int dp2 = o3(p1, q1, r1, p2), dq2 = o3(p1, q1, r1, q2), dr2 = o3(p1, q1, r1, r2);
  if (dp2 * dq2 > 0 && dp2 * dr2 > 0) return false;

  if ((dp1 == 0 && dq1 == 0 && dr1 == 0) || (dp2 == 0 && dq2 == 0 && dr2 == 0)) {
    const Vec3d t1[3] = {p1, q1, r1};
    const Vec3d t2[3] = {p2, q2, r2};
    const int d1[3] = {dp1, dq1, dr1};
    const int d2[3] = {dp2, dq2, dr2};
    return onePlaneOrFlat(t1, t2, d1, d2, coplanar, source, target);
  }

  // Rotate T1 so that its lone corner comes first; where that corner lies
  // below T2, turn T2 over (swapping q2 and r2) so that it lies above.
  if (dp1 > 0) {
    if (dq1 > 0) return arrangeSecond(r1, p1, q1, p2, r2, q2, dp2, dr2, dq2, source, target);
    if (dr1 > 0) return arrangeSecond(q1, r1, p1, p2, r2, q2, dp2, dr2, dq2, source, target);
    return arrangeSecond(p1, q1, r1, p2, q2, r2, dp2, dq2, dr2, source, target);
  }
  if (dp1 < 0) {
    if (dq1 < 0) return arrangeSecond(r1, p1, q1, p2, q2, r2, dp2, dq2, dr2, source, target);
    if (dr1 < 0) return arrangeSecond(q1, r1, p1, p2, q2, r2, dp2, dq2, dr2, source, target);
    return arrangeSecond(p1, q1, r1, p2, r2, q2, dp2, dr2, dq2, source, target);
  }
  if (dq1 < 0) {
    if (dr1 >= 0) return arrangeSecond(q1, r1, p1, p2, r2, q2, dp2, dr2, dq2, source, target);
    return arrangeSecond(p1, q1, r1, p2, q2, r2, dp2, dq2, dr2, source, target);
  }
  if (dq1 > 0) {
    if (dr1 > 0) return arrangeSecond(p1, q1, r1, p2, r2, q2, dp2, dr2, dq2, source, target);
    return arrangeSecond(q1, r1, p1, p2, q2, r2, dp2, dq2, dr2, source, target);
  }
  // dp1 == dq1 == 0 and dr1 != 0.
  if (dr1 > 0) return arrangeSecond(r1, p1, q1, p2, q2, r2, dp2, dq2, dr2, source, target);
  return arrangeSecond(r1, p1, q1, p2, r2, q2, dp2, dr2, dq2, source, target);
}

}  // namespace vekmesh
