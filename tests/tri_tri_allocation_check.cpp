// The triangle/triangle test (exact predicates included) never touches the
// heap: this binary counts calls of the global operator new while it runs.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "geometry/tri_tri_intersection.h"

static size_t g_allocations = 0;

void* operator new(std::size_t size) {
  ++g_allocations;
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}

namespace vekmesh {
namespace {

TEST(TriTriAllocation, EveryPathRunsWithoutTheHeap) {
  const Vec3d pairs[][6] = {
      // crossing, coplanar, flat, exact near-touch
      {{-1, -1, 0}, {2, -1, 0}, {-1, 2, 0}, {0.2, 0.1, -1}, {0.4, 0.1, 1}, {-0.6, 0.1, 0.5}},
      {{0, 0, 1}, {4, 0, 1}, {0, 4, 1}, {1, 1, 1}, {5, 1, 1}, {1, -3, 1}},
      {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}, {1, 1, -1}, {1, 1, 2}, {1, 1, 0.5}},
      {{12, 12, 12},
       {24, 24, 24},
       {-3.0, 7.25, 2.5},
       {0.5 + 0x3p-53, 0.5 + 0x5p-53, 0.5},
       {0.5, 9, 9},
       {9, 0.5, 9}}};
  const size_t before = g_allocations;
  int* volatile probe = new int(1);
  delete probe;
  EXPECT_EQ(g_allocations, before + 1);  // the counter does see allocations
  int coplanar = 0;
  Vec3d s, t;
  for (const auto& p : pairs) {
    triTriIntersection(p[0], p[1], p[2], p[3], p[4], p[5], coplanar, s, t);
    triTriIntersection(p[3], p[4], p[5], p[0], p[1], p[2], coplanar, s, t);
  }
  EXPECT_EQ(g_allocations, before + 1);
}

}  // namespace
}  // namespace vekmesh
