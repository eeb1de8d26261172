// When the OpenMP loops of the core use more than the calling thread.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#if defined(_OPENMP)
#include <omp.h>
#endif

namespace vekmesh {

// Loops over fewer elements than this run on the calling thread: waking a
// team costs more than it saves on small meshes, and a host that forks after
// working only on small meshes never has a thread pool to lose in the child.
constexpr int64_t kParallelMinimum = 16384;

// Threads a parallel region started here would have.
inline int teamSize() {
#if defined(_OPENMP)
  return std::max(1, omp_get_max_threads());
#else
  return 1;
#endif
}

// How many parts a loop over n elements is cut into, one per thread of a
// team: 1 below kParallelMinimum. Passes whose results must not depend on
// the thread count combine the parts in order.
inline int loopParts(int64_t n) {
  return n >= kParallelMinimum ? teamSize() : 1;
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

// Threads of the team the calling thread is in: 1 outside a parallel region.
inline int currentTeamSize() {
#if defined(_OPENMP)
  return omp_get_num_threads();
#else
  return 1;
#endif
}

// Start of part t of `parts` over n elements (part t ends where t + 1 starts).
inline size_t partStart(size_t n, int t, int parts) {
  return n / size_t(parts) * size_t(t) + std::min(n % size_t(parts), size_t(t));
}

// The elements i < n for which wanted(i) holds, in increasing order. Each
// thread of the team tests a part; the parts' finds are joined in order. For
// tests that hold seldom: a pass that picks out the few elements a serial
// step must visit.
template <class Wanted>
std::vector<size_t> elementsWhere(size_t n, Wanted&& wanted) {
  const int parts = loopParts(static_cast<int64_t>(n));
  std::vector<std::vector<size_t>> found(static_cast<size_t>(parts));
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1)
  for (int t = 0; t < parts; ++t)
    for (size_t i = partStart(n, t, parts), end = partStart(n, t + 1, parts); i < end; ++i)
      if (wanted(i)) found[size_t(t)].push_back(i);
  for (int t = 1; t < parts; ++t)
    found[0].insert(found[0].end(), found[size_t(t)].begin(), found[size_t(t)].end());
  return std::move(found[0]);
}

// A pass over n elements a block at a time, in two buffers taken in turn:
// fill(i, buffer, k) makes element i in slot k of buffer 0 or 1, on the team;
// use(first, count, buffer) takes a filled block, on the calling thread, in
// order. While the calling thread uses one block the others fill the next,
// and it joins them when done. A block's end is a barrier: its slots are
// complete before it is used, and the buffer used last is free before it is
// filled again.
template <class Fill, class Use>
void fillThenUseInOrder(size_t n, size_t block, Fill&& fill, Use&& use) {
  // Both are read only by the pragmas, which a build without OpenMP drops.
  [[maybe_unused]] constexpr int64_t kChunk = 256;
  const size_t blocks = (n + block - 1) / block;
  [[maybe_unused]] const int parts = loopParts(static_cast<int64_t>(n));
#pragma omp parallel num_threads(parts) if (parts > 1)
  for (size_t b = 0; b < blocks; ++b) {
    if (b > 0 && threadIndex() == 0) use((b - 1) * block, block, int((b - 1) % 2));
    const size_t start = b * block;
    const int64_t count = static_cast<int64_t>(std::min(block, n - start));
#pragma omp for schedule(dynamic, kChunk)
    for (int64_t k = 0; k < count; ++k) fill(start + size_t(k), int(b % 2), size_t(k));
  }
  if (blocks > 0) use((blocks - 1) * block, n - (blocks - 1) * block, int((blocks - 1) % 2));
}

// A pass whose per-element work gathers from memory at random (the corners
// of faces on a shuffled mesh) but whose results are sums that must come out
// as one thread adds them: measure(i, item) runs on the team, a block at a
// time, and sum(i, item) on the calling thread, in order. The blocks bound
// the memory the records take. Item is a plain record.
template <class Item, class Measure, class Sum>
void measureThenSumInOrder(size_t n, Measure&& measure, Sum&& sum) {
  constexpr size_t kBlock = 8192;
  std::vector<Item> items[2];
  items[0].resize(std::min(n, kBlock));
  if (n > kBlock) items[1].resize(kBlock);
  fillThenUseInOrder(
      n, kBlock, [&](size_t i, int buffer, size_t k) { measure(i, items[buffer][k]); },
      [&](size_t first, size_t count, int buffer) {
        for (size_t j = 0; j < count; ++j) sum(first + j, items[buffer][j]);
      });
}

}  // namespace vekmesh
