// Placement and cost of one edge collapse from the summed quadric of its ends
// (Garland and Heckbert 1997), restricted by the ends' vertex classes: free
// vertices go to the minimiser, sliding ones along their edge, fixed ones stay.
#include "remesh/collapse_candidate.h"

#include <cmath>

#include "remesh/quadric.h"

namespace vekmesh::reducer {
namespace {

constexpr double kLengthWeight = 1e-10;

double distance2(const double a[3], const double b[3]) {
  const double x = a[0] - b[0], y = a[1] - b[1], z = a[2] - b[2];
  return x * x + y * y + z * z;
}

// Parameter of p projected on the segment a..b, clamped to [0, 1].
double segmentParameter(const double a[3], const double b[3], const double p[3]) {
  const double d[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  const double len2 = d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
  if (!(len2 > 0.0)) return 0.0;
  const double t = ((p[0] - a[0]) * d[0] + (p[1] - a[1]) * d[1] + (p[2] - a[2]) * d[2]) / len2;
  return t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t);
}

void lerp(const double a[3], const double b[3], double t, double out[3]) {
  for (int i = 0; i < 3; ++i)
    out[i] = t <= 0.0 ? a[i] : (t >= 1.0 ? b[i] : a[i] + t * (b[i] - a[i]));
}

// The parameter in [0, 1] where Q(a + t (b - a)) is smallest.
double bestOnSegment(const Quadric& q, const double a[3], const double b[3]) {
  const double q0 = evaluate(q, a), q1 = evaluate(q, b);
  double mid[3];
  lerp(a, b, 0.5, mid);
  const double qm = evaluate(q, mid);
  // Q along the segment is the parabola through (0, q0), (1/2, qm), (1, q1).
  const double alpha = 2.0 * (q1 - 2.0 * qm + q0);
  const double beta = q1 - q0 - alpha;
  double t = q0 <= q1 ? 0.0 : 1.0;
  if (alpha > 0.0) {
    const double s = -beta / (2.0 * alpha);
    if (s > 0.0 && s < 1.0) t = s;
  }
  return t;
}

}  // namespace

bool planCollapse(const ReducerState& s, uint32_t a, uint32_t b, const CollapseBounds& bounds,
                  double zero_tolerance_sq, Placement placement, Collapse& out) {
  if (a == b || s.dead(a) || s.dead(b)) return false;
  const uint8_t ka = s.vertex[a].vertex_class, kb = s.vertex[b].vertex_class;
  if (ka == kLocked || kb == kLocked) return false;
  const Quadric q = s.vertex[a].quadric + s.vertex[b].quadric;
  const double* pa = s.pos(a);
  const double* pb = s.pos(b);
  out.along_feature = false;

  // `t` below runs from a (0) to b (1); keep/drop and the blend parameter
  // are settled at the end. A new point must beat the better end by more than
  // single-precision rounding can show: otherwise the end is taken, so flat
  // and lattice-aligned parts keep their exact coordinates. `cost` follows `t`:
  // Q at the point chosen so far, so no point is evaluated twice.
  const double ea = evaluate(q, pa), eb = evaluate(q, pb);
  // Both are 0 or more and never NaN (evaluate clamps), so this is fmin
  // without the library call.
  const double best_end = ea <= eb ? ea : eb;
  const double slack = zero_tolerance_sq * q.weight;
  double t = ea <= eb ? 0.0 : 1.0;
  double cost = best_end;
  double p[3];
  bool placed = false;  // p already holds the chosen point
  if (ka == kFree && kb == kFree) {
    // planPair repeats this branch lane by lane: a change here is one there
    // (the tests compare the two bit for bit).
    if (placement == Placement::kOptimal) {
      double mid[3];
      lerp(pa, pb, 0.5, mid);
      // A nearly flat neighbourhood can put the minimiser far away along the
      // surface; only a point near the edge is a sensible merge.
      double at_p;
      if (minimizer(q, p) && distance2(p, mid) <= distance2(pa, pb) &&
          (at_p = evaluate(q, p)) + slack < best_end) {
        placed = true;
        t = segmentParameter(pa, pb, p);
        cost = at_p;
      } else {
        const double at_mid = evaluate(q, mid);
        if (at_mid + slack < best_end) {
          t = 0.5;
          cost = at_mid;
          for (int i = 0; i < 3; ++i) p[i] = mid[i];
          placed = true;
        }
      }
    }
  } else if (ka == kFree) {
    t = 1.0;  // a joins the constrained b where b is
    cost = eb;
  } else if (kb == kFree) {
    t = 0.0;
    cost = ea;
  } else {
    // Both constrained: only along a shared boundary or seam edge, and never
    // between two fixed vertices.
    if (ka == kFixed && kb == kFixed) return false;
    if (ka != kFixed && kb != kFixed && ka != kb) return false;
    if (!isFeatureEdge(s, a, b)) return false;
    out.along_feature = true;
    if (ka == kFixed) {
      t = 0.0;
      cost = ea;
    } else if (kb == kFixed) {
      t = 1.0;
      cost = eb;
    } else if (ka == kBoundarySlide && placement == Placement::kOptimal) {
      const double ts = bestOnSegment(q, pa, pb);
      double pt[3];
      lerp(pa, pb, ts, pt);
      const double at_pt = evaluate(q, pt);
      if (ts > 0.0 && ts < 1.0 && at_pt + slack < best_end) {
        t = ts;
        cost = at_pt;
        for (int i = 0; i < 3; ++i) p[i] = pt[i];
        placed = true;
      }
    }
    // Seam vertices stay on an end, so the attributes on both sides of the
    // seam are copied rather than blended across it.
  }
  // Otherwise the point is an end, where Q is ea or eb already.
  if (!placed) lerp(pa, pb, t, p);

  // Mean squared distance of p from the planes the two vertices stand for.
  const double limit = bounds.max_error_sq + zero_tolerance_sq;
  if (!(cost <= limit * q.weight) && !(q.weight <= 0.0 && cost <= zero_tolerance_sq)) return false;

  // The end the merged vertex sits on is kept; when it sits between them, the
  // end with more faces (fewer corners to rename).
  const bool keep_a = t == 0.0 || (t != 1.0 && s.vertex[a].valence >= s.vertex[b].valence);
  out.keep = keep_a ? a : b;
  out.drop = keep_a ? b : a;
  out.t = keep_a ? t : 1.0 - t;
  for (int i = 0; i < 3; ++i) out.p[i] = p[i];
  out.cost = cost;
  // Where errors tie (flat parts: all zero) the shorter edge goes first. By
  // error alone the first vertex to absorb a neighbour would go on absorbing
  // them all, into a fan of slivers; by length the coarsening spreads evenly.
  // The weight is small enough (an error of 1e-5 of the edge length) to leave
  // curved parts in error order.
  out.priority = cost + kLengthWeight * q.weight * distance2(pa, pb);
  return true;
}

namespace {

// Two lanes of doubles and their comparison masks (GCC and Clang vector
// extensions; plain SSE2 on x86-64). Lane arithmetic is IEEE arithmetic,
// exactly as in scalar code, and -ffp-contract=off keeps it unfused.
using Double2 = double __attribute__((vector_size(16)));
using Mask2 = int64_t __attribute__((vector_size(16)));

inline Double2 pick(Mask2 m, Double2 yes, Double2 no) {
  return reinterpret_cast<Double2>((reinterpret_cast<Mask2>(yes) & m) |
                                   (reinterpret_cast<Mask2>(no) & ~m));
}

inline Double2 splat(double x) {
  return Double2{x, x};
}

struct Quadric2 {
  Double2 xx, xy, xz, yy, yz, zz, bx, by, bz, c, weight;
};

struct Point2 {
  Double2 x, y, z;
};

// evaluate(), lane by lane.
inline Double2 evaluate2(const Quadric2& q, const Point2& p) {
  const Double2 r = p.x * (q.xx * p.x + 2.0 * (q.xy * p.y + q.xz * p.z + q.bx)) +
                    p.y * (q.yy * p.y + 2.0 * (q.yz * p.z + q.by)) +
                    p.z * (q.zz * p.z + 2.0 * q.bz) + q.c;
  return pick(r > splat(0.0), r, splat(0.0));
}

inline Double2 distance2(const Point2& a, const Point2& b) {
  const Double2 x = a.x - b.x, y = a.y - b.y, z = a.z - b.z;
  return x * x + y * y + z * z;
}

// maxOf(), lane by lane.
inline Double2 maxOf2(Double2 a, Double2 b) {
  return pick((a < b) | (a != a), b, a);
}

// minimizer(), lane by lane: the mask of the lanes where it succeeds (p is
// written in every lane).
inline Mask2 minimizer2(const Quadric2& q, Point2& p) {
  const Double2 c00 = q.yy * q.zz - q.yz * q.yz;
  const Double2 c01 = q.xz * q.yz - q.xy * q.zz;
  const Double2 c02 = q.xy * q.yz - q.xz * q.yy;
  const Double2 det = q.xx * c00 + q.xy * c01 + q.xz * c02;
  const Double2 scale = maxOf2(q.xx, maxOf2(q.yy, q.zz));
  const Double2 abs_det =
      reinterpret_cast<Double2>(reinterpret_cast<Mask2>(det) & Mask2{INT64_MAX, INT64_MAX});
  const Mask2 regular = abs_det > 1e-12 * scale * scale * scale;
  const Double2 c11 = q.xx * q.zz - q.xz * q.xz;
  const Double2 c12 = q.xy * q.xz - q.xx * q.yz;
  const Double2 c22 = q.xx * q.yy - q.xy * q.xy;
  const Double2 inv = -1.0 / det;
  p.x = inv * (c00 * q.bx + c01 * q.by + c02 * q.bz);
  p.y = inv * (c01 * q.bx + c11 * q.by + c12 * q.bz);
  p.z = inv * (c02 * q.bx + c12 * q.by + c22 * q.bz);
  // x - x is 0 exactly when x is finite.
  const Double2 zero = splat(0.0);
  return regular & (p.x - p.x == zero) & (p.y - p.y == zero) & (p.z - p.z == zero);
}

}  // namespace

unsigned planPair(const ReducerState& s, uint32_t a0, uint32_t b0, uint32_t a1, uint32_t b1,
                  const CollapseBounds& bounds, double zero_tolerance_sq, Collapse& out0,
                  Collapse& out1) {
  const VertexRecord& ra0 = s.vertex[a0];
  const VertexRecord& ra1 = s.vertex[a1];
  const VertexRecord& rb0 = s.vertex[b0];
  const VertexRecord& rb1 = s.vertex[b1];
  // The summed quadrics, field by field as Quadric::operator+ adds them.
  Quadric2 q;
  q.xx = Double2{ra0.quadric.xx, ra1.quadric.xx} + Double2{rb0.quadric.xx, rb1.quadric.xx};
  q.xy = Double2{ra0.quadric.xy, ra1.quadric.xy} + Double2{rb0.quadric.xy, rb1.quadric.xy};
  q.xz = Double2{ra0.quadric.xz, ra1.quadric.xz} + Double2{rb0.quadric.xz, rb1.quadric.xz};
  q.yy = Double2{ra0.quadric.yy, ra1.quadric.yy} + Double2{rb0.quadric.yy, rb1.quadric.yy};
  q.yz = Double2{ra0.quadric.yz, ra1.quadric.yz} + Double2{rb0.quadric.yz, rb1.quadric.yz};
  q.zz = Double2{ra0.quadric.zz, ra1.quadric.zz} + Double2{rb0.quadric.zz, rb1.quadric.zz};
  q.bx = Double2{ra0.quadric.bx, ra1.quadric.bx} + Double2{rb0.quadric.bx, rb1.quadric.bx};
  q.by = Double2{ra0.quadric.by, ra1.quadric.by} + Double2{rb0.quadric.by, rb1.quadric.by};
  q.bz = Double2{ra0.quadric.bz, ra1.quadric.bz} + Double2{rb0.quadric.bz, rb1.quadric.bz};
  q.c = Double2{ra0.quadric.c, ra1.quadric.c} + Double2{rb0.quadric.c, rb1.quadric.c};
  q.weight = Double2{ra0.quadric.weight, ra1.quadric.weight} +
             Double2{rb0.quadric.weight, rb1.quadric.weight};
  const Point2 pa = {Double2{ra0.position[0], ra1.position[0]},
                     Double2{ra0.position[1], ra1.position[1]},
                     Double2{ra0.position[2], ra1.position[2]}};
  const Point2 pb = {Double2{rb0.position[0], rb1.position[0]},
                     Double2{rb0.position[1], rb1.position[1]},
                     Double2{rb0.position[2], rb1.position[2]}};

  // planCollapse's free-and-free branch with optimal placement, every
  // alternative computed and the lanes' choices picked by mask.
  const Double2 ea = evaluate2(q, pa), eb = evaluate2(q, pb);
  const Mask2 a_first = ea <= eb;
  const Double2 best_end = pick(a_first, ea, eb);
  const Double2 slack = zero_tolerance_sq * q.weight;
  const Point2 mid = {pa.x + 0.5 * (pb.x - pa.x), pa.y + 0.5 * (pb.y - pa.y),
                      pa.z + 0.5 * (pb.z - pa.z)};
  const Double2 edge2 = distance2(pa, pb);
  Point2 m;
  const Mask2 near = minimizer2(q, m) & (distance2(m, mid) <= edge2);
  const Double2 at_m = evaluate2(q, m);
  const Mask2 take_m = near & (at_m + slack < best_end);

  // segmentParameter(pa, pb, m).
  const Point2 d = {pb.x - pa.x, pb.y - pa.y, pb.z - pa.z};
  const Double2 len2 = d.x * d.x + d.y * d.y + d.z * d.z;
  Double2 tm = ((m.x - pa.x) * d.x + (m.y - pa.y) * d.y + (m.z - pa.z) * d.z) / len2;
  tm = pick(tm < splat(0.0), splat(0.0), pick(tm > splat(1.0), splat(1.0), tm));
  tm = pick(len2 > splat(0.0), tm, splat(0.0));

  // Mostly both lanes take the minimiser, and the midpoint and the ends are
  // not needed.
  Double2 t = tm, cost = at_m;
  Point2 p = m;
  if (!(take_m[0] && take_m[1])) {
    const Double2 at_mid = evaluate2(q, mid);
    const Mask2 take_mid = ~take_m & (at_mid + slack < best_end);
    t = pick(take_m, tm, pick(take_mid, splat(0.5), pick(a_first, splat(0.0), splat(1.0))));
    cost = pick(take_m, at_m, pick(take_mid, at_mid, best_end));
    p.x = pick(take_m, m.x, pick(take_mid, mid.x, pick(a_first, pa.x, pb.x)));
    p.y = pick(take_m, m.y, pick(take_mid, mid.y, pick(a_first, pa.y, pb.y)));
    p.z = pick(take_m, m.z, pick(take_mid, mid.z, pick(a_first, pa.z, pb.z)));
  }
  const double limit = bounds.max_error_sq + zero_tolerance_sq;
  const Mask2 within =
      (cost <= limit * q.weight) | ((q.weight <= splat(0.0)) & (cost <= splat(zero_tolerance_sq)));
  const Double2 priority = cost + kLengthWeight * q.weight * edge2;

  unsigned result = 0;
  const uint32_t a[2] = {a0, a1}, b[2] = {b0, b1};
  const uint32_t valence_a[2] = {ra0.valence, ra1.valence};
  const uint32_t valence_b[2] = {rb0.valence, rb1.valence};
  Collapse* out[2] = {&out0, &out1};
  for (int i = 0; i < 2; ++i) {
    if (!within[i]) continue;
    result |= 1u << i;
    Collapse& o = *out[i];
    const double ti = t[i];
    const bool keep_a = ti == 0.0 || (ti != 1.0 && valence_a[i] >= valence_b[i]);
    o.keep = keep_a ? a[i] : b[i];
    o.drop = keep_a ? b[i] : a[i];
    o.t = keep_a ? ti : 1.0 - ti;
    o.p[0] = p.x[i];
    o.p[1] = p.y[i];
    o.p[2] = p.z[i];
    o.cost = cost[i];
    o.priority = priority[i];
    o.along_feature = false;
  }
  return result;
}

}  // namespace vekmesh::reducer
