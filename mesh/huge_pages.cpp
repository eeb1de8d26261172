// Large working arrays on huge pages: aligned new, then madvise on Linux; and
// the hint that backs pages ahead of their first write.
#include "mesh/huge_pages.h"

#include <cstdint>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace vekmesh {
namespace {

constexpr size_t kHugePage = size_t(2) << 20;

size_t alignmentFor(size_t bytes, size_t align) {
  return bytes >= kHugePageArrayMinimum && align < kHugePage ? kHugePage : align;
}

}  // namespace

void* allocateWorkingArray(size_t bytes, size_t align) {
  const size_t a = alignmentFor(bytes, align);
  // The aligned operator new rather than std::aligned_alloc, which the
  // Windows C runtime lacks; it throws std::bad_alloc itself.
  void* p = ::operator new(bytes, std::align_val_t(a));
#if defined(__linux__)
  // The block is fresh: pages not yet touched become huge when first
  // touched. A refusal (huge pages off) changes nothing.
  if (a == kHugePage) madvise(p, bytes / kHugePage * kHugePage, MADV_HUGEPAGE);
#endif
  return p;
}

void releaseWorkingArray(void* p, size_t bytes, size_t align) noexcept {
  ::operator delete(p, std::align_val_t(alignmentFor(bytes, align)));
}

void prefaultForWriting(const void* begin, size_t bytes) noexcept {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
  constexpr uintptr_t kSmallPage = 4096;
  const uintptr_t first = (reinterpret_cast<uintptr_t>(begin) + kSmallPage - 1) & ~(kSmallPage - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(begin) + bytes) & ~(kSmallPage - 1);
  if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_POPULATE_WRITE);
#else
  (void)begin;
  (void)bytes;
#endif
}

}  // namespace vekmesh
