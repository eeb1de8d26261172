// Constrained Delaunay triangulation of a simple polygon with interior points:
// ear clipping (testing only non-convex vertices against each candidate ear),
// Lawson flips of the non-rim edges, then insertion of each interior point into
// the triangle found by a visibility walk, followed by flips around it. All
// predicates are exact on integer coordinates.
#include <algorithm>
#include <unordered_map>

#include "geometry/polygon_triangulation.h"

namespace vekmesh {
namespace {

using Tri = std::array<int32_t, 3>;
using I128 = __int128;

constexpr int next3(int e) {
  return e == 2 ? 0 : e + 1;
}
constexpr int prev3(int e) {
  return e == 0 ? 2 : e - 1;
}

// > 0 when d lies strictly inside the circle through the counter-clockwise a, b, c.
// With coordinates within +-2^29 every product fits in 128 bits.
int inCircle(const IntPoint2& a, const IntPoint2& b, const IntPoint2& c, const IntPoint2& d) {
  const I128 adx = a.x - d.x, ady = a.y - d.y;
  const I128 bdx = b.x - d.x, bdy = b.y - d.y;
  const I128 cdx = c.x - d.x, cdy = c.y - d.y;
  const I128 alift = adx * adx + ady * ady;
  const I128 blift = bdx * bdx + bdy * bdy;
  const I128 clift = cdx * cdx + cdy * cdy;
  const I128 det = alift * (bdx * cdy - bdy * cdx) + blift * (cdx * ady - cdy * adx) +
                   clift * (adx * bdy - ady * bdx);
  return det > 0 ? 1 : (det < 0 ? -1 : 0);
}

bool inClosedTriangle(const IntPoint2& a, const IntPoint2& b, const IntPoint2& c,
                      const IntPoint2& p) {
  return orient2d(a, b, p) >= 0 && orient2d(b, c, p) >= 0 && orient2d(c, a, p) >= 0;
}

// Ear clipping over a doubly linked ring. A vertex is an ear when it is
// strictly convex and no non-convex vertex lies in the closed triangle it
// cuts off (convex vertices cannot be inside an ear of a simple polygon).
bool clipEars(const std::vector<IntPoint2>& pts, size_t n, std::vector<Tri>& out) {
  std::vector<int32_t> prev(n), next(n);
  std::vector<uint8_t> convex(n);
  for (size_t i = 0; i < n; ++i) {
    prev[i] = static_cast<int32_t>(i == 0 ? n - 1 : i - 1);
    next[i] = static_cast<int32_t>(i + 1 == n ? 0 : i + 1);
  }
  auto updateConvex = [&](int32_t i) {
    convex[i] = orient2d(pts[prev[i]], pts[i], pts[next[i]]) > 0;
  };
  for (size_t i = 0; i < n; ++i) updateConvex(static_cast<int32_t>(i));

  auto isEar = [&](int32_t i) {
    if (!convex[i]) return false;
    const int32_t p = prev[i], q = next[i];
    for (int32_t j = next[q]; j != p; j = next[j])
      if (!convex[j] && inClosedTriangle(pts[p], pts[i], pts[q], pts[j])) return false;
    return true;
  };

  size_t remaining = n;
  int32_t i = 0;
  size_t misses = 0;
  while (remaining > 3) {
    if (isEar(i)) {
      const int32_t p = prev[i], q = next[i];
      out.push_back({p, i, q});
      next[p] = q;
      prev[q] = p;
      --remaining;
      updateConvex(p);
      updateConvex(q);
      misses = 0;
      i = p;
    } else {
      i = next[i];
      if (++misses > remaining) return false;  // a full turn without an ear
    }
  }
  const int32_t p = prev[i], q = next[i];
  if (orient2d(pts[p], pts[i], pts[q]) <= 0) return false;
  out.push_back({p, i, q});
  return true;
}

class Triangulation {
 public:
  Triangulation(const std::vector<IntPoint2>& pts, std::vector<Tri>& tris) : pts_(pts), v_(tris) {
    linkNeighbours();
    // Walk starts: a coarse grid over the points remembers, per cell, a
    // triangle made near it, so that a walk rarely has to cross the polygon
    // (where a non-convex rim would stop it) to reach a new point.
    lo_ = hi_ = pts.empty() ? IntPoint2{0, 0} : pts[0];
    for (const IntPoint2& q : pts) {
      lo_.x = std::min(lo_.x, q.x);
      lo_.y = std::min(lo_.y, q.y);
      hi_.x = std::max(hi_.x, q.x);
      hi_.y = std::max(hi_.y, q.y);
    }
    int64_t side = 1;
    while (side * side * 4 < static_cast<int64_t>(pts.size()) && side < 1024) side *= 2;
    grid_side_ = side;
    hints_.assign(static_cast<size_t>(side * side), -1);
  }

  // Pops edges off the stack and flips each that is not locally Delaunay;
  // `requeue(t, u)` pushes the edges a flip of t and u may have spoiled. Each
  // flip strictly improves the triangulation; the budget only guards against
  // a broken invariant turning into an endless loop.
  template <class Requeue>
  void flipStacked(Requeue requeue) {
    size_t budget = 64 * v_.size() + 1024;
    while (!stack_.empty() && budget-- > 0) {
      const auto [t, e] = stack_.back();
      stack_.pop_back();
      const int32_t u = nb_[t][e];
      if (u < 0) continue;
      const int j = edgeIndex(u, v_[t][next3(e)], v_[t][e]);
      if (j < 0) continue;
      const int32_t d = v_[u][prev3(j)];
      if (inCircle(pts_[v_[t][0]], pts_[v_[t][1]], pts_[v_[t][2]], pts_[d]) <= 0) continue;
      flip(t, e, u, j);
      requeue(t, u);
    }
    stack_.clear();
  }

  // Flips every non-rim edge that is not locally Delaunay.
  void makeDelaunay() {
    for (size_t t = 0; t < v_.size(); ++t)
      for (int e = 0; e < 3; ++e)
        if (nb_[t][e] > static_cast<int32_t>(t)) stack_.push_back({static_cast<int32_t>(t), e});
    // The edges around the flipped quad may now fail; recheck all four.
    flipStacked([this](int32_t t, int32_t u) {
      stack_.push_back({t, 0});
      stack_.push_back({t, 1});
      stack_.push_back({u, 0});
      stack_.push_back({u, 1});
    });
  }

  void insert(int32_t p) {
    int32_t t;
    int edge;
    const int kind = locate(pts_[p], t, edge);
    if (kind == kOutside || kind == kOnVertex) return;
    if (kind == kInside) {
      splitInside(t, p);
    } else {
      if (nb_[t][edge] < 0) return;  // on the rim: it would split a kept edge
      splitEdge(t, edge, p);
    }
    hints_[hintCell(pts_[p])] = t;
    legalizeAround();
  }

 private:
  enum { kOutside, kInside, kOnEdge, kOnVertex };

  void linkNeighbours() {
    nb_.assign(v_.size(), {-1, -1, -1});
    std::unordered_map<uint64_t, int64_t> half_edges;
    half_edges.reserve(v_.size() * 3);
    auto key = [](int32_t a, int32_t b) { return (uint64_t(uint32_t(a)) << 32) | uint32_t(b); };
    for (size_t t = 0; t < v_.size(); ++t)
      for (int e = 0; e < 3; ++e) half_edges[key(v_[t][e], v_[t][next3(e)])] = int64_t(t) * 3 + e;
    for (size_t t = 0; t < v_.size(); ++t)
      for (int e = 0; e < 3; ++e) {
        const auto it = half_edges.find(key(v_[t][next3(e)], v_[t][e]));
        if (it != half_edges.end()) nb_[t][e] = static_cast<int32_t>(it->second / 3);
      }
  }

  // Index of the edge a -> b in triangle t, or -1.
  int edgeIndex(int32_t t, int32_t a, int32_t b) const {
    for (int e = 0; e < 3; ++e)
      if (v_[t][e] == a && v_[t][next3(e)] == b) return e;
    return -1;
  }

  void replaceNeighbour(int32_t t, int32_t from, int32_t to) {
    if (t < 0) return;
    for (int e = 0; e < 3; ++e)
      if (nb_[t][e] == from) {
        nb_[t][e] = to;
        return;
      }
  }

  // t = (a, b, c) with edge e = a -> b, u = (b, a, d) with edge j = b -> a.
  // Afterwards t = (c, a, d) and u = (d, b, c).
  void flip(int32_t t, int e, int32_t u, int j) {
    const int32_t a = v_[t][e], b = v_[t][next3(e)], c = v_[t][prev3(e)];
    const int32_t d = v_[u][prev3(j)];
    const int32_t tbc = nb_[t][next3(e)], tca = nb_[t][prev3(e)];
    const int32_t uad = nb_[u][next3(j)], udb = nb_[u][prev3(j)];
    v_[t] = {c, a, d};
    nb_[t] = {tca, uad, u};
    v_[u] = {d, b, c};
    nb_[u] = {udb, tbc, t};
    replaceNeighbour(uad, u, t);
    replaceNeighbour(tbc, t, u);
  }

  int32_t addTriangle(const Tri& v, const std::array<int32_t, 3>& nb) {
    v_.push_back(v);
    nb_.push_back(nb);
    return static_cast<int32_t>(v_.size() - 1);
  }

  // Walks from the last touched triangle towards p, crossing an edge that p
  // lies strictly beyond; the starting edge rotates so that the walk cannot
  // circle. A walk that leaves the polygon or runs too long falls back to a scan.
  size_t hintCell(const IntPoint2& p) const {
    auto axis = [&](int64_t q, int64_t lo, int64_t hi) {
      const int64_t span = hi - lo + 1;
      const int64_t i = (q - lo) * grid_side_ / span;
      return std::min<int64_t>(std::max<int64_t>(i, 0), grid_side_ - 1);
    };
    return static_cast<size_t>(axis(p.y, lo_.y, hi_.y) * grid_side_ + axis(p.x, lo_.x, hi_.x));
  }

  int locate(const IntPoint2& p, int32_t& t, int& edge) {
    const int32_t hint = hints_[hintCell(p)];
    int32_t cur = hint >= 0 ? hint : last_;
    if (cur >= static_cast<int32_t>(v_.size())) cur = 0;
    for (size_t step = 0; step < v_.size() + 16; ++step) {
      bool moved = false;
      const int start = static_cast<int>(step % 3);
      for (int k = 0; k < 3 && !moved; ++k) {
        const int e = (start + k) % 3;
        if (orient2d(pts_[v_[cur][e]], pts_[v_[cur][next3(e)]], p) < 0) {
          if (nb_[cur][e] < 0) break;
          cur = nb_[cur][e];
          moved = true;
        }
      }
      if (!moved) {
        const int kind = classify(cur, p, edge);
        if (kind != kOutside) {
          t = cur;
          return kind;
        }
        break;
      }
    }
    for (size_t s = 0; s < v_.size(); ++s) {
      const int kind = classify(static_cast<int32_t>(s), p, edge);
      if (kind != kOutside) {
        t = static_cast<int32_t>(s);
        return kind;
      }
    }
    return kOutside;
  }

  int classify(int32_t t, const IntPoint2& p, int& edge) const {
    int zeros = 0;
    for (int e = 0; e < 3; ++e) {
      const int64_t o = orient2d(pts_[v_[t][e]], pts_[v_[t][next3(e)]], p);
      if (o < 0) return kOutside;
      if (o == 0) {
        ++zeros;
        edge = e;
      }
    }
    return zeros == 0 ? kInside : (zeros == 1 ? kOnEdge : kOnVertex);
  }

  // t = (a, b, c) becomes (a, b, p), (b, c, p), (c, a, p).
  void splitInside(int32_t t, int32_t p) {
    const int32_t a = v_[t][0], b = v_[t][1], c = v_[t][2];
    const int32_t nab = nb_[t][0], nbc = nb_[t][1], nca = nb_[t][2];
    const int32_t t1 = static_cast<int32_t>(v_.size());
    const int32_t t2 = t1 + 1;
    v_[t] = {a, b, p};
    nb_[t] = {nab, t1, t2};
    addTriangle({b, c, p}, {nbc, t2, t});
    addTriangle({c, a, p}, {nca, t, t1});
    replaceNeighbour(nbc, t, t1);
    replaceNeighbour(nca, t, t2);
    pending_ = {{{t, 0}, {t1, 0}, {t2, 0}, {0, 0}}};
    pending_count_ = 3;
    last_ = t;
  }

  // p on edge e = a -> b of t = (a, b, c), whose neighbour is u = (b, a, d):
  // the quad a, d, b, c becomes (b, c, p), (c, a, p), (a, d, p), (d, b, p).
  void splitEdge(int32_t t, int e, int32_t p) {
    const int32_t u = nb_[t][e];
    const int32_t a = v_[t][e], b = v_[t][next3(e)], c = v_[t][prev3(e)];
    const int j = edgeIndex(u, b, a);
    const int32_t d = v_[u][prev3(j)];
    const int32_t tbc = nb_[t][next3(e)], tca = nb_[t][prev3(e)];
    const int32_t uad = nb_[u][next3(j)], udb = nb_[u][prev3(j)];
    const int32_t t_ca = static_cast<int32_t>(v_.size());
    const int32_t t_db = t_ca + 1;
    v_[t] = {b, c, p};
    nb_[t] = {tbc, t_ca, t_db};
    v_[u] = {a, d, p};
    nb_[u] = {uad, t_db, t_ca};
    addTriangle({c, a, p}, {tca, u, t});
    addTriangle({d, b, p}, {udb, t, u});
    replaceNeighbour(tca, t, t_ca);
    replaceNeighbour(udb, u, t_db);
    pending_ = {{{t, 0}, {u, 0}, {t_ca, 0}, {t_db, 0}}};
    pending_count_ = 4;
    last_ = t;
  }

  // Lawson flips around the new point: every edge opposite it is checked,
  // and each flip exposes two more.
  void legalizeAround() {
    for (int i = 0; i < pending_count_; ++i) stack_.push_back(pending_[i]);
    // After a flip t = (p, a, d) and u = (d, b, p): the edges facing p.
    flipStacked([this](int32_t t, int32_t u) {
      stack_.push_back({t, 1});
      stack_.push_back({u, 0});
    });
  }

  const std::vector<IntPoint2>& pts_;
  std::vector<Tri>& v_;
  std::vector<std::array<int32_t, 3>> nb_;
  std::vector<std::pair<int32_t, int>> stack_;
  std::array<std::pair<int32_t, int>, 4> pending_{};
  int pending_count_ = 0;
  int32_t last_ = 0;
  IntPoint2 lo_{0, 0}, hi_{0, 0};
  int64_t grid_side_ = 1;
  std::vector<int32_t> hints_;
};

}  // namespace

int64_t orient2d(const IntPoint2& a, const IntPoint2& b, const IntPoint2& c) {
  return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool triangulatePolygon(const std::vector<IntPoint2>& points, size_t rim_count,
                        std::vector<std::array<int32_t, 3>>& triangles) {
  triangles.clear();
  if (rim_count < 3 || rim_count > points.size()) return false;
  for (const IntPoint2& p : points)
    if (p.x > kPlanarCoordinateLimit || p.x < -kPlanarCoordinateLimit ||
        p.y > kPlanarCoordinateLimit || p.y < -kPlanarCoordinateLimit)
      return false;
  if (!clipEars(points, rim_count, triangles)) {
    triangles.clear();
    return false;
  }
  // Certificate: positive triangles whose areas add up to the polygon's area
  // tile it without overlap (for a polygon already known to be simple).
  I128 polygon = 0, tiles = 0;
  for (size_t i = 0; i < rim_count; ++i) {
    const IntPoint2& a = points[i];
    const IntPoint2& b = points[i + 1 == rim_count ? 0 : i + 1];
    polygon += I128(a.x) * b.y - I128(a.y) * b.x;
  }
  for (const auto& t : triangles) tiles += orient2d(points[t[0]], points[t[1]], points[t[2]]);
  if (polygon != tiles) {
    triangles.clear();
    return false;
  }
  Triangulation cdt(points, triangles);
  cdt.makeDelaunay();
  for (size_t p = rim_count; p < points.size(); ++p) cdt.insert(static_cast<int32_t>(p));
  return true;
}

}  // namespace vekmesh
