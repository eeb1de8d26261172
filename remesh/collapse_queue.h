// The collapse queue: a bucket queue of edge candidates (64 cost bins per
// octave, first-in first-out inside a bin) with lazy invalidation by the
// versions of the entry's two ends.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
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
//
// A bin is a list of fixed-size chunks drawn from the queue's own pool: a
// chunk emptied by pops goes back to the pool and is the next one a push
// takes, while it is still in cache, and no bin ever grows by copying.
class CollapseQueue {
 public:
  // The bin records are left uninitialised: a record is valid only while its
  // bin's occupied bit is set, so an idle queue touches none of their pages.
  CollapseQueue() : bins_(new Bin[kBinCount]), occupied_(kWords, 0) {}
  // The free list and the bins point into the slabs: not to be moved.
  CollapseQueue(CollapseQueue&&) = delete;
  CollapseQueue& operator=(CollapseQueue&&) = delete;

  // Empties the queue and gives its memory back.
  void clear() {
    slabs_.clear();
    slabs_.shrink_to_fit();
    free_ = nullptr;
    slab_chunks_ = kFirstSlabChunks;
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
    uint64_t& word = occupied_[b / 64];
    const uint64_t bit = uint64_t{1} << (b % 64);
    Bin& bin = bins_[b];
    if (!(word & bit)) {
      Chunk* c = takeChunk();
      bin.head = bin.tail = c;
      bin.first = bin.end = 0;
      word |= bit;
    } else if (bin.end == kChunkEntries) {
      Chunk* c = takeChunk();
      bin.tail->next = c;
      bin.tail = c;
      bin.end = 0;
    }
    bin.tail->entries[bin.end++] = e;
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
      out = bin.head->entries[bin.first++];
      --size_;
      if (bin.head == bin.tail && bin.first == bin.end) {
        giveChunk(bin.head);
        occupied_[b / 64] &= ~(uint64_t{1} << (b % 64));
      } else {
        if (bin.first == kChunkEntries) {
          Chunk* done = bin.head;
          bin.head = done->next;
          bin.first = 0;
          giveChunk(done);
        }
        // The bin is read in order, mostly stale entry after stale entry:
        // its lines two ahead are asked for, across into the next chunk.
        const uint32_t ahead = bin.first + 8;
        if (ahead < kChunkEntries)
          __builtin_prefetch(&bin.head->entries[ahead]);
        else if (bin.head != bin.tail)
          __builtin_prefetch(&bin.head->next->entries[ahead - kChunkEntries]);
        // The next entry's staleness test will read these.
        const QueueEntry& n = bin.head->entries[bin.first];
        __builtin_prefetch(&s.version[n.a]);
        __builtin_prefetch(&s.version[n.b]);
      }
      if (current(s, out)) return true;
    }
  }

  // The first of the next few entries that is current now, without popping
  // it: most likely the next collapse, whose data can be fetched early.
  bool peekCurrent(const ReducerState& s, QueueEntry& out) {
    const uint32_t b = lowestBin();
    if (b == kNoBin) return false;
    const Bin& bin = bins_[b];
    const uint32_t filled = bin.head == bin.tail ? bin.end : kChunkEntries;
    const uint32_t last = std::min(filled, bin.first + kPeekEntries);
    for (uint32_t i = bin.first; i < last; ++i)
      if (current(s, bin.head->entries[i])) {
        out = bin.head->entries[i];
        return true;
      }
    return false;
  }

  // Appends the entries not yet popped, current or not, to `out` in queue
  // order; the queue is left empty.
  void releaseInto(std::vector<QueueEntry>& out) {
    out.reserve(out.size() + size_);
    for (size_t w = 0; w < kWords; ++w)
      for (uint64_t bits = occupied_[w]; bits != 0; bits &= bits - 1) {
        const Bin& bin = bins_[64 * w + static_cast<size_t>(__builtin_ctzll(bits))];
        for (const Chunk* c = bin.head;; c = c->next) {
          const uint32_t first = c == bin.head ? bin.first : 0;
          const uint32_t end = c == bin.tail ? bin.end : kChunkEntries;
          out.insert(out.end(), c->entries + first, c->entries + end);
          if (c == bin.tail) break;
        }
      }
    clear();
  }

  size_t size() const { return size_; }

  // The cost of the entry that comes up next (current or not); infinity when
  // the queue is empty.
  float peekCost() {
    const uint32_t b = lowestBin();
    if (b == kNoBin) return std::numeric_limits<float>::infinity();
    return bins_[b].head->entries[bins_[b].first].cost;
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

  // How far peekCurrent looks.
  static constexpr uint32_t kPeekEntries = 8;

  // 31 entries and the link fill eight cache lines.
  static constexpr uint32_t kChunkEntries = 31;
  struct alignas(64) Chunk {
    QueueEntry entries[kChunkEntries];
    Chunk* next;
  };
  // Slabs of chunks double from this size up to the last, so that small
  // queues stay small and large ones need few allocations.
  static constexpr size_t kFirstSlabChunks = 16;
  static constexpr size_t kLastSlabChunks = 4096;

  // Entries head->entries[first] .. tail->entries[end - 1], in order along
  // the chunks' links.
  struct Bin {
    Chunk* head;
    Chunk* tail;
    uint32_t first, end;
  };

  static uint32_t binOf(const QueueEntry& e) {
    uint32_t bits;
    std::memcpy(&bits, &e.cost, sizeof bits);
    return bits >= 0x7F800000u ? kBinCount - 1 : bits >> 17;
  }

  Chunk* takeChunk() {
    if (!free_) {
      // A fresh slab's chunks are left uninitialised; each is threaded onto
      // the free list as it is handed out.
      slabs_.emplace_back(new Chunk[slab_chunks_]);
      Chunk* slab = slabs_.back().get();
      for (size_t i = 0; i + 1 < slab_chunks_; ++i) slab[i].next = &slab[i + 1];
      slab[slab_chunks_ - 1].next = nullptr;
      free_ = slab;
      slab_chunks_ = std::min(2 * slab_chunks_, kLastSlabChunks);
    }
    Chunk* c = free_;
    free_ = c->next;
    return c;
  }

  void giveChunk(Chunk* c) {
    c->next = free_;
    free_ = c;
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

  std::unique_ptr<Bin[]> bins_;
  std::vector<uint64_t> occupied_;
  std::vector<std::unique_ptr<Chunk[]>> slabs_;
  Chunk* free_ = nullptr;
  size_t slab_chunks_ = kFirstSlabChunks;
  size_t size_ = 0;
  size_t low_word_ = 0;
};

}  // namespace vekmesh::reducer
