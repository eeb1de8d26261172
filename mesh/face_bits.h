// A packed bit set with one bit per face (32 faces a word), for visited marks
// in face walks; the used-vertex marks take one bit per vertex.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/parallel_loops.h"

namespace vekmesh {

class FaceBits {
 public:
  explicit FaceBits(size_t size) : words_((size + 31) / 32, 0u) {}
  bool test(size_t i) const { return (words_[i >> 5] >> (i & 31)) & 1u; }
  void set(size_t i) { words_[i >> 5] |= 1u << (i & 31); }
  void reset(size_t i) { words_[i >> 5] &= ~(1u << (i & 31)); }
  // Whole words, for passes that fill the set in parallel a word at a time.
  size_t wordCount() const { return words_.size(); }
  void setWord(size_t w, uint32_t bits) { words_[w] = bits; }
  uint32_t word(size_t w) const { return words_[w]; }
  // How many bits are set.
  size_t count() const {
    size_t n = 0;
    for (const uint32_t w : words_) n += size_t(__builtin_popcount(w));
    return n;
  }

 private:
  std::vector<uint32_t> words_;
};

// The set of faces f < n for which test(f) holds, filled by the team a word
// at a time, so that threads never share one.
template <class Test>
FaceBits faceBitsWhere(size_t n, Test&& test) {
  FaceBits bits(n);
  const int64_t words = static_cast<int64_t>(bits.wordCount());
#pragma omp parallel for schedule(static) if (int64_t(n) >= kParallelMinimum)
  for (int64_t w = 0; w < words; ++w) {
    uint32_t word = 0;
    const size_t first = size_t(w) * 32, end = std::min(n, first + 32);
    for (size_t f = first; f < end; ++f) word |= uint32_t(test(f) ? 1 : 0) << (f - first);
    bits.setWord(size_t(w), word);
  }
  return bits;
}

}  // namespace vekmesh
