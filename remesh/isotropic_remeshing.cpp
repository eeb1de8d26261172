// Isotropic remeshing, Botsch and Kobbelt 2004, on the half-edge patch. Each
// of the rounds: split every edge longer than 4/3 of the target at its
// midpoint; collapse every edge shorter than 4/5 of it when the link
// condition holds, no edge of the merged vertex grows past 4/3 of the target
// and no face turns over; flip every edge whose flip brings the valences of
// its four vertices nearer 6 (4 on a boundary); move every free vertex to
// the area-weighted centroid of its faces within its tangent plane, then
// onto the nearest point of the original surface. After the rounds, one
// polish: flips that raise the smaller smallest angle of an edge's two faces,
// then one more smoothing step.
//
// Splits, collapses and flips run in one sequential sweep each, in half-edge
// order, so the result does not depend on the thread count; only smoothing
// (each vertex writes its own position) runs on a team. A vertex that a
// smoothing step would turn a face over for stays where it is.
#include "remesh/isotropic_remeshing.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "mesh/parallel_loops.h"

namespace vekmesh::remeshing {
namespace {

// Collapses leave a vertex alone once it has this many neighbours: every
// test walks both rings, and a hostile fan must not make a sweep quadratic.
constexpr uint32_t kMaxValence = 64;

// A face whose doubled area squared falls below this share of the target
// length to the fourth counts as degenerate (an area of about 1e-5 L^2).
constexpr double kDegenerateArea2 = 1e-10;

// Collapses, flips and smoothing never make a face's shape (see shape())
// worse than this, nor a face already below it worse than half its shape:
// slivers may not be made from nothing, and the existing ones (the poles of a
// latitude-longitude sphere) must still be free to change.
constexpr double kSliverShape = 0.1;

double distanceSquared(const Vec3d& a, const Vec3d& b) {
  const Vec3d d = sub(a, b);
  return dot(d, d);
}

class Remesher {
 public:
  Remesher(PatchMesh& patch, const SurfaceProjector& surface, const IsotropicOptions& options,
           const RunContext& run)
      : p_(patch), surface_(surface), options_(options), run_(run) {
    const double l = options.target_length;
    high2_ = (4.0 / 3.0) * l * (4.0 / 3.0) * l;
    low2_ = 0.8 * l * 0.8 * l;
    min_area2_ = kDegenerateArea2 * l * l * l * l;
    live_faces_ = p_.liveFaceCount();
  }

  IsotropicCounts run() {
    for (int i = 0; i < options_.iterations; ++i) {
      splitLongEdges();
      run_.checkpoint();
      collapseShortEdges();
      run_.checkpoint();
      flipEdges(false);
      run_.checkpoint();
      smooth();
      run_.checkpoint();
    }
    flipEdges(true);
    run_.checkpoint();
    smooth();
    return counts_;
  }

 private:
  PatchMesh& p_;
  const SurfaceProjector& surface_;
  IsotropicOptions options_;
  const RunContext& run_;
  double high2_ = 0, low2_ = 0, min_area2_ = 0;
  size_t live_faces_ = 0;
  IsotropicCounts counts_;
  std::vector<uint32_t> ring_a_, ring_b_, work_;
  std::vector<uint32_t> mark_;
  uint32_t stamp_ = 0;
  std::vector<Vec3d> moved_;
  std::vector<uint8_t> accepted_;

  const Vec3d& at(uint32_t v) const { return p_.position[v]; }
  double lengthSquared(uint32_t h) const {
    return distanceSquared(at(p_.origin[h]), at(p_.target(h)));
  }
  bool representative(uint32_t h) const { return p_.twin[h] == kNoHalfedge || h < p_.twin[h]; }

  // Twice the area over the longest edge squared: 0.87 for an equilateral
  // triangle, towards 0 for a needle or a cap.
  static double shape(const Vec3d& a, const Vec3d& b, const Vec3d& c, Vec3d* normal = nullptr) {
    const Vec3d n = cross(sub(b, a), sub(c, a));
    if (normal) *normal = n;
    const double longest =
        std::max({distanceSquared(a, b), distanceSquared(b, c), distanceSquared(c, a)});
    return longest > 0.0 ? length(n) / longest : 0.0;
  }

  // Face of h with `moved` at `to`: still facing the way it did, not
  // degenerate, and not turned into a sliver (see kSliverShape). Slivers are where remeshing goes
  // wrong: splitting the long edge of a flat triangle makes two more.
  bool keepsFacing(uint32_t h, uint32_t moved, const Vec3d& to) const {
    const uint32_t f = 3 * (h / 3);
    const Vec3d* before[3];
    Vec3d after[3];
    for (uint32_t i = 0; i < 3; ++i) {
      before[i] = &at(p_.origin[f + i]);
      after[i] = p_.origin[f + i] == moved ? to : *before[i];
    }
    Vec3d n_before, n_after;
    const double old_shape = shape(*before[0], *before[1], *before[2], &n_before);
    const double new_shape = shape(after[0], after[1], after[2], &n_after);
    return dot(n_after, n_after) > min_area2_ && dot(n_after, n_before) > 0.0 &&
           new_shape >= std::min(0.5 * old_shape, kSliverShape);
  }

  uint32_t nextStamp() {
    if (mark_.size() < p_.vertexCount()) mark_.resize(p_.vertexCount(), 0);
    if (++stamp_ == 0) {
      std::fill(mark_.begin(), mark_.end(), 0u);
      stamp_ = 1;
    }
    return stamp_;
  }

  // ---- splits ---------------------------------------------------------------
  void splitLongEdges() {
    work_.clear();
    for (uint32_t h = 0; h < p_.origin.size(); ++h)
      if (!p_.face_dead[h / 3] && representative(h)) work_.push_back(h);
    for (size_t i = 0; i < work_.size(); ++i) {
      const uint32_t h = work_[i];
      if (p_.face_dead[h / 3] || !representative(h) || (p_.flags[h] & kLocked)) continue;
      if (!(lengthSquared(h) > high2_)) continue;
      const size_t added = p_.twin[h] == kNoHalfedge ? 1 : 2;
      if (live_faces_ + added > options_.max_faces) {
        counts_.capped = true;
        return;
      }
      const uint32_t a = p_.origin[h], b = p_.target(h);
      const Vec3d mid = scaled(add(at(a), at(b)), 0.5);
      // The edges from the midpoint to the opposite corners must come out
      // shorter than the edge, or a flat triangle would be split for ever
      // (its longest edge gets its turn: for that one they always do).
      const double edge2 = lengthSquared(h);
      if (!(distanceSquared(mid, at(p_.origin[PatchMesh::prev(h)])) < edge2)) continue;
      if (p_.twin[h] != kNoHalfedge &&
          !(distanceSquared(mid, at(p_.origin[PatchMesh::prev(p_.twin[h])])) < edge2))
        continue;
      const uint8_t role = (p_.flags[h] & kConstrained) ? kFeature : kFree;
      const uint32_t m = p_.splitEdge(h, mid, role);
      live_faces_ += added;
      ++counts_.splits;
      // Both halves and the edges to the opposite corners may still be too
      // long: every half-edge at the new vertex goes on the list (the sweep
      // takes each edge by its representative).
      p_.outgoing(m, ring_a_);
      for (uint32_t e : ring_a_) {
        work_.push_back(e);
        work_.push_back(PatchMesh::prev(e));
        if (p_.twin[e] != kNoHalfedge) work_.push_back(p_.twin[e]);
      }
    }
  }

  // ---- collapses ------------------------------------------------------------
  bool collapseAllowed(uint32_t h, uint32_t removed, uint32_t keep, const Vec3d& p) {
    if (p_.valence[removed] > kMaxValence || p_.valence[keep] > kMaxValence) return false;
    const uint32_t t = p_.twin[h];
    const uint32_t opposite[2] = {p_.origin[PatchMesh::prev(h)],
                                  t != kNoHalfedge ? p_.origin[PatchMesh::prev(t)] : kNoVertex};
    // A neighbour left with two edges would hold two faces back to back (on a
    // tetrahedron, say), or hang on one face of a boundary ear.
    for (uint32_t o : opposite)
      if (o != kNoVertex && p_.valence[o] <= 3) return false;
    if (p_.valence[removed] + p_.valence[keep] < 6) return false;
    if (!p_.outgoing(removed, ring_a_, kMaxValence) || !p_.outgoing(keep, ring_b_, kMaxValence))
      return false;

    // Link condition: the only vertices next to both ends are the opposite
    // corners of the faces on the edge.
    const uint32_t stamp = nextStamp();
    for (uint32_t e : ring_b_) {
      mark_[p_.target(e)] = stamp;
      mark_[p_.origin[PatchMesh::prev(e)]] = stamp;
    }
    const uint32_t dead[2] = {h / 3, t != kNoHalfedge ? t / 3 : kNoHalfedge};
    for (uint32_t e : ring_a_) {
      for (uint32_t n : {p_.target(e), p_.origin[PatchMesh::prev(e)]}) {
        if (n == keep) continue;
        if (mark_[n] == stamp && n != opposite[0] && n != opposite[1]) return false;
        if (distanceSquared(p, at(n)) >= high2_) return false;
      }
      if (e / 3 != dead[0] && e / 3 != dead[1] && !keepsFacing(e, removed, p)) return false;
    }
    if (p != at(keep)) {
      for (uint32_t e : ring_b_) {
        for (uint32_t n : {p_.target(e), p_.origin[PatchMesh::prev(e)]})
          if (n != removed && distanceSquared(p, at(n)) >= high2_) return false;
        if (e / 3 != dead[0] && e / 3 != dead[1] && !keepsFacing(e, keep, p)) return false;
      }
    }
    return true;
  }

  void collapseShortEdges() {
    const uint32_t halfedges = static_cast<uint32_t>(p_.origin.size());
    for (uint32_t h = 0; h < halfedges; ++h) {
      if (p_.face_dead[h / 3] || !representative(h) || (p_.flags[h] & kLocked)) continue;
      if (!(lengthSquared(h) < low2_)) continue;
      const uint32_t a = p_.origin[h], b = p_.target(h);
      const uint8_t ra = p_.role[a], rb = p_.role[b];
      uint32_t removed, keep;
      Vec3d to;
      if (p_.flags[h] & kConstrained) {
        // Along a feature line or boundary: a vertex of the line gives way
        // to its neighbour on it, which stays where it is.
        if (rb == kFeature)
          removed = b, keep = a;
        else if (ra == kFeature)
          removed = a, keep = b;
        else
          continue;
        to = at(keep);
      } else if (ra == kFree && rb == kFree) {
        removed = b, keep = a, to = scaled(add(at(a), at(b)), 0.5);
      } else if (rb == kFree) {
        removed = b, keep = a, to = at(a);
      } else if (ra == kFree) {
        removed = a, keep = b, to = at(b);
      } else {
        continue;
      }
      if (!collapseAllowed(h, removed, keep, to)) continue;
      live_faces_ -= p_.twin[h] == kNoHalfedge ? 1 : 2;
      p_.collapseEdge(h, removed, to);
      ++counts_.collapses;
    }
  }

  // ---- flips ----------------------------------------------------------------
  int targetValence(uint32_t v) const { return p_.on_boundary[v] ? 4 : 6; }
  int deviation(uint32_t v, int change) const {
    return std::abs(static_cast<int>(p_.valence[v]) + change - targetValence(v));
  }

  bool connected(uint32_t c, uint32_t d) {
    if (!p_.outgoing(c, ring_a_)) return true;
    for (uint32_t e : ring_a_)
      if (p_.target(e) == d || p_.origin[PatchMesh::prev(e)] == d) return true;
    return false;
  }

  // Sine of the smallest angle of (a, b, c): twice the area over the two
  // longer edges (the smallest angle lies between them).
  static double smallestSine(const Vec3d& a, const Vec3d& b, const Vec3d& c) {
    const double e[3] = {distanceSquared(a, b), distanceSquared(b, c), distanceSquared(c, a)};
    const double shortest = std::min({e[0], e[1], e[2]}), longest = std::max({e[0], e[1], e[2]});
    const double d = std::sqrt(longest * (e[0] + e[1] + e[2] - shortest - longest));
    return d > 0.0 ? length(cross(sub(b, a), sub(c, a))) / d : 0.0;
  }

  // One sweep over the free interior edges in half-edge order. The rounds'
  // sweep flips an edge (a, b) of faces (a, b, c) and (b, a, d) when that
  // brings the valences of a, b, c, d nearer their targets and makes no
  // sliver. The polish after the rounds flips when that raises the smaller
  // smallest angle of the two faces: the valence flips aim at regular
  // connectivity and may leave a thin pair where the other diagonal does
  // better, which smoothing on a rough surface cannot always open up.
  void flipEdges(bool polish) {
    const uint32_t halfedges = static_cast<uint32_t>(p_.origin.size());
    for (uint32_t h = 0; h < halfedges; ++h) {
      const uint32_t t = p_.twin[h];
      if (p_.face_dead[h / 3] || t == kNoHalfedge || t < h || p_.flags[h] != 0) continue;
      const uint32_t a = p_.origin[h], b = p_.target(h);
      const uint32_t c = p_.origin[PatchMesh::prev(h)], d = p_.origin[PatchMesh::prev(t)];
      if (c == d) continue;
      if (polish) {
        const double before =
            std::min(smallestSine(at(a), at(b), at(c)), smallestSine(at(b), at(a), at(d)));
        const double after =
            std::min(smallestSine(at(a), at(d), at(c)), smallestSine(at(d), at(b), at(c)));
        if (!(after > before)) continue;
      } else {
        const int before = deviation(a, 0) + deviation(b, 0) + deviation(c, 0) + deviation(d, 0);
        const int after = deviation(a, -1) + deviation(b, -1) + deviation(c, 1) + deviation(d, 1);
        if (after >= before) continue;
      }
      if (p_.valence[a] <= (p_.on_boundary[a] ? 2u : 3u)) continue;
      if (p_.valence[b] <= (p_.on_boundary[b] ? 2u : 3u)) continue;
      // The new faces (a, d, c) and (d, b, c) must face the way the old pair
      // did and each other's way: no fold, no sliver.
      const Vec3d old_normal = add(p_.faceNormal(h), p_.faceNormal(t));
      const Vec3d n1 = cross(sub(at(d), at(a)), sub(at(c), at(a)));
      const Vec3d n2 = cross(sub(at(b), at(d)), sub(at(c), at(d)));
      if (!(dot(n1, n1) > min_area2_) || !(dot(n2, n2) > min_area2_)) continue;
      if (!polish) {
        const double worst_before =
            std::min(shape(at(a), at(b), at(c)), shape(at(b), at(a), at(d)));
        if (std::min(shape(at(a), at(d), at(c)), shape(at(d), at(b), at(c))) <
            std::min(0.5 * worst_before, kSliverShape))
          continue;
      }
      if (!(dot(n1, old_normal) > 0.0) || !(dot(n2, old_normal) > 0.0) || !(dot(n1, n2) > 0.0))
        continue;
      if (connected(c, d)) continue;
      p_.flipEdge(h);
      ++counts_.flips;
    }
  }

  // ---- smoothing ------------------------------------------------------------
  void smooth() {
    const size_t n = p_.vertexCount();
    moved_.resize(n);
    accepted_.assign(n, 0);
    const int64_t count = static_cast<int64_t>(n);
#pragma omp parallel if (count >= kParallelMinimum)
    {
      std::vector<uint32_t> ring;
#pragma omp for schedule(static)
      for (int64_t i = 0; i < count; ++i) {
        const uint32_t v = static_cast<uint32_t>(i);
        if (p_.role[v] != kFree || p_.out[v] == kNoHalfedge) continue;
        if (!p_.outgoing(v, ring, kMaxValence)) continue;
        Vec3d centroid{0, 0, 0}, normal{0, 0, 0};
        double area = 0.0;
        for (uint32_t e : ring) {
          const uint32_t f = 3 * (e / 3);
          const Vec3d& x = at(p_.origin[f]);
          const Vec3d& y = at(p_.origin[f + 1]);
          const Vec3d& z = at(p_.origin[f + 2]);
          const Vec3d nf = cross(sub(y, x), sub(z, x));
          const double a = length(nf);
          centroid = add(centroid, scaled(add(x, add(y, z)), a / 3.0));
          normal = add(normal, nf);
          area += a;
        }
        const Vec3d unit = normalized(normal);
        if (!(area > 0.0) || dot(unit, unit) == 0.0) continue;
        const Vec3d& x = at(v);
        const Vec3d step = sub(scaled(centroid, 1.0 / area), x);
        const Vec3d tangential = sub(step, scaled(unit, dot(unit, step)));
        uint32_t hint = p_.hint[v];
        const Vec3d to = surface_.project(add(x, tangential), hint);
        if (!std::isfinite(to[0]) || !std::isfinite(to[1]) || !std::isfinite(to[2])) continue;
        // Against the neighbours' current places: a move that turns a face
        // over is dropped (neighbours move in the same step, a small risk the
        // next round's tests catch).
        bool keeps = true;
        for (uint32_t e : ring) keeps = keeps && keepsFacing(e, v, to);
        if (!keeps) continue;
        moved_[v] = to;
        p_.hint[v] = hint;
        accepted_[v] = 1;
      }
    }
    for (size_t v = 0; v < n; ++v)
      if (accepted_[v]) p_.position[v] = moved_[v];
  }
};

}  // namespace

IsotropicCounts remeshIsotropic(PatchMesh& patch, const SurfaceProjector& surface,
                                const IsotropicOptions& options, const RunContext& run) {
  if (!(options.target_length > 0.0) || !std::isfinite(options.target_length)) return {};
  return Remesher(patch, surface, options, run).run();
}

}  // namespace vekmesh::remeshing
