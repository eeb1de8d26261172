// Shell intersection search: strict overlap of shell boxes found through an
// R-tree of the shell boxes, then, per overlapping pair, entries of one shell
// queried against a bulk-loaded R-tree (Boost.Geometry, packed) of the other,
// down to face boxes and the exact triangle test. A pair stops at its first hit.
#include "repair/shell_intersection.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <iterator>
#include <limits>
#include <utility>

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include "mesh/face_bits.h"
#include "repair/tri_tri_intersection.h"

namespace vekmesh {
namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

// Limits on the work hostile input can demand (see the header). Real models
// stay far below both: shells overlap a handful of neighbours, and face boxes
// of disjoint shells meet only along the places where the shells come close.
constexpr size_t kMaxShellPairs = size_t{1} << 24;
constexpr uint64_t kMaxBoxComparisons = uint64_t{1} << 30;

// Shells below this many faces are indexed face by face; a larger shell of n
// faces by runs of int(n * 0.0001 + 0.5) consecutive faces of its list (about
// 10000 runs). Faces of a shell are listed breadth-first, so a run is a
// compact patch and its box stays tight.
constexpr size_t kRunThreshold = 10000;

struct FloatBox {
  float lo[3];
  float hi[3];
};

// An empty box meets nothing, not even itself.
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr FloatBox kEmptyBox = {{kInf, kInf, kInf}, {-kInf, -kInf, -kInf}};

inline bool meet(const FloatBox& a, const FloatBox& b) {
  return a.lo[0] <= b.hi[0] && b.lo[0] <= a.hi[0] && a.lo[1] <= b.hi[1] && b.lo[1] <= a.hi[1] &&
         a.lo[2] <= b.hi[2] && b.lo[2] <= a.hi[2];
}

inline void widen(FloatBox& box, const FloatBox& by) {
  for (int d = 0; d < 3; ++d) {
    box.lo[d] = std::min(box.lo[d], by.lo[d]);
    box.hi[d] = std::max(box.hi[d], by.hi[d]);
  }
}

// Box of one face; false (and an empty box) when a coordinate is not finite.
bool faceBox(const SubMesh& mesh, int32_t f, FloatBox& box) {
  const Face& face = mesh.faces[f];
  const auto& a = mesh.vertices[face.v[0]].position;
  const auto& b = mesh.vertices[face.v[1]].position;
  const auto& c = mesh.vertices[face.v[2]].position;
  for (int d = 0; d < 3; ++d) {
    if (!std::isfinite(a[d]) || !std::isfinite(b[d]) || !std::isfinite(c[d])) {
      box = kEmptyBox;
      return false;
    }
    box.lo[d] = std::min(a[d], std::min(b[d], c[d]));
    box.hi[d] = std::max(a[d], std::max(b[d], c[d]));
  }
  return true;
}

struct Triangle {
  Vec3d p[3];
};

Triangle corners(const SubMesh& mesh, int32_t f) {
  const Face& face = mesh.faces[f];
  Triangle t;
  for (int c = 0; c < 3; ++c) {
    const auto& pos = mesh.vertices[face.v[c]].position;
    t.p[c] = {pos[0], pos[1], pos[2]};
  }
  return t;
}

// --- per-shell index -------------------------------------------------------------

using RPoint = bg::model::point<float, 3, bg::cs::cartesian>;
using RBox = bg::model::box<RPoint>;
using REntry = std::pair<RBox, uint32_t>;
using RTree = bgi::rtree<REntry, bgi::quadratic<16>>;

inline RBox toRBox(const FloatBox& b) {
  return RBox(RPoint(b.lo[0], b.lo[1], b.lo[2]), RPoint(b.hi[0], b.hi[1], b.hi[2]));
}

// Entry e of a shell covers positions [e * step, (e + 1) * step) of its face list.
struct ShellIndex {
  uint32_t step = 1;
  std::vector<FloatBox> entries;
  RTree tree;
  bool hasEntries = false;
  bool hasTree = false;
};

void buildEntries(const SubMesh& mesh, const std::vector<int32_t>& shell, ShellIndex& index) {
  const size_t n = shell.size();
  index.step = n < kRunThreshold ? 1u : static_cast<uint32_t>(static_cast<double>(n) * 0.0001 + 0.5);
  index.entries.assign((n + index.step - 1) / index.step, kEmptyBox);
  for (size_t i = 0; i < n; ++i) {
    FloatBox box;
    if (faceBox(mesh, shell[i], box)) widen(index.entries[i / index.step], box);
  }
  index.hasEntries = true;
}

void buildTree(ShellIndex& index) {
  std::vector<REntry> values;
  values.reserve(index.entries.size());
  for (uint32_t e = 0; e < index.entries.size(); ++e)
    if (index.entries[e].lo[0] <= index.entries[e].hi[0])
      values.emplace_back(toRBox(index.entries[e]), e);
  index.tree = RTree(values.begin(), values.end());  // packed bulk load
  index.hasTree = true;
}

// --- one pair of shells -------------------------------------------------------------

// Reused buffers of one pair search.
struct Scratch {
  std::vector<REntry> hits;
  std::vector<FloatBox> boxes;       // faces of the current entry of the indexed shell
  std::vector<Triangle> triangles;   // their corners, filled on demand
  std::vector<uint8_t> loaded;
  uint64_t comparisons = 0;
};

struct ShellView {
  const std::vector<int32_t>* faces;
  const ShellIndex* index;
  size_t begin(uint32_t e) const { return size_t{e} * index->step; }
  size_t end(uint32_t e) const {
    return std::min(faces->size(), size_t{e + 1} * index->step);
  }
};

// Faces of entry ea of `a` against faces of entry eb of `b`.
bool entriesIntersect(const SubMesh& mesh, const ShellView& a, uint32_t ea, const ShellView& b,
                      uint32_t eb, Scratch& s) {
  const FloatBox& b_box = b.index->entries[eb];
  const size_t b_begin = b.begin(eb), b_count = b.end(eb) - b_begin;
  bool b_ready = false;
  for (size_t i = a.begin(ea); i < a.end(ea); ++i) {
    const int32_t fa = (*a.faces)[i];
    FloatBox a_box;
    if (!faceBox(mesh, fa, a_box) || !meet(a_box, b_box)) continue;
    if (!b_ready) {
      s.boxes.resize(b_count);
      s.triangles.resize(b_count);
      s.loaded.assign(b_count, 0);
      for (size_t j = 0; j < b_count; ++j) faceBox(mesh, (*b.faces)[b_begin + j], s.boxes[j]);
      b_ready = true;
    }
    s.comparisons += b_count;
    const Triangle ta = corners(mesh, fa);
    for (size_t j = 0; j < b_count; ++j) {
      if (!meet(a_box, s.boxes[j])) continue;
      if (!s.loaded[j]) {
        s.triangles[j] = corners(mesh, (*b.faces)[b_begin + j]);
        s.loaded[j] = 1;
      }
      const Triangle& tb = s.triangles[j];
      int coplanar = 0;
      Vec3d source, target;
      if (triTriIntersection(ta.p[0], ta.p[1], ta.p[2], tb.p[0], tb.p[1], tb.p[2], coplanar,
                             source, target))
        return true;
    }
  }
  return false;
}

// Entries of `a` inside the overlap of the two shell boxes, each queried
// against the tree of `b`. Any common point lies in both shell boxes, so
// entries outside the overlap cannot hold one.
bool shellsIntersect(const SubMesh& mesh, const ShellView& a, const ShellView& b,
                     const FloatBox& overlap, Scratch& s) {
  const std::vector<FloatBox>& entries = a.index->entries;
  for (uint32_t ea = 0; ea < entries.size(); ++ea) {
    if (s.comparisons > kMaxBoxComparisons) return false;
    if (!meet(entries[ea], overlap)) continue;
    s.hits.clear();
    b.index->tree.query(bgi::intersects(toRBox(entries[ea])), std::back_inserter(s.hits));
    for (const REntry& hit : s.hits)
      if (entriesIntersect(mesh, a, ea, b, hit.second, s)) return true;
  }
  return false;
}

// --- shell boxes ---------------------------------------------------------------------

struct ShellBox {
  double lo[3] = {1e6, 1e6, 1e6};
  double hi[3] = {-1e6, -1e6, -1e6};
  bool any = false;  // holds a face with finite coordinates
};

ShellBox shellBox(const SubMesh& mesh, const std::vector<int32_t>& shell) {
  ShellBox box;
  for (int32_t f : shell) {
    FloatBox fb;
    if (!faceBox(mesh, f, fb)) continue;
    box.any = true;
    for (int d = 0; d < 3; ++d) {
      box.lo[d] = std::min(box.lo[d], static_cast<double>(fb.lo[d]));
      box.hi[d] = std::max(box.hi[d], static_cast<double>(fb.hi[d]));
    }
  }
  return box;
}

// Strict on all six sides: boxes sharing only a face plane do not overlap.
inline bool overlapStrictly(const ShellBox& a, const ShellBox& b) {
  for (int d = 0; d < 3; ++d)
    if (!(a.lo[d] < b.hi[d] && b.lo[d] < a.hi[d])) return false;
  return true;
}

// The overlap of two shell boxes, widened outwards to floats so that it
// still holds every face point in both.
FloatBox overlapBox(const ShellBox& a, const ShellBox& b) {
  FloatBox o;
  for (int d = 0; d < 3; ++d) {
    const double lo = std::max(a.lo[d], b.lo[d]), hi = std::min(a.hi[d], b.hi[d]);
    o.lo[d] = std::nextafter(static_cast<float>(lo), -kInf);
    o.hi[d] = std::nextafter(static_cast<float>(hi), kInf);
  }
  return o;
}

using DPoint = bg::model::point<double, 3, bg::cs::cartesian>;
using DBox = bg::model::box<DPoint>;

// Pairs i < j of shells whose boxes overlap strictly, ordered by i then j.
std::vector<std::pair<int32_t, int32_t>> overlappingPairs(const std::vector<ShellBox>& boxes) {
  std::vector<std::pair<DBox, int32_t>> values;
  for (size_t i = 0; i < boxes.size(); ++i)
    if (boxes[i].any)
      values.emplace_back(DBox(DPoint(boxes[i].lo[0], boxes[i].lo[1], boxes[i].lo[2]),
                               DPoint(boxes[i].hi[0], boxes[i].hi[1], boxes[i].hi[2])),
                          static_cast<int32_t>(i));
  const bgi::rtree<std::pair<DBox, int32_t>, bgi::quadratic<16>> tree(values.begin(),
                                                                     values.end());
  std::vector<std::pair<int32_t, int32_t>> pairs;
  std::vector<std::pair<DBox, int32_t>> hits;
  std::vector<int32_t> partners;
  for (const auto& [box, i] : values) {
    hits.clear();
    tree.query(bgi::intersects(box), std::back_inserter(hits));
    partners.clear();
    for (const auto& hit : hits)
      if (hit.second > i && overlapStrictly(boxes[i], boxes[hit.second]))
        partners.push_back(hit.second);
    std::sort(partners.begin(), partners.end());
    for (int32_t j : partners) {
      if (pairs.size() >= kMaxShellPairs) return pairs;
      pairs.emplace_back(i, j);
    }
  }
  return pairs;
}

}  // namespace

ShellIntersections findIntersectingShells(const SubMesh& mesh) {
  const size_t shell_count = mesh.shells.size();
  ShellIntersections result;
  result.intersecting.resize(shell_count);

  std::vector<ShellBox> boxes(shell_count);
  for (size_t i = 0; i < shell_count; ++i) boxes[i] = shellBox(mesh, mesh.shells[i]);
  const std::vector<std::pair<int32_t, int32_t>> pairs = overlappingPairs(boxes);

  std::vector<ShellIndex> indexes(shell_count);
  Scratch scratch;
  for (const auto& [i, j] : pairs) {
    ShellIndex& ii = indexes[i];
    ShellIndex& ij = indexes[j];
    if (!ii.hasEntries) buildEntries(mesh, mesh.shells[i], ii);
    if (!ij.hasEntries) buildEntries(mesh, mesh.shells[j], ij);
    // Walk the shell with fewer entries; query the tree of the other.
    const bool i_walks = ii.entries.size() <= ij.entries.size();
    ShellIndex& queried = i_walks ? ij : ii;
    if (!queried.hasTree) buildTree(queried);
    const ShellView vi{&mesh.shells[i], &ii}, vj{&mesh.shells[j], &ij};
    const FloatBox overlap = overlapBox(boxes[i], boxes[j]);
    const bool hit = i_walks ? shellsIntersect(mesh, vi, vj, overlap, scratch)
                             : shellsIntersect(mesh, vj, vi, overlap, scratch);
    if (hit) {
      result.intersecting[i].push_back(j);
      result.intersecting[j].push_back(i);
    }
  }
  // Pairs come ordered by i, then j: every list is ascending already.
  result.groups = groupShells(result.intersecting);
  return result;
}

std::vector<std::vector<int32_t>> groupShells(
    const std::vector<std::vector<int32_t>>& intersecting) {
  const size_t n = intersecting.size();
  std::vector<std::vector<int32_t>> groups;
  FaceBits grouped(n);
  std::deque<int32_t> queue;
  for (size_t seed = 0; seed < n; ++seed) {
    if (grouped.test(seed)) continue;
    std::vector<int32_t> group;
    grouped.set(seed);
    queue.push_back(static_cast<int32_t>(seed));
    while (!queue.empty()) {
      const int32_t s = queue.front();
      queue.pop_front();
      group.push_back(s);
      for (int32_t t : intersecting[s]) {
        if (t < 0 || static_cast<size_t>(t) >= n || grouped.test(t)) continue;
        grouped.set(t);
        queue.push_back(t);
      }
    }
    std::sort(group.begin(), group.end());
    groups.push_back(std::move(group));
  }
  return groups;
}

}  // namespace vekmesh
