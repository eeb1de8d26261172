// Union-find components of the sheet partners, for models consistent already.
#include "repair/partner_components.h"

#include <atomic>
#include <memory>

#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

// Parents point to lower faces only, so a root is its set's lowest face.
// Threads share the forest: links are made by compare-and-swap on a root,
// and the path halving on the way up only ever writes an ancestor into a
// parent, which is still one when others have linked meanwhile.
class LowestRootForest {
 public:
  explicit LowestRootForest(size_t n) : parent_(new std::atomic<int32_t>[n]) {
    const int64_t count = static_cast<int64_t>(n);
#pragma omp parallel for schedule(static) if (count >= kParallelMinimum)
    for (int64_t i = 0; i < count; ++i) parent_[i].store(int32_t(i), std::memory_order_relaxed);
  }

  int32_t root(int32_t x) {
    for (;;) {
      const int32_t p = parent_[x].load(std::memory_order_relaxed);
      if (p == x) return x;
      const int32_t up = parent_[p].load(std::memory_order_relaxed);
      if (up != p) parent_[x].store(up, std::memory_order_relaxed);
      x = up;
    }
  }

  void unite(int32_t a, int32_t b) {
    for (;;) {
      a = root(a);
      b = root(b);
      if (a == b) return;
      if (a < b) std::swap(a, b);
      int32_t expected = a;
      if (parent_[a].compare_exchange_weak(expected, b, std::memory_order_acq_rel,
                                           std::memory_order_relaxed))
        return;
    }
  }

 private:
  std::unique_ptr<std::atomic<int32_t>[]> parent_;
};

// Hands the team's threads each live face f with the partner g of each of
// its corners (-1: none), until some pair runs its edge the same way; then
// false. Each thread takes one part of the faces in order: on a model in
// order a face's partners then lie in its own part but near its ends, while
// with small blocks handed out in turn a thread links faces whose partners
// the other is linking at the same moment, and the two pass the same cache
// lines back and forth (on two threads the pass took as long as on one).
template <class Visit>
bool visitOppositePartners(const SubMesh& mesh, const SheetPartners& partners, Visit&& visit) {
  const size_t count = mesh.faces.size();
  const int parts = loopParts(static_cast<int64_t>(count));
  std::atomic<bool> alike_found{false};
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    const size_t end = partStart(count, t + 1, parts);
    for (size_t f = partStart(count, t, parts); f < end; ++f) {
      // Looked at every few thousand faces: once found, the rest is moot.
      if ((f & 4095) == 0 && alike_found.load(std::memory_order_relaxed)) break;
      if (mesh.faces[f].removed) continue;
      for (uint32_t c = 0; c < 3; ++c) {
        bool alike = false;
        const int32_t g = partners.partnerOf(3 * f + c, alike);
        if (g >= 0 && alike)
          alike_found.store(true, std::memory_order_relaxed);
        else
          visit(int64_t(f), g);
      }
    }
  }
  return !alike_found.load();
}

}  // namespace

bool componentsWithoutTurns(const SubMesh& mesh, const SheetPartners& partners,
                            OrientationComponents& out) {
  const size_t face_count = mesh.faces.size();
  const int64_t count = static_cast<int64_t>(face_count);
  LowestRootForest forest(face_count);
  // Per face: 1 when a corner has no partner (its component is not closed).
  std::vector<uint8_t> open(face_count, 0);
  const bool opposite = visitOppositePartners(mesh, partners, [&](int64_t f, int32_t g) {
    if (g < 0)
      open[size_t(f)] = 1;
    else if (g < f)  // partners are mutual: each pair is linked once, from its higher face
      forest.unite(int32_t(f), g);
  });
  if (!opposite) return false;

  // Roots in face order are the walk's seeds in its order.
  std::vector<int32_t> root_of(face_count);
#pragma omp parallel for schedule(static) if (count >= kParallelMinimum)
  for (int64_t f = 0; f < count; ++f)
    root_of[size_t(f)] = mesh.faces[size_t(f)].removed ? -1 : forest.root(int32_t(f));
  std::vector<int32_t> component_of_root(face_count, -1);
  out.closed.clear();
  for (size_t f = 0; f < face_count; ++f)
    if (root_of[f] == int32_t(f)) {
      component_of_root[f] = static_cast<int32_t>(out.closed.size());
      out.closed.push_back(1);
    }
  for (size_t f = 0; f < face_count; ++f)
    if (open[f]) out.closed[size_t(component_of_root[size_t(root_of[f])])] = 0;
  out.component_of.resize(face_count);
#pragma omp parallel for schedule(static) if (count >= kParallelMinimum)
  for (int64_t f = 0; f < count; ++f)
    out.component_of[size_t(f)] =
        root_of[size_t(f)] < 0 ? -1 : component_of_root[size_t(root_of[size_t(f)])];
  return true;
}

bool partnersRunOpposite(const SubMesh& mesh, const SheetPartners& partners) {
  return visitOppositePartners(mesh, partners, [](int64_t, int32_t) {});
}

}  // namespace vekmesh
