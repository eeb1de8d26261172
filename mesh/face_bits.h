// A packed bit set with one bit per face (32 faces a word), for visited marks
// in face walks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

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

 private:
  std::vector<uint32_t> words_;
};

}  // namespace vekmesh
