// Shell intersection search: strict overlap of shell boxes found through an
// R-tree of the shell boxes, then, per overlapping pair, blocks of one shell's
// entries queried against a bulk-loaded R-tree (Boost.Geometry, packed) of the
// other's, down to face boxes and the exact triangle test. A pair stops at its
// first hit.
#include "repair/shell_intersection.h"

#include <algorithm>
#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>
#include <cmath>
#include <deque>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>

#include "geometry/morton_order.h"
#include "geometry/tri_tri_intersection.h"
#include "mesh/face_bits.h"

namespace vekmesh {
namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

// Shells below this many faces are indexed face by face; a larger shell of n
// faces by runs of int(n * 0.0001 + 0.5) faces (about 10000 runs). The runs
// are cut from the faces in Morton order of their box centres, not from the
// breadth-first shell list: breadth-first fronts are rings around the first
// face, and runs along a ring make long boxes that reach across thin gaps.
constexpr size_t kRunThreshold = 10000;

// A queried shell with at most this many entries is scanned, not indexed.
constexpr size_t kTreeEntries = 32;

// The walking shell's entries go in blocks of this many: one query per block
// draws the candidates for all of its entries. The queried side of a pair of
// nested shells is then asked once per block instead of once per face.
constexpr size_t kBlock = 32;
// Past this many candidates a block's entries are queried one by one.
constexpr size_t kBlockCandidates = 256;

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

using RPoint = bg::model::point<float, 3, bg::cs::cartesian>;
using RBox = bg::model::box<RPoint>;
using REntry = std::pair<RBox, uint32_t>;
using RTree = bgi::rtree<REntry, bgi::quadratic<16>>;

inline RBox toRBox(const FloatBox& b) {
  return RBox(RPoint(b.lo[0], b.lo[1], b.lo[2]), RPoint(b.hi[0], b.hi[1], b.hi[2]));
}

// --- the index of all shells ---------------------------------------------------------

// Shell s owns positions [first, first + count) of Index::faces and
// Index::boxes. Its entry e covers positions [e * step, (e + 1) * step) of
// that range; with step 1 the entries are the face boxes themselves, larger
// shells keep their run boxes in Index::runs from firstRun on.
struct ShellSpan {
  size_t first = 0;
  size_t count = 0;
  uint32_t step = 1;
  size_t firstRun = 0;
  size_t entries() const { return step == 1 ? count : (count + step - 1) / step; }
};

struct Index {
  std::vector<int32_t> faces;   // every shell's faces, shell after shell
  std::vector<FloatBox> boxes;  // their boxes
  std::vector<ShellSpan> spans;
  std::vector<FloatBox> tight;  // union of each shell's face boxes
  std::vector<FloatBox> runs;
  std::vector<std::unique_ptr<RTree>> trees;  // only for queried shells with many entries

  const FloatBox& entry(int32_t s, size_t e) const {
    const ShellSpan& span = spans[s];
    return span.step == 1 ? boxes[span.first + e] : runs[span.firstRun + e];
  }
};

// Faces and face boxes of every shell, and each shell's tight box. The search
// runs on the caller's thread: on the two-core machines it is measured on, a
// parallel loop here lost more at its barrier, whenever another process held
// a core, than it gained on an idle machine.
void collectFaces(const SubMesh& mesh, const std::vector<uint8_t>* taken, Index& index) {
  const size_t shell_count = mesh.shells.size();
  size_t total = 0;
  index.spans.resize(shell_count);
  for (size_t s = 0; s < shell_count; ++s) {
    index.spans[s].first = total;
    index.spans[s].count = !taken || (*taken)[s] ? mesh.shells[s].size() : 0;
    total += index.spans[s].count;
  }
  index.faces.resize(total);
  index.boxes.resize(total);
  index.tight.resize(shell_count);
  for (size_t s = 0; s < shell_count; ++s) {
    const std::vector<int32_t>& shell = mesh.shells[s];
    int32_t* faces = index.faces.data() + index.spans[s].first;
    FloatBox* boxes = index.boxes.data() + index.spans[s].first;
    float lo[3] = {kInf, kInf, kInf}, hi[3] = {-kInf, -kInf, -kInf};
    for (size_t i = 0; i < index.spans[s].count; ++i) {
      faces[i] = shell[i];
      if (!faceBox(mesh, shell[i], boxes[i])) continue;
      for (int d = 0; d < 3; ++d) {
        lo[d] = std::min(lo[d], boxes[i].lo[d]);
        hi[d] = std::max(hi[d], boxes[i].hi[d]);
      }
    }
    for (int d = 0; d < 3; ++d) {
      index.tight[s].lo[d] = lo[d];
      index.tight[s].hi[d] = hi[d];
    }
  }
}

// Puts a shell's faces in Morton order, so that runs and blocks of entries
// are compact patches, and fills its run boxes when it has runs.
void orderSpatially(int32_t s, Index& index) {
  const ShellSpan& span = index.spans[s];
  const size_t n = span.count;
  int32_t* faces = index.faces.data() + span.first;
  FloatBox* boxes = index.boxes.data() + span.first;
  const MortonGrid grid(index.tight[s].lo, index.tight[s].hi);
  std::vector<uint32_t> codes(n);
  for (size_t i = 0; i < n; ++i)
    codes[i] = grid.code(0.5f * boxes[i].lo[0] + 0.5f * boxes[i].hi[0],
                         0.5f * boxes[i].lo[1] + 0.5f * boxes[i].hi[1],
                         0.5f * boxes[i].lo[2] + 0.5f * boxes[i].hi[2]);
  const std::vector<uint32_t> order = sortByCode(codes);
  codes.clear();
  codes.shrink_to_fit();
  std::vector<int32_t> sorted_faces(n);
  std::vector<FloatBox> sorted_boxes(n);
  for (size_t i = 0; i < n; ++i) {
    sorted_faces[i] = faces[order[i]];
    sorted_boxes[i] = boxes[order[i]];
  }
  std::copy(sorted_faces.begin(), sorted_faces.end(), faces);
  std::copy(sorted_boxes.begin(), sorted_boxes.end(), boxes);
  if (span.step == 1) return;
  FloatBox* runs = index.runs.data() + span.firstRun;
  std::fill(runs, runs + span.entries(), kEmptyBox);
  for (size_t i = 0; i < n; ++i) widen(runs[i / span.step], boxes[i]);
}

void buildTree(int32_t s, Index& index) {
  const size_t count = index.spans[s].entries();
  std::vector<REntry> values;
  values.reserve(count);
  for (size_t e = 0; e < count; ++e) {
    const FloatBox& box = index.entry(s, e);
    if (box.lo[0] <= box.hi[0]) values.emplace_back(toRBox(box), static_cast<uint32_t>(e));
  }
  index.trees[s] = std::make_unique<RTree>(values.begin(), values.end());  // packed bulk load
}

// Each shell listed once, in ascending order.
std::vector<int32_t> distinct(std::vector<int32_t> shells) {
  std::sort(shells.begin(), shells.end());
  shells.erase(std::unique(shells.begin(), shells.end()), shells.end());
  return shells;
}

// --- one pair of shells -------------------------------------------------------------

// Reused buffers of the pair searches.
struct Scratch {
  uint64_t maxComparisons = 0;
  std::vector<REntry> hits;         // candidates of the current block
  std::vector<REntry> entryHits;    // of the current entry, when drawn one by one
  std::vector<Triangle> triangles;  // corners of the current entry of the queried shell
  std::vector<uint8_t> loaded;
  uint64_t comparisons = 0;
};

// Faces of entry ea of shell a against faces of entry eb of shell b, box first.
bool entriesIntersect(const SubMesh& mesh, const Index& index, int32_t a, size_t ea, int32_t b,
                      size_t eb, Scratch& s) {
  const ShellSpan& sa = index.spans[a];
  const ShellSpan& sb = index.spans[b];
  const FloatBox& b_box = index.entry(b, eb);
  const size_t a_begin = sa.first + ea * sa.step;
  const size_t a_end = std::min(sa.first + sa.count, a_begin + sa.step);
  const size_t b_begin = sb.first + eb * sb.step;
  const size_t b_end = std::min(sb.first + sb.count, b_begin + sb.step);
  bool b_ready = false;
  for (size_t i = a_begin; i < a_end; ++i) {
    const FloatBox& a_box = index.boxes[i];
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
      if (!meet(a_box, index.boxes[j])) continue;
      if (!a_loaded) {
        ta = corners(mesh, index.faces[i]);
        a_loaded = true;
      }
      if (!s.loaded[j - b_begin]) {
        s.triangles[j - b_begin] = corners(mesh, index.faces[j]);
        s.loaded[j - b_begin] = 1;
      }
      const Triangle& tb = s.triangles[j - b_begin];
      int coplanar = 0;
      Vec3d source, target;
      if (triTriIntersection(ta.p[0], ta.p[1], ta.p[2], tb.p[0], tb.p[1], tb.p[2], coplanar, source,
                             target))
        return true;
    }
  }
  return false;
}

// Entries of shell a inside the overlap of the two shell boxes, matched
// against the entries of b: a block of a's entries at a time, its candidates
// drawn from b's tree (or all of b's entries when b has no tree). Any common
// point lies in both shell boxes, so entries outside the overlap hold none.
bool shellsIntersect(const SubMesh& mesh, const Index& index, int32_t a, int32_t b,
                     const FloatBox& overlap, Scratch& s) {
  const size_t a_entries = index.spans[a].entries(), b_entries = index.spans[b].entries();
  const RTree* tree = index.trees[b].get();
  for (size_t first = 0; first < a_entries; first += kBlock) {
    if (s.comparisons > s.maxComparisons) return false;
    const size_t last = std::min(a_entries, first + kBlock);
    FloatBox block = kEmptyBox;
    for (size_t ea = first; ea < last; ++ea)
      if (meet(index.entry(a, ea), overlap)) widen(block, index.entry(a, ea));
    if (!(block.lo[0] <= block.hi[0])) continue;
    s.hits.clear();
    if (tree) {
      tree->query(bgi::intersects(toRBox(block)), std::back_inserter(s.hits));
    } else {
      s.comparisons += b_entries;
      for (size_t eb = 0; eb < b_entries; ++eb)
        if (meet(block, index.entry(b, eb)))
          s.hits.emplace_back(toRBox(index.entry(b, eb)), static_cast<uint32_t>(eb));
    }
    if (s.hits.empty()) continue;
    const bool one_by_one = tree && s.hits.size() > kBlockCandidates;
    for (size_t ea = first; ea < last; ++ea) {
      const FloatBox& box = index.entry(a, ea);
      if (!meet(box, overlap)) continue;
      if (one_by_one) {
        s.entryHits.clear();
        tree->query(bgi::intersects(toRBox(box)), std::back_inserter(s.entryHits));
        for (const REntry& hit : s.entryHits)
          if (entriesIntersect(mesh, index, a, ea, b, hit.second, s)) return true;
        continue;
      }
      s.comparisons += s.hits.size();
      for (const REntry& hit : s.hits)
        if (meet(box, index.entry(b, hit.second)) &&
            entriesIntersect(mesh, index, a, ea, b, hit.second, s))
          return true;
    }
  }
  return false;
}

// --- shell boxes -----------------------------------------------------------------------

// The shell box every part of the library uses: minima start at 1e6 and
// maxima at -1e6. Both values are floats, so the box is one too.
FloatBox shellBox(const FloatBox& tight) {
  FloatBox box;
  for (int d = 0; d < 3; ++d) {
    box.lo[d] = std::min(1e6f, tight.lo[d]);
    box.hi[d] = std::max(-1e6f, tight.hi[d]);
  }
  return box;
}

// Strict on all six sides: boxes sharing only a face plane do not overlap.
inline bool overlapStrictly(const FloatBox& a, const FloatBox& b) {
  for (int d = 0; d < 3; ++d)
    if (!(a.lo[d] < b.hi[d] && b.lo[d] < a.hi[d])) return false;
  return true;
}

FloatBox overlapBox(const FloatBox& a, const FloatBox& b) {
  FloatBox o;
  for (int d = 0; d < 3; ++d) {
    o.lo[d] = std::max(a.lo[d], b.lo[d]);
    o.hi[d] = std::min(a.hi[d], b.hi[d]);
  }
  return o;
}

// Pairs i < j of shells whose boxes overlap strictly, ordered by i then j. A
// shell without a finite face has no box and pairs with nothing.
std::vector<std::pair<int32_t, int32_t>> overlappingPairs(const Index& index, size_t max_pairs) {
  const size_t shell_count = index.tight.size();
  std::vector<FloatBox> boxes(shell_count);
  std::vector<REntry> values;
  for (size_t s = 0; s < shell_count; ++s) {
    boxes[s] = shellBox(index.tight[s]);
    if (index.tight[s].lo[0] <= index.tight[s].hi[0])
      values.emplace_back(toRBox(boxes[s]), static_cast<uint32_t>(s));
  }
  const RTree tree(values.begin(), values.end());
  std::vector<std::pair<int32_t, int32_t>> pairs;
  std::vector<REntry> hits;
  std::vector<int32_t> partners;
  for (const auto& [box, s] : values) {
    const int32_t i = static_cast<int32_t>(s);
    hits.clear();
    tree.query(bgi::intersects(box), std::back_inserter(hits));
    partners.clear();
    for (const REntry& hit : hits) {
      const int32_t j = static_cast<int32_t>(hit.second);
      if (j > i && overlapStrictly(boxes[i], boxes[j])) partners.push_back(j);
    }
    std::sort(partners.begin(), partners.end());
    for (int32_t j : partners) {
      if (pairs.size() >= max_pairs) return pairs;
      pairs.emplace_back(i, j);
    }
  }
  return pairs;
}

}  // namespace

ShellIntersections findIntersectingShells(const SubMesh& mesh, const SearchLimits& limits,
                                          const std::vector<uint8_t>* taken) {
  const size_t shell_count = mesh.shells.size();
  ShellIntersections result;
  result.intersecting.resize(shell_count);
  const size_t taking_part =
      taken ? size_t(std::count(taken->begin(), taken->end(), uint8_t(1))) : shell_count;
  if (taking_part < 2) {  // the common single-part model: nothing to pair
    result.groups = groupShells(result.intersecting);
    return result;
  }

  Index index;
  collectFaces(mesh, taken, index);
  const std::vector<std::pair<int32_t, int32_t>> pairs =
      overlappingPairs(index, limits.maxShellPairs);

  // Every shell in a pair goes into Morton order; large ones get their runs.
  std::vector<int32_t> ordered;
  std::vector<uint8_t> seen(shell_count, 0);
  for (const auto& [i, j] : pairs)
    for (int32_t s : {i, j}) {
      ShellSpan& span = index.spans[s];
      if (seen[s] || span.count <= kBlock) continue;
      seen[s] = 1;
      ordered.push_back(s);
      if (span.count < kRunThreshold) continue;
      span.step = static_cast<uint32_t>(static_cast<double>(span.count) * 0.0001 + 0.5);
      if (span.step > 1) {
        span.firstRun = index.runs.size();
        index.runs.resize(index.runs.size() + span.entries());
      }
    }
  for (int32_t s : ordered) orderSpatially(s, index);

  // In each pair the shell with fewer entries walks them; the other is
  // queried, through a tree when it has many entries.
  std::vector<uint8_t> i_walks(pairs.size());
  std::vector<int32_t> queried;
  for (size_t p = 0; p < pairs.size(); ++p) {
    const auto [i, j] = pairs[p];
    i_walks[p] = index.spans[i].entries() <= index.spans[j].entries();
    const int32_t q = i_walks[p] ? j : i;
    if (index.spans[q].entries() > kTreeEntries) queried.push_back(q);
  }
  index.trees.resize(shell_count);
  for (int32_t s : distinct(queried)) buildTree(s, index);

  Scratch scratch;
  scratch.maxComparisons = limits.maxBoxComparisons;
  for (size_t p = 0; p < pairs.size(); ++p) {
    const auto [i, j] = pairs[p];
    const FloatBox overlap = overlapBox(shellBox(index.tight[i]), shellBox(index.tight[j]));
    const bool hit = i_walks[p] ? shellsIntersect(mesh, index, i, j, overlap, scratch)
                                : shellsIntersect(mesh, index, j, i, overlap, scratch);
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
