// Quickhull: a tetrahedron of far-apart points, every other point in the
// outside list of one face it lies above, then, while some face has an
// outside list, its furthest point is added: the faces it sees go, the
// horizon around them is joined to the point, and the seen faces' outside
// points move to the first new face they lie above (a point above a seen
// face that is still outside the grown hull lies above a new face, so no old
// face needs testing). Faces of the hull under construction are recycled
// through a free list, so the working set stays near the hull's own size.
#include "geometry/convex_hull_3d.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>

#include "geometry/convex_hull_2d.h"
#include "geometry/exact_predicates.h"

namespace vekmesh {
namespace quickhull {
namespace {

constexpr int32_t kNone = -1;
// An outside list longer than this is split before any short one.
constexpr int32_t kCrowded = 64;

struct HullFace {
  int32_t v[3];
  int32_t adj[3];  // face across the edge v[i] -> v[i + 1]
  // (v1 - v0) x (v2 - v0), each component computed as the exact predicate
  // computes it, and the sums of the magnitudes of its two products: with
  // them the predicate's floating-point filter runs without the cross product.
  Vec3d normal;
  Vec3d magnitude;
  int32_t outside;  // head of the outside list, kNone when empty
  int32_t outside_count;
  int32_t furthest;
  double furthest_distance;
  uint32_t mark;  // round in which the face was last classified
  bool alive;
  bool seen;  // classified as seen (true) or not (false) in round `mark`
};

bool finitePoint(const Vec3d& p) {
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

bool collinear(const Vec3d& a, const Vec3d& b, const Vec3d& c) {
  // Collinear in space exactly when collinear in all three axis projections.
  const double axy[2] = {a[0], a[1]}, bxy[2] = {b[0], b[1]}, cxy[2] = {c[0], c[1]};
  const double ayz[2] = {a[1], a[2]}, byz[2] = {b[1], b[2]}, cyz[2] = {c[1], c[2]};
  const double azx[2] = {a[2], a[0]}, bzx[2] = {b[2], b[0]}, czx[2] = {c[2], c[0]};
  return exact::orient2d(axy, bxy, cxy) == 0 && exact::orient2d(ayz, byz, cyz) == 0 &&
         exact::orient2d(azx, bzx, czx) == 0;
}

class Builder {
 public:
  Builder(const std::vector<Vec3d>& points, const std::function<void()>& poll)
      : p_(points), poll_(poll), next_(points.size(), kNone), start_face_(points.size(), kNone) {}

  Hull run() {
    std::vector<int32_t> finite;
    finite.reserve(p_.size());
    for (size_t i = 0; i < p_.size(); ++i)
      if (finitePoint(p_[i])) finite.push_back(static_cast<int32_t>(i));
    if (finite.empty()) return {};

    int32_t simplex[4];
    const int found = initialSimplex(finite, simplex);
    if (found < 3) {
      Hull hull;
      for (int i = 0; i < found; ++i) addVertex(hull, simplex[i]);
      return hull;
    }
    if (found == 3) return planarHull(finite, simplex);

    buildTetrahedron(simplex);
    assignInitial(finite, simplex);
    // Faces with long outside lists first, oldest first, each split by its
    // own furthest point, which leaves few points to move again; then the
    // newest small face, which keeps the work where the last point went.
    while (!crowded_.empty() || !pending_.empty()) {
      int32_t f;
      if (!crowded_.empty()) {
        f = crowded_.front();
        crowded_.pop_front();
      } else {
        f = pending_.back();
        pending_.pop_back();
      }
      if (!faces_[size_t(f)].alive || faces_[size_t(f)].outside == kNone) continue;
      addPoint(f);
      if (poll_ && ++added_ % kPollEvery == 0) poll_();
    }
    return collect();
  }

 private:
  const Vec3d& point(int32_t i) const { return p_[size_t(i)]; }

  // How far above `f` the point q lies, in units of the face's normal length,
  // when it lies above; otherwise 0 or a negative value. The sign is that of
  // the exact predicate: the same products and error bound decide, and the
  // exact evaluation takes over where they cannot.
  double height(const HullFace& f, int32_t q) const {
    const Vec3d& a = point(f.v[0]);
    const Vec3d& p = point(q);
    const double wx = p[0] - a[0], wy = p[1] - a[1], wz = p[2] - a[2];
    const double det = wx * f.normal[0] + wy * f.normal[1] + wz * f.normal[2];
    const double permanent = std::fabs(wx) * f.magnitude[0] + std::fabs(wy) * f.magnitude[1] +
                             std::fabs(wz) * f.magnitude[2];
    const double bound = exact::kOrient3dBound * permanent;
    if (det > bound || -det > bound) return det;
    const int sign =
        exact::orient3dExact(a.data(), point(f.v[1]).data(), point(f.v[2]).data(), p.data());
    return sign > 0 ? std::max(det, std::numeric_limits<double>::min()) : (sign < 0 ? -1.0 : 0.0);
  }

  bool above(const HullFace& f, int32_t q) const { return height(f, q) > 0.0; }

  // Up to four points spanning as much as possible: returns how many are
  // independent (1: all equal, 2: all on a line, 3: all on a plane).
  int initialSimplex(const std::vector<int32_t>& finite, int32_t* s) const {
    int32_t extremes[6];
    for (int k = 0; k < 3; ++k) {
      extremes[2 * k] = extremes[2 * k + 1] = finite[0];
      for (const int32_t i : finite) {
        if (point(i)[size_t(k)] < point(extremes[2 * k])[size_t(k)]) extremes[2 * k] = i;
        if (point(i)[size_t(k)] > point(extremes[2 * k + 1])[size_t(k)]) extremes[2 * k + 1] = i;
      }
    }
    double widest = -1.0;
    for (int i = 0; i < 6; ++i)
      for (int j = i + 1; j < 6; ++j) {
        const Vec3d d = sub(point(extremes[i]), point(extremes[j]));
        if (dot(d, d) > widest) {
          widest = dot(d, d);
          s[0] = extremes[i];
          s[1] = extremes[j];
        }
      }
    if (point(s[0]) == point(s[1])) return 1;

    const Vec3d axis = sub(point(s[1]), point(s[0]));
    double best = -1.0;
    for (const int32_t i : finite) {
      const Vec3d c = cross(axis, sub(point(i), point(s[0])));
      if (dot(c, c) > best) best = dot(c, c), s[2] = i;
    }
    if (collinear(point(s[0]), point(s[1]), point(s[2]))) {
      const auto off = std::find_if(finite.begin(), finite.end(), [&](int32_t i) {
        return !collinear(point(s[0]), point(s[1]), point(i));
      });
      if (off == finite.end()) return 2;
      s[2] = *off;
    }

    best = -1.0;
    for (const int32_t i : finite) {
      const double v = std::fabs(exact::orient3dValue(point(s[0]).data(), point(s[1]).data(),
                                                      point(s[2]).data(), point(i).data()));
      if (v > best) best = v, s[3] = i;
    }
    const auto offPlane = [&](int32_t i) {
      return exact::orient3d(point(s[0]).data(), point(s[1]).data(), point(s[2]).data(),
                             point(i).data()) != 0;
    };
    if (!offPlane(s[3])) {
      const auto off = std::find_if(finite.begin(), finite.end(), offPlane);
      if (off == finite.end()) return 3;
      s[3] = *off;
    }
    return 4;
  }

  int32_t newFace(int32_t a, int32_t b, int32_t c) {
    int32_t id;
    if (!free_.empty()) {
      id = free_.back();
      free_.pop_back();
    } else {
      id = static_cast<int32_t>(faces_.size());
      faces_.emplace_back();
    }
    HullFace& f = faces_[size_t(id)];
    f.v[0] = a, f.v[1] = b, f.v[2] = c;
    f.adj[0] = f.adj[1] = f.adj[2] = kNone;
    const Vec3d u = sub(point(b), point(a)), w = sub(point(c), point(a));
    f.normal = cross(u, w);
    f.magnitude = {std::fabs(u[1] * w[2]) + std::fabs(u[2] * w[1]),
                   std::fabs(u[2] * w[0]) + std::fabs(u[0] * w[2]),
                   std::fabs(u[0] * w[1]) + std::fabs(u[1] * w[0])};
    f.outside = f.furthest = kNone;
    f.outside_count = 0;
    f.furthest_distance = 0.0;
    f.mark = 0;
    f.alive = true;
    f.seen = false;
    return id;
  }

  // Adds q, which lies `d` above face f, to the face's outside list.
  void addOutside(int32_t f, int32_t q, double d) {
    HullFace& face = faces_[size_t(f)];
    ++face.outside_count;
    if (face.outside == kNone || d > face.furthest_distance) {
      face.furthest = q;
      face.furthest_distance = d;
    }
    next_[size_t(q)] = face.outside;
    face.outside = q;
  }

  void buildTetrahedron(int32_t* s) {
    // Wind the base so that the fourth point lies below it.
    if (exact::orient3d(point(s[0]).data(), point(s[1]).data(), point(s[2]).data(),
                        point(s[3]).data()) > 0)
      std::swap(s[1], s[2]);
    const int32_t a = s[0], b = s[1], c = s[2], d = s[3];
    const int32_t f0 = newFace(a, b, c), f1 = newFace(b, a, d), f2 = newFace(c, b, d),
                  f3 = newFace(a, c, d);
    const auto link = [&](int32_t f, int32_t e0, int32_t e1, int32_t e2) {
      faces_[size_t(f)].adj[0] = e0, faces_[size_t(f)].adj[1] = e1, faces_[size_t(f)].adj[2] = e2;
    };
    link(f0, f1, f2, f3);  // a-b, b-c, c-a
    link(f1, f0, f3, f2);  // b-a, a-d, d-b
    link(f2, f0, f1, f3);  // c-b, b-d, d-c
    link(f3, f0, f2, f1);  // a-c, c-d, d-a
  }

  void assignInitial(const std::vector<int32_t>& finite, const int32_t* s) {
    // Which face each point lies above is independent per point; the lists
    // are then linked in input order.
    std::vector<int8_t> owner(finite.size(), -1);
    std::vector<double> heights(finite.size());
    const int64_t n = static_cast<int64_t>(finite.size());
#pragma omp parallel for schedule(static) if (n > 16384)
    for (int64_t i = 0; i < n; ++i) {
      const int32_t q = finite[size_t(i)];
      if (q == s[0] || q == s[1] || q == s[2] || q == s[3]) continue;
      for (int8_t f = 0; f < 4; ++f) {
        const double h = height(faces_[size_t(f)], q);
        if (h > 0.0) {
          owner[size_t(i)] = f;
          heights[size_t(i)] = h;
          break;
        }
      }
    }
    for (size_t i = finite.size(); i-- > 0;)
      if (owner[i] >= 0) addOutside(owner[i], finite[i], heights[i]);
    for (int32_t f = 0; f < 4; ++f) queue(f);
  }

  void addPoint(int32_t start) {
    const int32_t p = faces_[size_t(start)].furthest;
    ++round_;
    // The faces p sees, found from the one whose list it heads; the horizon
    // is every edge from a seen face to a face not seen.
    seen_.clear();
    horizon_.clear();
    seen_.push_back(start);
    classify(start, true);
    for (size_t k = 0; k < seen_.size(); ++k) {
      const int32_t f = seen_[k];
      for (int e = 0; e < 3; ++e) {
        const int32_t g = faces_[size_t(f)].adj[e];
        HullFace& other = faces_[size_t(g)];
        if (other.mark != round_) {
          classify(g, above(other, p));
          if (other.seen) seen_.push_back(g);
        }
        if (!other.seen) horizon_.push_back({f, e});
      }
    }

    // One new face per horizon edge, wound like the seen face it replaces.
    created_.clear();
    for (const auto& [f, e] : horizon_) {
      const int32_t a = faces_[size_t(f)].v[e], b = faces_[size_t(f)].v[(e + 1) % 3];
      const int32_t behind = faces_[size_t(f)].adj[e];
      const int32_t nf = newFace(a, b, p);
      faces_[size_t(nf)].adj[0] = behind;
      int32_t* back = faces_[size_t(behind)].adj;
      for (int k = 0; k < 3; ++k)
        if (back[k] == f) back[k] = nf;
      start_face_[size_t(a)] = nf;
      created_.push_back(nf);
    }
    for (const int32_t nf : created_) {
      const int32_t m = start_face_[size_t(faces_[size_t(nf)].v[1])];
      faces_[size_t(nf)].adj[1] = m;
      faces_[size_t(m)].adj[2] = nf;
    }

    // The seen faces' outside points move to the first new face they lie
    // above, or are inside now.
    for (const int32_t f : seen_) {
      HullFace& gone = faces_[size_t(f)];
      for (int32_t q = gone.outside; q != kNone;) {
        const int32_t following = next_[size_t(q)];
        if (q != p)
          for (const int32_t nf : created_) {
            const double h = height(faces_[size_t(nf)], q);
            if (h > 0.0) {
              addOutside(nf, q, h);
              break;
            }
          }
        q = following;
      }
      gone.outside = kNone;
      gone.outside_count = 0;
      gone.alive = false;
    }
    // Released only now: the seen faces' lists were read after the new
    // faces were made.
    free_.insert(free_.end(), seen_.begin(), seen_.end());
    for (const int32_t nf : created_) queue(nf);
  }

  void queue(int32_t f) {
    const int32_t count = faces_[size_t(f)].outside_count;
    if (count > kCrowded)
      crowded_.push_back(f);
    else if (count > 0)
      pending_.push_back(f);
  }

  void classify(int32_t f, bool seen) {
    faces_[size_t(f)].mark = round_;
    faces_[size_t(f)].seen = seen;
  }

  Hull planarHull(const std::vector<int32_t>& finite, const int32_t* s) const {
    // Exactly coplanar points keep their orientation under projection along
    // an axis the plane's normal is not perpendicular to; the order of the
    // kept coordinates makes counter-clockwise mean facing +axis.
    const Vec3d n = cross(sub(point(s[1]), point(s[0])), sub(point(s[2]), point(s[0])));
    size_t k = 0;
    for (size_t i = 1; i < 3; ++i)
      if (std::fabs(n[i]) > std::fabs(n[k])) k = i;
    const size_t u = (k + 1) % 3, w = (k + 2) % 3;
    std::vector<Point2d> flat(finite.size());
    for (size_t i = 0; i < finite.size(); ++i) flat[i] = {point(finite[i])[u], point(finite[i])[w]};
    const std::vector<int32_t> ring = convexHull2d(flat);

    Hull hull;
    hull.planar = true;
    for (const int32_t i : ring) addVertex(hull, finite[size_t(i)]);
    const int32_t m = static_cast<int32_t>(ring.size());
    // The back is fanned from the next corner, so that no diagonal is shared
    // by the two sides and the two-sided hull stays a closed two-manifold.
    for (int32_t i = 1; i + 1 < m; ++i) hull.triangles.push_back({0, i, i + 1});
    for (int32_t i = 1; i + 1 < m; ++i) hull.triangles.push_back({1, (i + 2) % m, i + 1});
    return hull;
  }

  void addVertex(Hull& hull, int32_t i) const {
    hull.vertices.push_back(point(i));
    hull.source.push_back(i);
  }

  Hull collect() {
    Hull hull;
    std::vector<int32_t>& number = start_face_;  // reused: point -> hull vertex
    std::fill(number.begin(), number.end(), kNone);
    size_t live = 0;
    for (const HullFace& f : faces_) live += f.alive;
    hull.triangles.reserve(live);
    for (const HullFace& f : faces_) {
      if (!f.alive) continue;
      std::array<int32_t, 3> t;
      for (int k = 0; k < 3; ++k) {
        int32_t& id = number[size_t(f.v[k])];
        if (id == kNone) {
          id = static_cast<int32_t>(hull.source.size());
          hull.source.push_back(f.v[k]);
        }
        t[size_t(k)] = id;
      }
      hull.triangles.push_back(t);
    }
    hull.vertices.resize(hull.source.size());
    const int64_t count = static_cast<int64_t>(hull.source.size());
#pragma omp parallel for schedule(static) if (count > 16384)
    for (int64_t i = 0; i < count; ++i) hull.vertices[size_t(i)] = point(hull.source[size_t(i)]);
    return hull;
  }

  const std::vector<Vec3d>& p_;
  const std::function<void()>& poll_;
  std::vector<HullFace> faces_;
  std::vector<int32_t> free_;
  std::deque<int32_t> crowded_;   // faces that had long outside lists
  std::vector<int32_t> pending_;  // faces that had short outside lists
  std::vector<int32_t> next_;     // outside lists, linked through the points
  std::vector<int32_t> start_face_;
  std::vector<int32_t> seen_;
  std::vector<std::pair<int32_t, int>> horizon_;
  std::vector<int32_t> created_;
  uint32_t round_ = 0;
  size_t added_ = 0;  // points added to the hull, for the poll
};

}  // namespace

Hull computeHull(const std::vector<Vec3d>& points, const std::function<void()>& poll) {
  if (points.size() >= size_t(INT32_MAX)) return {};
  return Builder(points, poll).run();
}

}  // namespace quickhull
}  // namespace vekmesh
