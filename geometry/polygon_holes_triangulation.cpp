// Ear clipping with bridged holes (see polygon_holes_triangulation.h). The
// polygon is one doubly linked ring of nodes; a bridge copies its two end
// nodes, so one point may stand at several nodes. The nodes that can spoil an
// ear (reflex, collinear, or standing where another node stands) are kept in a
// uniform grid, so that a candidate ear is tested only against those near it:
// a convex cap of thousands of points costs about its size.
#include "geometry/polygon_holes_triangulation.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>

#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace {

constexpr uint32_t kNone = 0xFFFFFFFFu;
constexpr int kMaxGridSide = 1024;

struct Node {
  uint32_t point;
  uint32_t prev;
  uint32_t next;
  uint8_t removed;
  uint8_t spoiler;   // may lie in an ear: reflex, collinear or repeated
  uint8_t repeated;  // another node of the ring stands at the same point
  uint8_t gridded;   // listed in the grid (else in the late list once spoiling)
};

bool samePlace(const PlanePoint& a, const PlanePoint& b) {
  return a[0] == b[0] && a[1] == b[1];
}

class EarClipper {
 public:
  EarClipper(const std::vector<PlanePoint>& points, std::vector<std::array<uint32_t, 3>>& out)
      : pts_(points), out_(out) {}

  // Links `ring` (repeats of an index in a row skipped); one of its nodes, or
  // kNone when fewer than three are left.
  uint32_t addRing(const std::vector<uint32_t>& ring) {
    const size_t first = nodes_.size();
    for (uint32_t p : ring) {
      // A point out of range or not finite cannot take part in any test.
      if (p >= pts_.size() || !std::isfinite(pts_[p][0]) || !std::isfinite(pts_[p][1])) continue;
      if (nodes_.size() > first && nodes_.back().point == p) continue;
      nodes_.push_back({p, kNone, kNone, 0, 0, 0, 0});
    }
    while (nodes_.size() > first + 1 && nodes_.back().point == nodes_[first].point)
      nodes_.pop_back();
    const size_t n = nodes_.size() - first;
    if (n < 3) {
      nodes_.resize(first);
      return kNone;
    }
    for (size_t k = 0; k < n; ++k) {
      nodes_[first + k].prev = static_cast<uint32_t>(first + (k + n - 1) % n);
      nodes_[first + k].next = static_cast<uint32_t>(first + (k + 1) % n);
    }
    return static_cast<uint32_t>(first);
  }

  double maxX(uint32_t ring) const {
    double x = -std::numeric_limits<double>::infinity();
    uint32_t k = ring;
    do {
      x = std::max(x, at(k)[0]);
      k = nodes_[k].next;
    } while (k != ring);
    return x;
  }

  // Joins the hole ring to the outer ring by two coincident edges from the
  // hole's rightmost node to a node of the outline it sees; false when no edge
  // of the outline lies to its right.
  bool bridge(uint32_t outer, uint32_t hole) {
    uint32_t m = hole;
    for (uint32_t k = nodes_[hole].next; k != hole; k = nodes_[k].next)
      if (at(k)[0] > at(m)[0] || (at(k)[0] == at(m)[0] && at(k)[1] < at(m)[1])) m = k;
    const uint32_t p = visibleNode(outer, m);
    if (p == kNone) return false;
    split(p, m);
    return true;
  }

  // Cuts the ring through `start` into triangles; false when some had to be
  // forced.
  bool clip(uint32_t start) {
    std::vector<uint32_t> ring;
    uint32_t k = start;
    do {
      ring.push_back(k);
      k = nodes_[k].next;
    } while (k != start && ring.size() <= nodes_.size());
    markRepeated(ring);
    for (uint32_t r : ring) updateSpoiler(r);
    buildGrid(ring);

    bool clean = true;
    size_t remaining = ring.size();
    uint32_t i = start;
    for (uint32_t r : ring)
      if (!nodes_[r].removed) i = dropSpikes({r}, remaining);
    size_t misses = 0;
    while (remaining > 3) {
      if (isEar(i)) {
        i = cut(i, remaining);
        misses = 0;
        continue;
      }
      i = nodes_[i].next;
      if (++misses < remaining) continue;
      // A full lap without an ear: the rings cross, overlap or touch at points
      // of different indices. Cut a corner anyway, so that the triangles
      // still close the border.
      clean = false;
      const uint32_t forced = forcedCorner(i);
      if (forced == kNone) return false;
      i = cut(forced, remaining);
      misses = 0;
    }
    if (remaining < 3) return clean;  // what was left cancelled out
    const uint32_t p = nodes_[i].prev, q = nodes_[i].next;
    if (!distinctPoints(p, i, q)) return false;
    if (orient(p, i, q) <= 0) clean = false;
    out_.push_back({nodes_[p].point, nodes_[i].point, nodes_[q].point});
    return clean;
  }

 private:
  const PlanePoint& at(uint32_t n) const { return pts_[nodes_[n].point]; }
  int orient(uint32_t a, uint32_t b, uint32_t c) const {
    return exact::orient2d(at(a).data(), at(b).data(), at(c).data());
  }
  bool distinctPoints(uint32_t a, uint32_t b, uint32_t c) const {
    const uint32_t x = nodes_[a].point, y = nodes_[b].point, z = nodes_[c].point;
    return x != y && y != z && x != z;
  }

  // Whether the direction from node a to point b lies inside the polygon's
  // angle at a (closed on the convex side).
  bool locallyInside(uint32_t a, const PlanePoint& b) const {
    const PlanePoint& pa = at(a);
    const PlanePoint& prev = at(nodes_[a].prev);
    const PlanePoint& next = at(nodes_[a].next);
    if (exact::orient2d(prev.data(), pa.data(), next.data()) > 0)
      return exact::orient2d(pa.data(), next.data(), b.data()) >= 0 &&
             exact::orient2d(pa.data(), b.data(), prev.data()) >= 0;
    return exact::orient2d(pa.data(), b.data(), prev.data()) > 0 ||
           exact::orient2d(pa.data(), next.data(), b.data()) > 0;
  }

  // Eberly's choice: the nearest edge hit by the ray from m towards +x, its
  // end further right, or, when reflex nodes lie in the triangle between m,
  // the hit and that end, the one of them closest in angle to the ray.
  uint32_t visibleNode(uint32_t outer, uint32_t m) const {
    const PlanePoint pm = at(m);
    double best_x = std::numeric_limits<double>::infinity();
    uint32_t edge = kNone;
    uint32_t a = outer;
    do {
      const uint32_t b = nodes_[a].next;
      const PlanePoint &pa = at(a), &pb = at(b);
      // Edges running upwards: the outline is counter-clockwise, so those
      // right of an inner point have the inside on their left.
      if (pa[1] <= pm[1] && pm[1] <= pb[1] && pa[1] < pb[1]) {
        const double x = pa[0] + (pm[1] - pa[1]) * (pb[0] - pa[0]) / (pb[1] - pa[1]);
        if (x >= pm[0] && x < best_x) {
          best_x = x;
          edge = a;
        }
      }
      a = b;
    } while (a != outer);
    if (edge == kNone) return kNone;
    const uint32_t ea = edge, eb = nodes_[edge].next;
    const PlanePoint hit = {best_x, pm[1]};
    uint32_t p;
    if (samePlace(at(ea), hit))
      p = ea;
    else if (samePlace(at(eb), hit))
      p = eb;
    else
      p = at(ea)[0] > at(eb)[0] ? ea : eb;

    if (!samePlace(at(p), hit)) {
      const PlanePoint& pp = at(p);
      uint32_t best = kNone;
      double best_tan = std::numeric_limits<double>::infinity(), best_dx = best_tan;
      uint32_t r = outer;
      do {
        const PlanePoint& pr = at(r);
        if (r != p && !samePlace(pr, pp) && orient(nodes_[r].prev, r, nodes_[r].next) <= 0 &&
            inClosedTriangle(pm, hit, pp, pr) && locallyInside(r, pm)) {
          const double dx = pr[0] - pm[0];
          const double tan = std::fabs(pr[1] - pm[1]) / dx;
          if (dx > 0.0 && (tan < best_tan || (tan == best_tan && dx < best_dx))) {
            best = r;
            best_tan = tan;
            best_dx = dx;
          }
        }
        r = nodes_[r].next;
      } while (r != outer);
      if (best != kNone) p = best;
    }
    // Several nodes may stand at that point (earlier bridges, touching
    // outlines): take one whose angle holds the bridge.
    const PlanePoint target = at(p);
    uint32_t k = outer;
    do {
      if (samePlace(at(k), target) && locallyInside(k, pm)) return k;
      k = nodes_[k].next;
    } while (k != outer);
    return p;
  }

  // Either orientation of the triangle a, b, c; closed.
  static bool inClosedTriangle(const PlanePoint& a, const PlanePoint& b, const PlanePoint& c,
                               const PlanePoint& p) {
    const int o1 = exact::orient2d(a.data(), b.data(), p.data());
    const int o2 = exact::orient2d(b.data(), c.data(), p.data());
    const int o3 = exact::orient2d(c.data(), a.data(), p.data());
    return (o1 >= 0 && o2 >= 0 && o3 >= 0) || (o1 <= 0 && o2 <= 0 && o3 <= 0);
  }

  // Links a -> b and the copies b' -> a' (earcut's split): the ring runs
  // ... a, b, (b's ring), b', a', (a's old successors) ...
  void split(uint32_t a, uint32_t b) {
    const uint32_t a2 = static_cast<uint32_t>(nodes_.size());
    const uint32_t b2 = a2 + 1;
    nodes_.push_back({nodes_[a].point, kNone, kNone, 0, 0, 0, 0});
    nodes_.push_back({nodes_[b].point, kNone, kNone, 0, 0, 0, 0});
    const uint32_t an = nodes_[a].next, bp = nodes_[b].prev;
    nodes_[a].next = b;
    nodes_[b].prev = a;
    nodes_[a2].next = an;
    nodes_[an].prev = a2;
    nodes_[b2].next = a2;
    nodes_[a2].prev = b2;
    nodes_[bp].next = b2;
    nodes_[b2].prev = bp;
  }

  void markRepeated(const std::vector<uint32_t>& ring) {
    std::vector<uint32_t> order = ring;
    std::sort(order.begin(), order.end(), [this](uint32_t x, uint32_t y) {
      const PlanePoint &a = at(x), &b = at(y);
      return a[0] < b[0] || (a[0] == b[0] && a[1] < b[1]);
    });
    for (size_t k = 1; k < order.size(); ++k)
      if (samePlace(at(order[k - 1]), at(order[k])))
        nodes_[order[k - 1]].repeated = nodes_[order[k]].repeated = 1;
  }

  void updateSpoiler(uint32_t k) {
    Node& n = nodes_[k];
    n.spoiler = n.repeated || orient(n.prev, k, n.next) <= 0;
    if (n.spoiler && !n.gridded) {
      n.gridded = 1;
      late_.push_back(k);
    }
  }

  int cellAxis(double v, double lo, double scale) const {
    const double c = (v - lo) * scale;
    if (!(c >= 0.0)) return 0;
    return c >= grid_side_ ? grid_side_ - 1 : static_cast<int>(c);
  }

  void buildGrid(const std::vector<uint32_t>& ring) {
    std::vector<uint32_t> spoilers;
    lo_ = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
    PlanePoint hi = {-lo_[0], -lo_[1]};
    for (uint32_t k : ring) {
      if (nodes_[k].spoiler) spoilers.push_back(k);
      for (int a = 0; a < 2; ++a)
        if (std::isfinite(at(k)[a])) {
          lo_[a] = std::min(lo_[a], at(k)[a]);
          hi[a] = std::max(hi[a], at(k)[a]);
        }
    }
    grid_side_ = 1;
    while (grid_side_ < kMaxGridSide && size_t(grid_side_) * size_t(grid_side_) < spoilers.size())
      grid_side_ *= 2;
    for (int a = 0; a < 2; ++a) {
      const double span = hi[a] - lo_[a];
      scale_[a] = span > 0.0 && std::isfinite(span) ? grid_side_ / span : 0.0;
      if (!std::isfinite(lo_[a])) lo_[a] = 0.0;
    }
    const size_t cells = size_t(grid_side_) * size_t(grid_side_);
    cell_start_.assign(cells + 1, 0);
    for (uint32_t k : spoilers) ++cell_start_[cellOf(at(k)) + 1];
    for (size_t c = 0; c < cells; ++c) cell_start_[c + 1] += cell_start_[c];
    cell_items_.assign(spoilers.size(), 0);
    std::vector<uint32_t> fill(cell_start_.begin(), cell_start_.end() - 1);
    for (uint32_t k : spoilers) {
      cell_items_[fill[cellOf(at(k))]++] = k;
      nodes_[k].gridded = 1;
    }
  }

  size_t cellOf(const PlanePoint& p) const {
    return size_t(cellAxis(p[1], lo_[1], scale_[1])) * size_t(grid_side_) +
           size_t(cellAxis(p[0], lo_[0], scale_[0]));
  }

  // Whether an edge of node j, standing at corner x of the ear (whose other
  // corners are y next and z previous, counter-clockwise), enters the ear.
  bool entersCorner(uint32_t j, uint32_t x, uint32_t y, uint32_t z) const {
    for (uint32_t w : {nodes_[j].prev, nodes_[j].next})
      if (orient(x, y, w) > 0 && orient(x, w, z) > 0) return true;
    return false;
  }

  bool spoils(uint32_t j, uint32_t p, uint32_t i, uint32_t q) const {
    const Node& n = nodes_[j];
    if (n.removed || !n.spoiler || j == p || j == i || j == q) return false;
    const PlanePoint& pj = at(j);
    if (samePlace(pj, at(p))) return entersCorner(j, p, i, q);
    if (samePlace(pj, at(i))) return entersCorner(j, i, q, p);
    if (samePlace(pj, at(q))) return entersCorner(j, q, p, i);
    return orient(p, i, j) >= 0 && orient(i, q, j) >= 0 && orient(q, p, j) >= 0;
  }

  bool isEar(uint32_t i) const {
    const uint32_t p = nodes_[i].prev, q = nodes_[i].next;
    if (orient(p, i, q) <= 0 || !distinctPoints(p, i, q)) return false;
    const PlanePoint &a = at(p), &b = at(i), &c = at(q);
    const PlanePoint lo = {std::min({a[0], b[0], c[0]}), std::min({a[1], b[1], c[1]})};
    const PlanePoint hi = {std::max({a[0], b[0], c[0]}), std::max({a[1], b[1], c[1]})};
    const int x0 = cellAxis(lo[0], lo_[0], scale_[0]), x1 = cellAxis(hi[0], lo_[0], scale_[0]);
    const int y0 = cellAxis(lo[1], lo_[1], scale_[1]), y1 = cellAxis(hi[1], lo_[1], scale_[1]);
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) {
        const size_t cell = size_t(y) * size_t(grid_side_) + size_t(x);
        for (uint32_t s = cell_start_[cell]; s < cell_start_[cell + 1]; ++s) {
          const uint32_t j = cell_items_[s];
          const PlanePoint& pj = at(j);
          if (pj[0] < lo[0] || pj[0] > hi[0] || pj[1] < lo[1] || pj[1] > hi[1]) continue;
          if (spoils(j, p, i, q)) return false;
        }
      }
    for (uint32_t j : late_)
      if (spoils(j, p, i, q)) return false;
    return true;
  }

  // The corner to cut when no ear is left: one of no area if any (it closes
  // a sliver and overlaps nothing), else a convex one, else any, always of
  // three different points.
  uint32_t forcedCorner(uint32_t from) const {
    uint32_t convex = kNone, any = kNone;
    uint32_t k = from;
    do {
      const uint32_t p = nodes_[k].prev, q = nodes_[k].next;
      if (distinctPoints(p, k, q)) {
        const int o = orient(p, k, q);
        if (o == 0) return k;
        if (o > 0 && convex == kNone) convex = k;
        if (any == kNone) any = k;
      }
      k = nodes_[k].next;
    } while (k != from);
    return convex != kNone ? convex : any;
  }

  void unlink(uint32_t i) {
    const uint32_t p = nodes_[i].prev, q = nodes_[i].next;
    nodes_[p].next = q;
    nodes_[q].prev = p;
    nodes_[i].removed = 1;
  }

  // Drops spikes a, b, a (by point) about the given nodes: their two edges run
  // both ways between the same points and cancel, which is what is left once
  // the area on both sides of a bridge or of a touching point is cut away.
  // Returns a live node (the first given one if nothing was dropped).
  uint32_t dropSpikes(std::initializer_list<uint32_t> around, size_t& remaining) {
    work_.assign(around.begin(), around.end());
    uint32_t alive = *around.begin();
    while (!work_.empty() && remaining >= 3) {
      const uint32_t x = work_.back();
      work_.pop_back();
      if (nodes_[x].removed) continue;
      for (uint32_t tip : {x, nodes_[x].prev, nodes_[x].next}) {
        const uint32_t p = nodes_[tip].prev, q = nodes_[tip].next;
        if (p == q || nodes_[p].point != nodes_[q].point) continue;
        unlink(tip);
        unlink(q);
        remaining -= 2;
        updateSpoiler(p);
        updateSpoiler(nodes_[p].next);
        work_.push_back(p);
        work_.push_back(nodes_[p].next);
        alive = p;
        break;
      }
    }
    return nodes_[alive].removed ? nodes_[*around.begin()].next : alive;
  }

  // Cuts the ear at i; returns a live node next to it to go on from.
  uint32_t cut(uint32_t i, size_t& remaining) {
    const uint32_t p = nodes_[i].prev, q = nodes_[i].next;
    out_.push_back({nodes_[p].point, nodes_[i].point, nodes_[q].point});
    unlink(i);
    --remaining;
    updateSpoiler(p);
    updateSpoiler(q);
    return dropSpikes({p, q}, remaining);
  }

  const std::vector<PlanePoint>& pts_;
  std::vector<std::array<uint32_t, 3>>& out_;
  std::vector<Node> nodes_;
  std::vector<uint32_t> late_;
  std::vector<uint32_t> work_;
  std::vector<uint32_t> cell_start_, cell_items_;
  PlanePoint lo_{0.0, 0.0};
  PlanePoint scale_{0.0, 0.0};
  int grid_side_ = 1;
};

}  // namespace

bool triangulatePolygonWithHoles(const std::vector<PlanePoint>& points,
                                 const std::vector<std::vector<uint32_t>>& rings,
                                 std::vector<std::array<uint32_t, 3>>& triangles) {
  if (rings.empty()) return true;
  EarClipper clipper(points, triangles);
  const uint32_t outer = clipper.addRing(rings[0]);
  if (outer == kNone) return true;
  bool clean = true;
  // Rightmost holes first: each bridge may then run to a hole joined before.
  std::vector<std::pair<double, uint32_t>> holes;
  for (size_t r = 1; r < rings.size(); ++r) {
    const uint32_t h = clipper.addRing(rings[r]);
    if (h != kNone) holes.push_back({clipper.maxX(h), h});
  }
  std::sort(holes.begin(), holes.end(),
            [](const auto& a, const auto& b) { return a.first > b.first; });
  for (const auto& hole : holes)
    if (!clipper.bridge(outer, hole.second)) clean = false;
  return clipper.clip(outer) && clean;
}

}  // namespace vekmesh
