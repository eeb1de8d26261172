// Open-addressing hash table that assigns vertex indices to (cell, key) pairs in
// first-seen order. It replaces a 101^3 grid of small ordered maps: identity is
// the pair, not the coordinates, so the welded vertices and their order are the
// same while a lookup costs one probe sequence instead of a tree walk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {

class VertexWelder {
 public:
  static constexpr uint32_t kEmpty = 0xFFFFFFFFu;

  // `expected` is a hint for the number of distinct entries.
  explicit VertexWelder(size_t expected) {
    size_t capacity = 1024;
    while (capacity < expected * 2) capacity <<= 1;
    slots_.assign(capacity, Slot{0, 0, kEmpty});
    mask_ = capacity - 1;
  }

  // Returns the index stored for (cell, key), or stores `next` and returns it.
  // `inserted` tells which happened.
  uint32_t findOrInsert(uint32_t cell, uint64_t key, uint32_t next, bool& inserted) {
    return findOrInsert(hash(cell, key), cell, key, next, inserted);
  }

  // The same with `h` = hash(cell, key) computed beforehand, as prefetch() needs it.
  uint32_t findOrInsert(uint64_t h, uint32_t cell, uint64_t key, uint32_t next, bool& inserted) {
    size_t i = static_cast<size_t>(h) & mask_;
    for (;;) {
      Slot& s = slots_[i];
      if (s.value == kEmpty) {
        s = Slot{key, cell, next};
        inserted = true;
        if (++size_ * 5 > slots_.size() * 3) grow();  // keep the load under 0.6
        return next;
      }
      if (s.key == key && s.cell == cell) {
        inserted = false;
        return s.value;
      }
      i = (i + 1) & mask_;
    }
  }

  // Starts loading the slot where a lookup of hash `h` begins. Hashing scatters
  // neighbouring points over a table far larger than the caches, so nearly every
  // first probe misses; callers that know their next keys hide that latency by
  // prefetching a few lookups ahead. A prefetch made before the table grew only
  // loads a useless line.
  void prefetch(uint64_t h) const {
#if defined(__GNUC__) || defined(__clang__)
    __builtin_prefetch(&slots_[static_cast<size_t>(h) & mask_], 1);
#else
    (void)h;
#endif
  }

  static uint64_t hash(uint32_t cell, uint64_t key) {
    // The key is a linear mix of float bit patterns; stir it so that nearby
    // coordinates spread over the table (final mixer of MurmurHash3).
    uint64_t h = key ^ (uint64_t(cell) * 0x9E3779B97F4A7C15ull);
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ull;
    h ^= h >> 33;
    return h;
  }

 private:
  struct Slot {
    uint64_t key;
    uint32_t cell;
    uint32_t value;
  };

  void grow() {
    std::vector<Slot> old;
    old.swap(slots_);
    slots_.assign(old.size() * 2, Slot{0, 0, kEmpty});
    mask_ = slots_.size() - 1;
    for (const Slot& s : old) {
      if (s.value == kEmpty) continue;
      size_t i = static_cast<size_t>(hash(s.cell, s.key)) & mask_;
      while (slots_[i].value != kEmpty) i = (i + 1) & mask_;
      slots_[i] = s;
    }
  }

  std::vector<Slot> slots_;
  size_t mask_ = 0;
  size_t size_ = 0;
};

}  // namespace vekmesh
