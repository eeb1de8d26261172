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
#include "repair/morton_order.h"
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
// faces by runs of int(n * 0.0001 + 0.5) faces (about 10000 runs). The runs
// are cut from the faces in Morton order of their box centres, not from the
// breadth-first shell list: breadth-first fronts are rings around the first
// face, and runs along a ring make long boxes that reach across thin gaps.
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
// A sum of floats in double never overflows, and carries any NaN or infinity.
bool faceBox(const SubMesh& mesh, int32_t f, FloatBox& box) {
  const Face& face = mesh.faces[f];
  const auto& a = mesh.vertices[face.v[0]].position;
  const auto& b = mesh.vertices[face.v[1]].position;
  const auto& c = mesh.vertices[face.v[2]].position;
  for (int d = 0; d < 3; ++d) {
    if (!std::isfinite(static_cast<double>(a[d]) + b[d] + c[d])) {
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

// A shell as the search indexes it: its faces in index order with their
// boxes; entry e covers positions [e * step, (e + 1) * step) of that order.
struct ShellIndex {
  std::vector<int32_t> faces;
  std::vector<FloatBox> boxes;
  uint32_t step = 1;
  std::vector<FloatBox> entries;
  RTree tree;
};

// `boxes` holds the face boxes in shell-list order already.
void buildEntries(const std::vector<int32_t>& shell, const FloatBox& bounds, ShellIndex& index) {
  const size_t n = shell.size();
  index.faces = shell;
  if (n >= kRunThreshold) {
    index.step = static_cast<uint32_t>(static_cast<double>(n) * 0.0001 + 0.5);
    const MortonGrid grid(bounds.lo, bounds.hi);
    std::vector<uint32_t> codes(n);
    for (size_t i = 0; i < n; ++i) {
      const FloatBox& b = index.boxes[i];
      codes[i] = grid.code(0.5f * b.lo[0] + 0.5f * b.hi[0], 0.5f * b.lo[1] + 0.5f * b.hi[1],
                           0.5f * b.lo[2] + 0.5f * b.hi[2]);
    }
    const std::vector<uint32_t> order = sortByCode(codes);
    std::vector<FloatBox> boxes(n);
    for (size_t i = 0; i < n; ++i) {
      index.faces[i] = shell[order[i]];
      boxes[i] = index.boxes[order[i]];
    }
    index.boxes.swap(boxes);
  }
  index.entries.assign((n + index.step - 1) / index.step, kEmptyBox);
  for (size_t i = 0; i < n; ++i) widen(index.entries[i / index.step], index.boxes[i]);
}

void buildTree(ShellIndex& index) {
  std::vector<REntry> values;
  values.reserve(index.entries.size());
  for (uint32_t e = 0; e < index.entries.size(); ++e)
    if (index.entries[e].lo[0] <= index.entries[e].hi[0])
      values.emplace_back(toRBox(index.entries[e]), e);
  index.tree = RTree(values.begin(), values.end());  // packed bulk load
}

// --- one pair of shells -------------------------------------------------------------

// Reused buffers of one pair search.
struct Scratch {
  std::vector<REntry> hits;
  std::vector<Triangle> triangles;  // corners of the current entry of the queried shell

  std::vector<uint8_t> loaded;
  uint64_t comparisons = 0;
};

// Faces of entry ea of `a` against faces of entry eb of `b`, box first.
bool entriesIntersect(const SubMesh& mesh, const ShellIndex& a, uint32_t ea, const ShellIndex& b,
                      uint32_t eb, Scratch& s) {
  const FloatBox& b_box = b.entries[eb];
  const size_t a_begin = size_t{ea} * a.step, a_end = std::min(a.faces.size(), a_begin + a.step);
  const size_t b_begin = size_t{eb} * b.step, b_end = std::min(b.faces.size(), b_begin + b.step);
  bool b_ready = false;
  for (size_t i = a_begin; i < a_end; ++i) {
    const FloatBox& a_box = a.boxes[i];
    if (!meet(a_box, b_box)) continue;
    if (!b_ready) {
      s.triangles.resize(b_end - b_begin);
      s.loaded.assign(b_end - b_begin, 0);
      b_ready = true;
    }
    s.comparisons += b_end - b_begin;
    bool a_loaded = false;
    Triangle ta;
    for (size_t j = b_begin; j < b_end; ++j) {
      if (!meet(a_box, b.boxes[j])) continue;
      if (!a_loaded) {
        ta = corners(mesh, a.faces[i]);
        a_loaded = true;
      }
      if (!s.loaded[j - b_begin]) {
        s.triangles[j - b_begin] = corners(mesh, b.faces[j]);
        s.loaded[j - b_begin] = 1;
      }
      const Triangle& tb = s.triangles[j - b_begin];
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
bool shellsIntersect(const SubMesh& mesh, const ShellIndex& a, const ShellIndex& b,
                     const FloatBox& overlap, Scratch& s) {
  const std::vector<FloatBox>& entries = a.entries;
  for (uint32_t ea = 0; ea < entries.size(); ++ea) {
    if (s.comparisons > kMaxBoxComparisons) return false;
    if (!meet(entries[ea], overlap)) continue;
    s.hits.clear();
    b.tree.query(bgi::intersects(toRBox(entries[ea])), std::back_inserter(s.hits));
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

// Below this many faces a parallel loop costs more than it saves.
constexpr size_t kParallelFaces = 20000;

// Fills `boxes` with the face boxes of the shell in list order, `tight` with
// their union, and returns the shell box. Min and max are exact, so the
// parallel reduction gives the same boxes for any number of threads.
ShellBox shellBox(const SubMesh& mesh, const std::vector<int32_t>& shell,
                  std::vector<FloatBox>& boxes, FloatBox& tight) {
  const ptrdiff_t n = static_cast<ptrdiff_t>(shell.size());
  boxes.resize(shell.size());
  float lo[3] = {kInf, kInf, kInf}, hi[3] = {-kInf, -kInf, -kInf};
#pragma omp parallel for schedule(static) reduction(min : lo[:3]) reduction(max : hi[:3]) \
    if (shell.size() >= kParallelFaces)
  for (ptrdiff_t i = 0; i < n; ++i) {
    FloatBox& b = boxes[i];
    if (!faceBox(mesh, shell[i], b)) continue;
    for (int d = 0; d < 3; ++d) {
      lo[d] = std::min(lo[d], b.lo[d]);
      hi[d] = std::max(hi[d], b.hi[d]);
    }
  }
  ShellBox box;
  for (int d = 0; d < 3; ++d) {
    tight.lo[d] = lo[d];
    tight.hi[d] = hi[d];
  }
  box.any = lo[0] <= hi[0];
  for (int d = 0; d < 3 && box.any; ++d) {
    box.lo[d] = std::min(box.lo[d], static_cast<double>(lo[d]));
    box.hi[d] = std::max(box.hi[d], static_cast<double>(hi[d]));
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

// The shells listed, each built by `build` in a parallel loop: every shell's
// index depends on that shell alone.
template <class Build>
void buildEach(std::vector<int32_t> shells, Build build) {
  std::sort(shells.begin(), shells.end());
  shells.erase(std::unique(shells.begin(), shells.end()), shells.end());
  const ptrdiff_t n = static_cast<ptrdiff_t>(shells.size());
#pragma omp parallel for schedule(static, 1) if (n > 1)
  for (ptrdiff_t k = 0; k < n; ++k) build(shells[k]);
}

}  // namespace

ShellIntersections findIntersectingShells(const SubMesh& mesh) {
  const size_t shell_count = mesh.shells.size();
  ShellIntersections result;
  result.intersecting.resize(shell_count);
  if (shell_count < 2) {  // the common single-part model: nothing to pair
    result.groups = groupShells(result.intersecting);
    return result;
  }

  // One pass over all faces: face boxes (kept for the indexes) and shell boxes.
  std::vector<ShellBox> boxes(shell_count);
  std::vector<FloatBox> tight(shell_count);
  std::vector<ShellIndex> indexes(shell_count);
  for (size_t i = 0; i < shell_count; ++i)
    boxes[i] = shellBox(mesh, mesh.shells[i], indexes[i].boxes, tight[i]);
  const std::vector<std::pair<int32_t, int32_t>> pairs = overlappingPairs(boxes);

  // Entries of every shell in a pair; then, per pair, the shell with more
  // entries is the one queried, and gets a tree.
  std::vector<int32_t> needed;
  for (const auto& [i, j] : pairs) {
    needed.push_back(i);
    needed.push_back(j);
  }
  buildEach(needed, [&](int32_t s) { buildEntries(mesh.shells[s], tight[s], indexes[s]); });
  std::vector<uint8_t> i_walks(pairs.size());
  needed.clear();
  for (size_t p = 0; p < pairs.size(); ++p) {
    const auto [i, j] = pairs[p];
    i_walks[p] = indexes[i].entries.size() <= indexes[j].entries.size();
    needed.push_back(i_walks[p] ? j : i);
  }
  buildEach(needed, [&](int32_t s) { buildTree(indexes[s]); });

  Scratch scratch;
  for (size_t p = 0; p < pairs.size(); ++p) {
    const auto [i, j] = pairs[p];
    const FloatBox overlap = overlapBox(boxes[i], boxes[j]);
    const bool hit = i_walks[p] ? shellsIntersect(mesh, indexes[i], indexes[j], overlap, scratch)
                                : shellsIntersect(mesh, indexes[j], indexes[i], overlap, scratch);
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
