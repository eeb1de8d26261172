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

}  // namespace vekmesh::reducer
