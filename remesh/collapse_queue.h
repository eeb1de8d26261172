// The collapse queue: a min-priority queue of edge candidates with lazy
// invalidation, kept as binary heaps inside cost buckets (16 per octave, read
// from the float's bits). Pops are exact cheapest-first, but each heap stays
// small enough to live in cache, where one heap over millions of entries would
// miss on every level. An entry remembers the sum of its ends' versions when
// pushed; once either end has absorbed a neighbour the sums differ and the
// entry is skipped when it comes up, so nothing is ever searched or erased.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

struct QueueEntry {
  float cost;
  uint32_t a, b;
  uint32_t stamp;  // version[a] + version[b] at push time
};

class CollapseQueue {
 public:
  // Takes `entries` as the initial content.
  void assign(std::vector<QueueEntry>&& entries) {
    clear();
    for (const QueueEntry& e : entries) append(e);
    std::vector<QueueEntry>().swap(entries);
  }

  void push(const QueueEntry& e) {
    const uint32_t b = bucketOf(e);
    append(e);
    if (heaped_[b]) std::push_heap(buckets_[b].begin(), buckets_[b].end(), Later());
  }

  // The cheapest entry that is still current, or false when none is left.
  bool pop(const ReducerState& s, QueueEntry& out) {
    for (;;) {
      const uint32_t b = lowestBucket();
      if (b == kNoBucket) return false;
      std::vector<QueueEntry>& v = buckets_[b];
      if (!heaped_[b]) {
        std::make_heap(v.begin(), v.end(), Later());
        heaped_[b] = 1;
      }
      std::pop_heap(v.begin(), v.end(), Later());
      out = v.back();
      v.pop_back();
      --size_;
      if (v.empty()) {
        occupied_[b / 64] &= ~(uint64_t{1} << (b % 64));
        heaped_[b] = 0;
        std::vector<QueueEntry>().swap(v);
      }
      if (current(s, out)) return true;
    }
  }

  // The entries not yet popped, current or not, in no particular order; the
  // queue is left empty.
  std::vector<QueueEntry> release() {
    std::vector<QueueEntry> out;
    out.reserve(size_);
    for (auto& v : buckets_) out.insert(out.end(), v.begin(), v.end());
    clear();
    return out;
  }

  size_t size() const { return size_; }

  // The cost of the cheapest entry (current or not); infinity when empty.
  float peekCost() {
    const uint32_t b = lowestBucket();
    if (b == kNoBucket) return std::numeric_limits<float>::infinity();
    std::vector<QueueEntry>& v = buckets_[b];
    if (!heaped_[b]) {
      std::make_heap(v.begin(), v.end(), Later());
      heaped_[b] = 1;
    }
    return v.front().cost;
  }

  static bool current(const ReducerState& s, const QueueEntry& e) {
    return s.version[e.a] + s.version[e.b] == e.stamp;
  }

 private:
  // Non-negative floats order like their bit patterns; the top 13 bits give
  // the exponent and one sixteenth of an octave. NaN and infinity share the
  // last bucket.
  static constexpr uint32_t kBucketCount = (0x7F800000u >> 19) + 1;
  static constexpr uint32_t kNoBucket = 0xFFFFFFFFu;
  static constexpr size_t kWords = (kBucketCount + 63) / 64;

  static uint32_t bits(const QueueEntry& e) {
    uint32_t b;
    std::memcpy(&b, &e.cost, sizeof b);
    return b;
  }
  static uint32_t bucketOf(const QueueEntry& e) {
    const uint32_t b = bits(e);
    return b >= 0x7F800000u ? kBucketCount - 1 : b >> 19;
  }

  // Heap order inside a bucket: cheaper first; ties go to the lower vertex
  // numbers, so the pops never depend on the queue's history or on threads.
  struct Later {
    bool operator()(const QueueEntry& x, const QueueEntry& y) const {
      const uint32_t bx = bits(x), by = bits(y);
      if (bx != by) return bx > by;
      if (x.a != y.a) return x.a > y.a;
      return x.b > y.b;
    }
  };

  void append(const QueueEntry& e) {
    const uint32_t b = bucketOf(e);
    buckets_[b].push_back(e);
    occupied_[b / 64] |= uint64_t{1} << (b % 64);
    low_word_ = std::min<size_t>(low_word_, b / 64);
    ++size_;
  }

  // Words below low_word_ are known to be empty.
  uint32_t lowestBucket() {
    for (size_t w = low_word_; w < kWords; ++w)
      if (occupied_[w]) {
        low_word_ = w;
        return static_cast<uint32_t>(64 * w + __builtin_ctzll(occupied_[w]));
      }
    low_word_ = kWords;
    return kNoBucket;
  }

  void clear() {
    for (auto& v : buckets_) std::vector<QueueEntry>().swap(v);
    occupied_.fill(0);
    heaped_.fill(0);
    size_ = 0;
    low_word_ = 0;
  }

  std::array<std::vector<QueueEntry>, kBucketCount> buckets_;
  std::array<uint8_t, kBucketCount> heaped_{};
  std::array<uint64_t, kWords> occupied_{};
  size_t size_ = 0;
  size_t low_word_ = 0;
};

}  // namespace vekmesh::reducer
