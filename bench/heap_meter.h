// Peak heap use of a stretch of code, for the benchmark binaries only: the
// global operator new and delete are replaced (heap_meter.cpp) and, while a
// HeapMeter is open, every block is counted at its true size in the allocator.
#pragma once

#include <cstddef>

namespace vekmesh {
namespace bench {

// Counts heap bytes taken and given back between construction and peakBytes().
// Blocks count as malloc_usable_size plus the allocator's size word, i.e. what
// they cost the heap. Blocks freed inside that were allocated before lower the
// running total, so the peak is the highest net growth over the starting point.
// Only one meter may be open at a time; not meant for timed regions (counting
// is an atomic update per allocation).
class HeapMeter {
 public:
  HeapMeter();
  ~HeapMeter();
  HeapMeter(const HeapMeter&) = delete;
  HeapMeter& operator=(const HeapMeter&) = delete;

  // Highest net growth seen so far, in bytes.
  size_t peakBytes() const;
  // Net growth now (negative when more was freed than taken).
  long long currentBytes() const;
  // Number of allocations made since the meter opened.
  size_t allocations() const;
};

}  // namespace bench
}  // namespace vekmesh
