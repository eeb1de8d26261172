// Open-addressing hash tables that assign vertex indices to (cell, key) pairs in
// first-seen order. They replace a 101^3 grid of small ordered maps: identity is
// the pair, not the coordinates, so the welded vertices and their order are the
// same while a lookup costs one probe sequence instead of a tree walk.
// VertexWelder is given the pair; PointWelder is given the point and works the
// pair out only when two different points share a key (linear probing both).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "mesh/huge_pages.h"
#include "mesh/prefetch.h"

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
  void prefetch(uint64_t h) const { prefetchWrite(&slots_[static_cast<size_t>(h) & mask_]); }

  static uint64_t hash(uint32_t cell, uint64_t key) {
    return stir(key ^ (uint64_t(cell) * 0x9E3779B97F4A7C15ull));
  }

  // The key is a linear mix of float bit patterns; stir it so that nearby
  // coordinates spread over the table (final mixer of MurmurHash3).
  static uint64_t stir(uint64_t h) {
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
    WorkingVector<Slot> old;
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

  WorkingVector<Slot> slots_;
  size_t mask_ = 0;
  size_t size_ = 0;
};

// The same first-seen numbering, keyed by the points themselves. A slot holds
// a vertex number and the low 32 bits of its hash; the vertex's position is
// the caller's (`stored(value)`), made when the lookup inserts it. Eight-byte
// slots keep the table half the size of one holding the points, and a vertex
// is looked at only when the hash bits agree. Points with equal bits share
// their key and their cell, so a lookup that meets its own bits is decided
// without either; only a different point of the same hash needs the caller's
// `same_class(stored, point)`, which compares keys and then cells. The cell,
// and with it the box over the whole soup, is then needed only when two
// different points share a key, which is rare.
// `Key` is the weld's key of a point, which the hash stirs.
template <uint64_t (*Key)(const std::array<float, 3>&)>
class PointWelder {
 public:
  using Point = std::array<float, 3>;
  static constexpr uint32_t kEmpty = 0xFFFFFFFFu;

  // `expected` is a hint for the number of distinct entries.
  explicit PointWelder(size_t expected) {
    size_t capacity = 1024;
    while (capacity < expected * 2) capacity <<= 1;
    slots_.assign(capacity, Slot{0, kEmpty});
    mask_ = capacity - 1;
  }

  static uint64_t hash(const Point& p) { return VertexWelder::stir(Key(p)); }

  // Starts loading the slot where a lookup of hash `h` begins (see
  // VertexWelder::prefetch).
  void prefetch(uint64_t h) const { prefetchWrite(&slots_[static_cast<size_t>(h) & mask_]); }

  // Once the slot of hash `h` has been loaded: hands `load` the vertex number
  // it holds when that point has the same hash bits (the one the lookup will
  // compare with, which the caller starts loading), else `fallback`. Chosen
  // without a branch: whether a corner meets a known point is a coin toss.
  template <class Load>
  void prefetchStored(uint64_t h, uint32_t fallback, Load&& load) const {
    const Slot s = slots_[static_cast<size_t>(h) & mask_];
    const bool known = s.value != kEmpty && s.low == static_cast<uint32_t>(h);
    load(known ? s.value : fallback);
  }

  // The vertex number stored for the class of `p` (whose hash is `h`), or
  // kEmpty.
  template <class Stored, class SameClass>
  uint32_t find(uint64_t h, const Point& p, Stored&& stored, SameClass&& same_class) const {
    const uint32_t low = static_cast<uint32_t>(h);
    for (size_t i = static_cast<size_t>(h) & mask_;; i = (i + 1) & mask_) {
      const Slot s = slots_[i];
      if (s.value == kEmpty || (s.low == low && matches(stored(s.value), p, same_class)))
        return s.value;
    }
  }

  // Returns the vertex number stored for the class of `p` (whose hash is
  // `h`), or stores `next` and returns it; `inserted` tells which, and the
  // caller then makes vertex `next` at p before the next lookup. (The probe
  // is find's, written out: this is the weld's innermost loop.)
  template <class Stored, class SameClass>
  uint32_t findOrInsert(uint64_t h, const Point& p, uint32_t next, bool& inserted, Stored&& stored,
                        SameClass&& same_class) {
    const uint32_t low = static_cast<uint32_t>(h);
    size_t i = static_cast<size_t>(h) & mask_;
    for (;;) {
      const Slot s = slots_[i];
      if (s.value == kEmpty) break;
      if (s.low == low && matches(stored(s.value), p, same_class)) {
        inserted = false;
        return s.value;
      }
      i = (i + 1) & mask_;
    }
    inserted = true;
    if ((size_ + 1) * 5 > slots_.size() * 3) {  // keep the load under 0.6
      grow(stored);
      i = static_cast<size_t>(h) & mask_;
      while (slots_[i].value != kEmpty) i = (i + 1) & mask_;
    }
    slots_[i] = Slot{low, next};
    ++size_;
    return next;
  }

 private:
  struct Slot {
    uint32_t low;  // low 32 bits of the hash
    uint32_t value;
  };

  template <class SameClass>
  static bool matches(const Point& q, const Point& p, SameClass&& same_class) {
    return sameBits(q, p) || same_class(q, p);
  }

  static bool sameBits(const Point& a, const Point& b) {
    uint32_t x[3], y[3];
    std::memcpy(x, a.data(), sizeof x);
    std::memcpy(y, b.data(), sizeof y);
    return ((x[0] ^ y[0]) | (x[1] ^ y[1]) | (x[2] ^ y[2])) == 0;
  }

  // The low hash bits in each slot place it in a table of up to 2^32 slots;
  // only larger ones hash the stored points again.
  template <class Stored>
  void grow(Stored&& stored) {
    WorkingVector<Slot> old;
    old.swap(slots_);
    slots_.assign(old.size() * 2, Slot{0, kEmpty});
    mask_ = slots_.size() - 1;
    const bool low_bits_suffice = mask_ <= 0xFFFFFFFFu;
    for (const Slot& s : old) {
      if (s.value == kEmpty) continue;
      size_t i = low_bits_suffice ? s.low & mask_ : hash(stored(s.value)) & mask_;
      while (slots_[i].value != kEmpty) i = (i + 1) & mask_;
      slots_[i] = s;
    }
  }

  WorkingVector<Slot> slots_;
  size_t mask_ = 0;
  size_t size_ = 0;
};

}  // namespace vekmesh
