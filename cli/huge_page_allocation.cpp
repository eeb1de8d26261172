// The tool's global allocation functions: blocks of several megabytes are
// marked for transparent huge pages. A million-triangle model lives in a
// handful of such arrays (faces, vertices, incidence lists, adjacency), and
// passes over a model whose triangles come in no particular order touch them
// at random: with 4 KiB pages nearly every access also misses the address
// translation cache, and the first touch of each page is a fault of its own.
// 2 MiB pages remove most of both. Where the kernel leaves huge pages to
// madvise (a common default) nothing happens without the hint; where they are
// off, it is ignored. Small blocks are left to malloc as they are.
//
// The same blocks are always mapped afresh and given back when freed. By
// default the C library raises its mapping threshold to the size of each large
// block freed, so that later blocks of that size come from its heaps, where
// what is freed stays resident; with two threads allocating, whether a block
// found room there depended on timing, and the tool's peak at a million
// triangles swung between runs by 9 MB.
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>

#include <cstdint>
#endif
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace {

#if defined(__linux__)
constexpr size_t kHugePage = size_t(2) << 20;
// Below this a block spans too few huge pages to be worth a system call.
constexpr size_t kAdviseFrom = size_t(4) << 20;

// Advises the whole huge pages inside [p, p + size). The block is fresh, so
// the pages it has not touched yet are made huge when first touched.
void adviseHugePages(void* p, size_t size) {
  const uintptr_t begin = (reinterpret_cast<uintptr_t>(p) + kHugePage - 1) & ~(kHugePage - 1);
  const uintptr_t end = (reinterpret_cast<uintptr_t>(p) + size) & ~(kHugePage - 1);
  if (end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}
#endif

#if defined(__GLIBC__)
// Set before main, ahead of the first large block.
[[maybe_unused]] const bool fixed_mapping_threshold =
    mallopt(M_MMAP_THRESHOLD, int(kAdviseFrom)) == 1;
#endif

void* allocate(size_t size) {
  if (size == 0) size = 1;
  void* p = std::malloc(size);
  if (!p) throw std::bad_alloc();
#if defined(__linux__)
  if (size >= kAdviseFrom) adviseHugePages(p, size);
#endif
  return p;
}

}  // namespace

void* operator new(size_t size) {
  return allocate(size);
}

void* operator new[](size_t size) {
  return allocate(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (...) {
    return nullptr;
  }
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (...) {
    return nullptr;
  }
}

void operator delete(void* p) noexcept {
  std::free(p);
}

void operator delete[](void* p) noexcept {
  std::free(p);
}

void operator delete(void* p, size_t) noexcept {
  std::free(p);
}

void operator delete[](void* p, size_t) noexcept {
  std::free(p);
}
