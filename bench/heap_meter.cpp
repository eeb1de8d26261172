// Replacement global operator new and delete that feed HeapMeter. Linked into
// benchmark executables only (never into the library); when no meter is open
// the cost over plain malloc is one relaxed load per call.
#include "bench/heap_meter.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace vekmesh {
namespace bench {
namespace {

std::atomic<bool> g_open{false};
std::atomic<long long> g_current{0};
std::atomic<long long> g_peak{0};
std::atomic<size_t> g_allocations{0};

// What a block costs the heap: its usable bytes plus the size word in front.
long long blockCost(void* p) {
  return static_cast<long long>(malloc_usable_size(p) + sizeof(size_t));
}

void countAllocation(void* p) {
  if (!g_open.load(std::memory_order_relaxed)) return;
  const long long cost = blockCost(p);
  const long long now = g_current.fetch_add(cost, std::memory_order_relaxed) + cost;
  long long peak = g_peak.load(std::memory_order_relaxed);
  while (now > peak && !g_peak.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
  g_allocations.fetch_add(1, std::memory_order_relaxed);
}

void countRelease(void* p) {
  if (p && g_open.load(std::memory_order_relaxed))
    g_current.fetch_sub(blockCost(p), std::memory_order_relaxed);
}

void* allocate(size_t size) {
  // operator new must return a unique pointer even for zero bytes, and must keep
  // calling the new-handler until it gives up.
  if (size == 0) size = 1;
  for (;;) {
    if (void* p = std::malloc(size)) {
      countAllocation(p);
      return p;
    }
    std::new_handler handler = std::get_new_handler();
    if (!handler) throw std::bad_alloc();
    handler();
  }
}

void* allocateAligned(size_t size, std::align_val_t alignment) {
  const size_t align = static_cast<size_t>(alignment);
  // aligned_alloc wants a multiple of the alignment.
  size = (size + align - 1) / align * align;
  if (size == 0) size = align;
  for (;;) {
    if (void* p = std::aligned_alloc(align, size)) {
      countAllocation(p);
      return p;
    }
    std::new_handler handler = std::get_new_handler();
    if (!handler) throw std::bad_alloc();
    handler();
  }
}

void release(void* p) noexcept {
  countRelease(p);
  std::free(p);
}

}  // namespace

HeapMeter::HeapMeter() {
  g_current.store(0);
  g_peak.store(0);
  g_allocations.store(0);
  g_open.store(true);
}

HeapMeter::~HeapMeter() {
  g_open.store(false);
}

size_t HeapMeter::peakBytes() const {
  return static_cast<size_t>(g_peak.load());
}
long long HeapMeter::currentBytes() const {
  return g_current.load();
}
size_t HeapMeter::allocations() const {
  return g_allocations.load();
}

}  // namespace bench
}  // namespace vekmesh

using vekmesh::bench::allocate;
using vekmesh::bench::allocateAligned;
using vekmesh::bench::release;

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
void* operator new(size_t size, std::align_val_t alignment) {
  return allocateAligned(size, alignment);
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return allocateAligned(size, alignment);
}

void operator delete(void* p) noexcept {
  release(p);
}
void operator delete[](void* p) noexcept {
  release(p);
}
void operator delete(void* p, size_t) noexcept {
  release(p);
}
void operator delete[](void* p, size_t) noexcept {
  release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  release(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
  release(p);
}
void operator delete(void* p, size_t, std::align_val_t) noexcept {
  release(p);
}
void operator delete[](void* p, size_t, std::align_val_t) noexcept {
  release(p);
}
