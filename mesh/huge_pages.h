// Working arrays of several megabytes that a pass reads at random: backed by
// 2 MiB pages where the system allows it. With 4 KiB pages nearly every
// access to such an array also misses the address translation cache, and
// the first touch of every page is a fault of its own; where transparent
// huge pages are left to the program's advice (a common default), the hint
// removes most of both. Elsewhere (other systems, huge pages off) the array
// is an ordinary aligned block. The tool marks every large block this way
// already; these are the arrays a host's calls gain from it in the same way.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace vekmesh {

// Blocks from this size on are aligned to whole huge pages and advised.
constexpr size_t kHugePageArrayMinimum = size_t(4) << 20;

// An uninitialised block of `bytes` aligned to at least `align` (a power of
// two); throws std::bad_alloc. Release it with releaseWorkingArray and the
// same `bytes` and `align`.
void* allocateWorkingArray(size_t bytes, size_t align);
void releaseWorkingArray(void* p, size_t bytes, size_t align) noexcept;

// The same for a std::vector's storage (hash tables, incidence lists). Its
// elements start uninitialised unless given a value: such a vector is for
// arrays whose every element the code writes before reading.
template <class T>
struct WorkingArrayAllocator {
  using value_type = T;
  WorkingArrayAllocator() = default;
  template <class U>
  WorkingArrayAllocator(const WorkingArrayAllocator<U>&) {}
  T* allocate(size_t n) {
    if (n > size_t(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(allocateWorkingArray(n * sizeof(T), alignof(T)));
  }
  void deallocate(T* p, size_t n) noexcept { releaseWorkingArray(p, n * sizeof(T), alignof(T)); }
  // Elements made without a value are left uninitialised: a working array is
  // filled by the pass that follows, often by a team, and zeroing it first
  // would touch every fresh page on one thread. Elements given a value get it.
  template <class U>
  void construct(U* p) noexcept(std::is_nothrow_default_constructible_v<U>) {
    ::new (static_cast<void*>(p)) U;
  }
  template <class U, class... Args>
  void construct(U* p, Args&&... args) {
    ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
  }
  template <class U>
  bool operator==(const WorkingArrayAllocator<U>&) const {
    return true;
  }
  template <class U>
  bool operator!=(const WorkingArrayAllocator<U>&) const {
    return false;
  }
};

template <class T>
using WorkingVector = std::vector<T, WorkingArrayAllocator<T>>;

// Asks the system to back the whole pages inside [begin, begin + bytes) now,
// as a write to each would, so that a thread with time to spare pays for the
// first touches that another would otherwise pay later. Only a hint: where
// it is refused (older kernels, other systems) nothing changes.
void prefaultForWriting(const void* begin, size_t bytes) noexcept;

}  // namespace vekmesh
