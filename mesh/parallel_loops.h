// When the OpenMP loops of the core use more than the calling thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#if defined(_OPENMP)
#include <omp.h>
#endif

namespace vekmesh {

// Loops over fewer elements than this run on the calling thread: waking a
// team costs more than it saves on small meshes, and a host that forks after
// working only on small meshes never has a thread pool to lose in the child.
constexpr int64_t kParallelMinimum = 16384;

// How many parts a loop over n elements is cut into, one per thread of a
// team: 1 below kParallelMinimum. Passes whose results must not depend on
// the thread count combine the parts in order.
inline int loopParts(int64_t n) {
#if defined(_OPENMP)
  return n >= kParallelMinimum ? std::max(1, omp_get_max_threads()) : 1;
#else
  (void)n;
  return 1;
#endif
}

// The calling thread's number in its team: 0 outside a parallel region, and
// 0 for the thread that entered the region.
inline int threadIndex() {
#if defined(_OPENMP)
  return omp_get_thread_num();
#else
  return 0;
#endif
}

// Start of part t of `parts` over n elements (part t ends where t + 1 starts).
inline size_t partStart(size_t n, int t, int parts) {
  return n / size_t(parts) * size_t(t) + std::min(n % size_t(parts), size_t(t));
}

// A pass whose per-element work gathers from memory at random (the corners
// of faces on a shuffled mesh) but whose results are sums that must come out
// as one thread adds them: measure(i, item) runs on the team, a block at a
// time, and sum(i, item) after each block, in order, on the calling thread.
// Item is a plain record; the blocks bound the memory it takes.
template <class Item, class Measure, class Sum>
void measureThenSumInOrder(size_t n, Measure&& measure, Sum&& sum) {
  const int parts = loopParts(static_cast<int64_t>(n));
  // One thread goes through the same blocks: one call site each keeps the
  // two steps inlined, and a block of records stays in the cache.
  constexpr size_t kBlock = 8192;
  std::vector<Item> items(std::min(n, kBlock));
  for (size_t start = 0; start < n; start += kBlock) {
    const int64_t count = static_cast<int64_t>(std::min(kBlock, n - start));
#pragma omp parallel for schedule(static) num_threads(parts) if (parts > 1)
    for (int64_t k = 0; k < count; ++k) measure(start + size_t(k), items[size_t(k)]);
    for (int64_t k = 0; k < count; ++k) sum(start + size_t(k), items[size_t(k)]);
  }
}

}  // namespace vekmesh
