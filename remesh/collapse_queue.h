// The collapse queue: a bucket queue of edge candidates (64 cost bins per
// octave, first-in first-out inside a bin) with lazy invalidation by the
// versions of the entry's two ends.
#pragma once

#include <algorithm>
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

// Costs are binned by their float bits, so bins are 1.1 % wide: pushes and
// pops cost a few instructions and touch memory in order, where a binary heap
// over millions of entries would miss the cache on every level. An entry
// remembers its ends' versions when pushed; once either end has absorbed a
// neighbour the entry is skipped when it comes up, so nothing is ever searched
// or erased.
class CollapseQueue {
 public:
  CollapseQueue() : bins_(kBinCount), occupied_(kWords, 0) {}

  // Empties the queue and gives its memory back.
  void clear() {
    for (Bin& bin : bins_) {
      std::vector<QueueEntry>().swap(bin.entries);
      bin.next = 0;
    }
    std::fill(occupied_.begin(), occupied_.end(), 0);
    size_ = 0;
    low_word_ = 0;
  }

  // Takes `entries` as the initial content; their order decides ties.
  void assign(std::vector<QueueEntry>&& entries) {
    clear();
    for (const QueueEntry& e : entries) push(e);
    std::vector<QueueEntry>().swap(entries);
  }

  void push(const QueueEntry& e) {
    const uint32_t b = binOf(e);
    bins_[b].entries.push_back(e);
    occupied_[b / 64] |= uint64_t{1} << (b % 64);
    if (b / 64 < low_word_) low_word_ = b / 64;
    ++size_;
  }

  // The cheapest entry (to within a bin) that is still current, or false when
  // none is left.
  bool pop(const ReducerState& s, QueueEntry& out) {
    for (;;) {
      const uint32_t b = lowestBin();
      if (b == kNoBin) return false;
      Bin& bin = bins_[b];
      out = bin.entries[bin.next++];
      --size_;
      if (bin.next == bin.entries.size()) {
        std::vector<QueueEntry>().swap(bin.entries);
        bin.next = 0;
        occupied_[b / 64] &= ~(uint64_t{1} << (b % 64));
      } else {
        // The next entry's staleness test will read these.
        const QueueEntry& n = bin.entries[bin.next];
        __builtin_prefetch(&s.version[n.a]);
        __builtin_prefetch(&s.version[n.b]);
      }
      if (current(s, out)) return true;
    }
  }

  // The entries not yet popped, current or not, in queue order; the queue is
  // left empty.
  std::vector<QueueEntry> release() {
    std::vector<QueueEntry> out;
    out.reserve(size_);
    for (Bin& bin : bins_) out.insert(out.end(), bin.entries.begin() + bin.next, bin.entries.end());
    clear();
    return out;
  }

  size_t size() const { return size_; }

  // The cost of the entry that comes up next (current or not); infinity when
  // the queue is empty.
  float peekCost() {
    const uint32_t b = lowestBin();
    if (b == kNoBin) return std::numeric_limits<float>::infinity();
    return bins_[b].entries[bins_[b].next].cost;
  }

  // Both ends alive and unchanged since the push. The sum alone is not
  // enough: two dead ends' versions add up to 0 modulo 2^32.
  static bool current(const ReducerState& s, const QueueEntry& e) {
    const uint32_t va = s.version[e.a], vb = s.version[e.b];
    return va < kDeadVersion && vb < kDeadVersion && va + vb == e.stamp;
  }

 private:
  // Non-negative floats order like their bit patterns: the top 15 bits give
  // the exponent and a 64th of an octave. NaN and infinity share the last bin.
  static constexpr uint32_t kBinCount = (0x7F800000u >> 17) + 1;
  static constexpr uint32_t kNoBin = 0xFFFFFFFFu;
  static constexpr size_t kWords = (kBinCount + 63) / 64;

  struct Bin {
    std::vector<QueueEntry> entries;
    size_t next = 0;  // first entry not yet popped
  };

  static uint32_t binOf(const QueueEntry& e) {
    uint32_t bits;
    std::memcpy(&bits, &e.cost, sizeof bits);
    return bits >= 0x7F800000u ? kBinCount - 1 : bits >> 17;
  }

  // Words below low_word_ are known to be empty.
  uint32_t lowestBin() {
    for (size_t w = low_word_; w < kWords; ++w)
      if (occupied_[w]) {
        low_word_ = w;
        return static_cast<uint32_t>(64 * w + __builtin_ctzll(occupied_[w]));
      }
    low_word_ = kWords;
    return kNoBin;
  }

  std::vector<Bin> bins_;
  std::vector<uint64_t> occupied_;
  size_t size_ = 0;
  size_t low_word_ = 0;
};

}  // namespace vekmesh::reducer
