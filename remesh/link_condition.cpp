// Collapse tests and the collapse itself on the reducer's corner rings: link
// condition, manifold edge with opposite windings, no pinching of boundary
// vertices, valence and seam-island limits, the normal bound, then the merge.
#include "remesh/link_condition.h"

#include <cmath>

#include "remesh/corner_attributes.h"

namespace vekmesh::reducer {
namespace {

// Squared length of the cross product below which a face counts as
// degenerate, relative to the product of its two edge lengths squared (a
// corner angle of about 1e-7 radians).
constexpr double kDegenerateSine2 = 1e-14;

// The rings of u and v into `ru` and `rv`, each from its head. A ring is a
// chain of dependent loads, so the two are walked in step: each step waits
// for one load latency, not two.
void gatherRings(const ReducerState& s, uint32_t u, uint32_t v, std::vector<uint32_t>& ru,
                 std::vector<uint32_t>& rv) {
  ru.clear();
  rv.clear();
  const uint32_t hu = s.vertex[u].head, hv = s.vertex[v].head;
  uint32_t ku = hu, kv = hv;
  bool more_u = hu != kNone, more_v = hv != kNone;
  while (more_u && more_v) {
    ru.push_back(ku);
    rv.push_back(kv);
    ku = s.ringNext(ku);
    kv = s.ringNext(kv);
    more_u = ku != hu;
    more_v = kv != hv;
  }
  for (; more_u; more_u = ku != hu) {
    ru.push_back(ku);
    ku = s.ringNext(ku);
  }
  for (; more_v; more_v = kv != hv) {
    rv.push_back(kv);
    kv = s.ringNext(kv);
  }
}

// Every vertex of the faces in `corners` belongs to the worker's region.
bool inRegion(const ReducerState& s, const CollapseScratch& sc,
              const std::vector<uint32_t>& corners) {
  for (uint32_t k : corners) {
    const uint32_t f = 3 * (k / 3);
    for (uint32_t i = 0; i < 3; ++i)
      if (sc.region[s.cornerVertex(f + i)] != sc.region_id) return false;
  }
  return true;
}

// Does moving the corner `k` of a surviving face to `p` keep the face
// non-degenerate and its normal within the bound? (normalsKept repeats it
// two faces at a time: a change here is one there.)
bool normalKept(const ReducerState& s, uint32_t k, const double p[3], double min_cosine) {
  const double* a = s.pos(static_cast<uint32_t>(s.cornerVertex(k)));
  const double* b = s.pos(static_cast<uint32_t>(s.cornerVertex(ReducerState::nextInFace(k))));
  const double* c = s.pos(static_cast<uint32_t>(s.cornerVertex(ReducerState::prevInFace(k))));
  const double e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  const double e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  const double n0[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                        e1[0] * e2[1] - e1[1] * e2[0]};
  const double g1[3] = {b[0] - p[0], b[1] - p[1], b[2] - p[2]};
  const double g2[3] = {c[0] - p[0], c[1] - p[1], c[2] - p[2]};
  const double n1[3] = {g1[1] * g2[2] - g1[2] * g2[1], g1[2] * g2[0] - g1[0] * g2[2],
                        g1[0] * g2[1] - g1[1] * g2[0]};
  const double l1 = n1[0] * n1[0] + n1[1] * n1[1] + n1[2] * n1[2];
  const double g11 = g1[0] * g1[0] + g1[1] * g1[1] + g1[2] * g1[2];
  const double g22 = g2[0] * g2[0] + g2[1] * g2[1] + g2[2] * g2[2];
  if (!(l1 > kDegenerateSine2 * g11 * g22)) return false;  // would become a sliver (or NaN)
  const double l0 = n0[0] * n0[0] + n0[1] * n0[1] + n0[2] * n0[2];
  if (!(l0 > 0.0)) return true;  // degenerate before: no normal to keep
  const double cosine = (n0[0] * n1[0] + n0[1] * n1[1] + n0[2] * n1[2]) / std::sqrt(l0 * l1);
  // A face turned by 90 degrees or more counts as flipped, whatever the bound.
  return cosine >= min_cosine && cosine > 0.0;
}

// normalKept for corners k0 and k1 at once, one in each lane of two-wide
// vector arithmetic (GCC and Clang vector extensions): each lane does
// normalKept's operations in its order, so the answer is normalKept(k0) &&
// normalKept(k1) whatever the rounding.
bool normalsKept(const ReducerState& s, uint32_t k0, uint32_t k1, const double p[3],
                 double min_cosine) {
  using Double2 = double __attribute__((vector_size(16)));
  using Mask2 = int64_t __attribute__((vector_size(16)));
  const double* a0 = s.pos(static_cast<uint32_t>(s.cornerVertex(k0)));
  const double* b0 = s.pos(static_cast<uint32_t>(s.cornerVertex(ReducerState::nextInFace(k0))));
  const double* c0 = s.pos(static_cast<uint32_t>(s.cornerVertex(ReducerState::prevInFace(k0))));
  const double* a1 = s.pos(static_cast<uint32_t>(s.cornerVertex(k1)));
  const double* b1 = s.pos(static_cast<uint32_t>(s.cornerVertex(ReducerState::nextInFace(k1))));
  const double* c1 = s.pos(static_cast<uint32_t>(s.cornerVertex(ReducerState::prevInFace(k1))));
  Double2 a[3], b[3], c[3];
  for (int i = 0; i < 3; ++i) {
    a[i] = Double2{a0[i], a1[i]};
    b[i] = Double2{b0[i], b1[i]};
    c[i] = Double2{c0[i], c1[i]};
  }
  const Double2 e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
  const Double2 e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
  const Double2 n0[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                         e1[0] * e2[1] - e1[1] * e2[0]};
  const Double2 g1[3] = {b[0] - p[0], b[1] - p[1], b[2] - p[2]};
  const Double2 g2[3] = {c[0] - p[0], c[1] - p[1], c[2] - p[2]};
  const Double2 n1[3] = {g1[1] * g2[2] - g1[2] * g2[1], g1[2] * g2[0] - g1[0] * g2[2],
                         g1[0] * g2[1] - g1[1] * g2[0]};
  const Double2 l1 = n1[0] * n1[0] + n1[1] * n1[1] + n1[2] * n1[2];
  const Double2 g11 = g1[0] * g1[0] + g1[1] * g1[1] + g1[2] * g1[2];
  const Double2 g22 = g2[0] * g2[0] + g2[1] * g2[1] + g2[2] * g2[2];
  const Mask2 sound = l1 > kDegenerateSine2 * g11 * g22;
  const Double2 l0 = n0[0] * n0[0] + n0[1] * n0[1] + n0[2] * n0[2];
  const Double2 ll = l0 * l1;
  const Double2 root = {std::sqrt(ll[0]), std::sqrt(ll[1])};
  const Double2 cosine = (n0[0] * n1[0] + n0[1] * n1[1] + n0[2] * n1[2]) / root;
  const Double2 zero = {0.0, 0.0};
  const Mask2 kept =
      sound & (~(l0 > zero) | ((cosine >= Double2{min_cosine, min_cosine}) & (cosine > zero)));
  return kept[0] && kept[1];
}

}  // namespace

int edgeCorners(const ReducerState& s, uint32_t a, uint32_t b, uint32_t corners_at_a[2]) {
  int n = 0;
  const uint32_t h = s.vertex[a].head;
  if (h == kNone) return 0;
  uint32_t k = h;
  do {
    if (s.cornerVertex(ReducerState::nextInFace(k)) == static_cast<int32_t>(b) ||
        s.cornerVertex(ReducerState::prevInFace(k)) == static_cast<int32_t>(b)) {
      if (n < 2) corners_at_a[n] = k;
      ++n;
    }
    k = s.ringNext(k);
  } while (k != h);
  return n;
}

bool isFeatureEdge(const ReducerState& s, uint32_t a, uint32_t b) {
  uint32_t at_a[2];
  const int n = edgeCorners(s, a, b, at_a);
  if (n == 1) return true;
  if (n != 2) return false;  // not an edge, or non-manifold (its ends are locked)
  if (!sameAttributes(s, at_a[0], at_a[1])) return true;
  const uint32_t b0 = s.cornerOf(at_a[0] / 3, static_cast<int32_t>(b));
  const uint32_t b1 = s.cornerOf(at_a[1] / 3, static_cast<int32_t>(b));
  return !sameAttributes(s, b0, b1);
}

Verdict collapseAllowed(ReducerState& s, const Collapse& c, const CollapseBounds& bounds,
                        CollapseScratch& sc) {
  const uint32_t u = c.keep, v = c.drop;
  if (s.vertex[u].valence > kMaxValence || s.vertex[v].valence > kMaxValence)
    return Verdict::kRefused;
  gatherRings(s, u, v, sc.keep_corners, sc.drop_corners);
  if (sc.region && (!inRegion(s, sc, sc.keep_corners) || !inRegion(s, sc, sc.drop_corners)))
    return Verdict::kOutsideRegion;

  if (sc.stamp >= 0xFFFFFFF0u) {
    // Other workers share the marks: leave the rest to the serial pass.
    if (sc.region) return Verdict::kOutsideRegion;
    std::fill(s.mark.data(), s.mark.data() + s.mark.size(), 0u);
    sc.stamp = 0;
  }
  const uint32_t stamp = ++sc.stamp;
  for (uint32_t k : sc.keep_corners) {
    const uint32_t n1 = static_cast<uint32_t>(s.cornerVertex(ReducerState::nextInFace(k)));
    const uint32_t n2 = static_cast<uint32_t>(s.cornerVertex(ReducerState::prevInFace(k)));
    s.mark[n1] = s.mark[n2] = stamp;
    // The normal test below reads their positions (the records' second line).
    __builtin_prefetch(reinterpret_cast<const char*>(&s.vertex[n1]) + 64);
    __builtin_prefetch(reinterpret_cast<const char*>(&s.vertex[n2]) + 64);
  }

  // Faces on the edge, with the direction in which each runs along it.
  sc.edge_faces = 0;
  int forward = 0;  // faces running keep -> drop
  int32_t opposite[2] = {-1, -1};
  for (uint32_t k : sc.drop_corners) {
    const uint32_t kn = ReducerState::nextInFace(k), kp = ReducerState::prevInFace(k);
    const bool to_keep = s.cornerVertex(kn) == static_cast<int32_t>(u);
    const bool from_keep = s.cornerVertex(kp) == static_cast<int32_t>(u);
    if (!to_keep && !from_keep) continue;
    if (sc.edge_faces == 2) return Verdict::kRefused;  // three or more faces on the edge
    sc.edge_drop[sc.edge_faces] = k;
    sc.edge_keep[sc.edge_faces] = to_keep ? kn : kp;
    opposite[sc.edge_faces] = s.cornerVertex(to_keep ? kp : kn);
    // Unlinking the face's corners, if the collapse is made, reads their
    // backward links, kept apart from the corners.
    __builtin_prefetch(&s.ring_prev[k - k % 3]);
    forward += from_keep;
    ++sc.edge_faces;
  }
  if (sc.edge_faces == 0) return Verdict::kRefused;
  if (sc.edge_faces == 2) {
    if (forward != 1) return Verdict::kRefused;  // both faces run the same way: mis-oriented
    // An inner edge between two boundary vertices: collapsing it would pinch
    // the surface into two sheets meeting at one vertex.
    if (s.vertex[u].on_boundary && s.vertex[v].on_boundary) return Verdict::kRefused;
  }

  // Link condition: any other common neighbour closes a loop through the
  // merged vertex that would become an edge shared by more than two faces.
  for (uint32_t k : sc.drop_corners) {
    if (sc.isEdgeFace(k / 3)) continue;
    const int32_t n1 = s.cornerVertex(ReducerState::nextInFace(k));
    const int32_t n2 = s.cornerVertex(ReducerState::prevInFace(k));
    __builtin_prefetch(reinterpret_cast<const char*>(&s.vertex[n1]) + 64);
    __builtin_prefetch(reinterpret_cast<const char*>(&s.vertex[n2]) + 64);
    if (s.mark[n1] == stamp && n1 != opposite[0] && n1 != opposite[1]) return Verdict::kRefused;
    if (s.mark[n2] == stamp && n2 != opposite[0] && n2 != opposite[1]) return Verdict::kRefused;
  }

  // Valence: closed surfaces keep at least three faces around every vertex (a
  // tetrahedron stays a tetrahedron), nothing is left without faces.
  const uint32_t merged =
      s.vertex[u].valence + s.vertex[v].valence - 2u * static_cast<uint32_t>(sc.edge_faces);
  if (merged > kMaxValence) return Verdict::kRefused;
  const bool boundary = s.vertex[u].on_boundary || s.vertex[v].on_boundary;
  if (merged < (boundary ? 1u : 3u)) return Verdict::kRefused;
  for (int i = 0; i < sc.edge_faces; ++i)
    if (s.vertex[static_cast<uint32_t>(opposite[i])].valence < 2) return Verdict::kRefused;

  // Sliding along a boundary or seam must not swallow a face that is an
  // island of its own (all three edges boundary or seam): the seam would go.
  if (c.along_feature) {
    for (int i = 0; i < sc.edge_faces; ++i) {
      const uint32_t o = static_cast<uint32_t>(opposite[i]);
      if (isFeatureEdge(s, u, o) && isFeatureEdge(s, v, o)) return Verdict::kRefused;
    }
  }

  // Every face that moves, two at a time: the verdict is the same in any order.
  uint32_t waiting = kNone;
  for (const std::vector<uint32_t>* ring : {&sc.keep_corners, &sc.drop_corners})
    for (uint32_t k : *ring) {
      if (sc.isEdgeFace(k / 3)) continue;
      if (waiting == kNone) {
        waiting = k;
        continue;
      }
      if (!normalsKept(s, waiting, k, c.p, bounds.min_cosine)) return Verdict::kRefused;
      waiting = kNone;
    }
  if (waiting != kNone && !normalKept(s, waiting, c.p, bounds.min_cosine)) return Verdict::kRefused;
  return Verdict::kAllowed;
}

void applyCollapse(ReducerState& s, const Collapse& c, CollapseScratch& sc, bool new_version) {
  const uint32_t u = c.keep, v = c.drop;
  if (!s.uniform_attributes) blendCornerAttributes(s, sc, c.t);
  for (int i = 0; i < sc.edge_faces; ++i) {
    const uint32_t f = sc.edge_keep[i] / 3;
    s.face_dead[f] = 1;
    for (uint32_t k = 3 * f; k < 3 * f + 3; ++k) s.unlink(k);
  }
  for (uint32_t k : sc.drop_corners)
    if (!s.faceDead(k / 3)) s.cornerVertex(k) = static_cast<int32_t>(u);
  s.splice(u, v);
  for (int i = 0; i < 3; ++i) s.vertex[u].position[i] = c.p[i];
  s.vertex[u].quadric += s.vertex[v].quadric;
  s.vertex[u].on_boundary |= s.vertex[v].on_boundary;
  if (new_version) ++s.version[u];
  s.version[v] = kDeadVersion;
  sc.removed_faces += static_cast<size_t>(sc.edge_faces);
  ++sc.collapses;
}

}  // namespace vekmesh::reducer
