// The triangle/triangle test and the exact predicates never touch the heap:
// this binary replaces the global operator new with a counting one and runs
// every path of the test (filter, exact fallback, coplanar, flat) under it.
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <new>
#include <vector>

#include "geometry/exact_predicates.h"
#include "geometry/tri_tri_intersection.h"

namespace {
std::atomic<size_t> g_allocations{0};
}  // namespace

// Standard containers and everything else in C++ allocate through these two;
// the array and nothrow forms forward to them. The blocks come from malloc, so
// free is the matching release; GCC cannot see that through the replacement.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, std::align_val_t align) {
  ++g_allocations;
  const std::size_t a = static_cast<std::size_t>(align);
  if (void* p = std::aligned_alloc(a, (size + a - 1) / a * a)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  std::free(p);
}
#pragma GCC diagnostic pop

namespace vekmesh {
namespace {

struct Pair {
  Vec3d a[3];
  Vec3d b[3];
};

TEST(TriTriAllocation, EveryPathRunsWithoutTheHeap) {
  const double ulp = std::ldexp(1.0, -53);
  const Pair pairs[] = {
      // crossing
      {{{-1, -1, 0}, {2, -1, 0}, {-1, 2, 0}}, {{0.2, 0.1, -1}, {0.4, 0.1, 1}, {-0.6, 0.1, 0.5}}},
      // apart, parallel planes
      {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 0, 1}, {1, 0, 1}, {0, 1, 1}}},
      // coplanar overlapping and coplanar apart (exact zeros: the fallback runs)
      {{{0, 0, 1}, {4, 0, 1}, {0, 4, 1}}, {{1, 1, 1}, {5, 1, 1}, {1, -3, 1}}},
      {{{0, 0, 1}, {4, 0, 1}, {0, 4, 1}}, {{5, 5, 1}, {6, 5, 1}, {5, 6, 1}}},
      // shared edge
      {{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}}, {{0, 0, 0}, {0, 0, 1}, {1, 0, 0}}},
      // flat triangle through a proper one, and two flat ones crossing
      {{{0, 0, 0}, {4, 0, 0}, {0, 4, 0}}, {{1, 1, -1}, {1, 1, 2}, {1, 1, 0.5}}},
      {{{0, 0, 0}, {2, 2, 0}, {1, 1, 0}}, {{0, 2, 0}, {2, 0, 0}, {1, 1, 0}}},
      // a corner ulps away from the other's plane: only the expansions decide
      {{{12, 12, 12}, {24, 24, 24}, {-3.0, 7.25, 2.5}},
       {{0.5 + 3 * ulp, 0.5 + 5 * ulp, 0.5}, {0.5, 9, 9}, {9, 0.5, 9}}},
  };

  // The counter does see allocations.
  const size_t before_vector = g_allocations.load();
  std::vector<int> probe(16);
  EXPECT_GT(g_allocations.load(), before_vector);

  const size_t before = g_allocations.load();
  int hits = 0;
  for (int round = 0; round < 100; ++round)
    for (const Pair& p : pairs) {
      int coplanar = 0;
      Vec3d source, target;
      hits += triTriIntersection(p.a[0], p.a[1], p.a[2], p.b[0], p.b[1], p.b[2], coplanar, source,
                                 target);
      hits += triTriIntersection(p.b[0], p.b[1], p.b[2], p.a[0], p.a[1], p.a[2], coplanar, source,
                                 target);
      hits += exact::orient3d(p.a[0].data(), p.a[1].data(), p.a[2].data(), p.b[0].data()) != 0;
    }
  EXPECT_EQ(g_allocations.load(), before);
  EXPECT_GT(hits, 0);
}

}  // namespace
}  // namespace vekmesh
