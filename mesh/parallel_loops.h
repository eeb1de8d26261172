// When the OpenMP loops of the core use more than the calling thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

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

}  // namespace vekmesh
