// The written vertex numbers of one vertex's uses by corner colour, for the
// OBJ writers, which split a vertex into one line per distinct colour.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vekmesh {

// The three colour bytes of a corner as one number.
inline uint32_t packColour(const uint8_t rgb[3]) {
  return uint32_t(rgb[0]) << 16 | uint32_t(rgb[1]) << 8 | rgb[2];
}

// A colour is its three bytes: each distinct colour is its own line. Most
// vertices see one or two colours, so a short list is searched first.
class ColourLines {
 public:
  void clear() {
    few_.clear();
    many_.clear();
  }
  // The number recorded for `colour`, or -1.
  int32_t find(uint32_t colour) const {
    for (const auto& entry : few_)
      if (entry.first == colour) return entry.second;
    const auto it = many_.find(colour);
    return it == many_.end() ? -1 : it->second;
  }
  void add(uint32_t colour, int32_t number) {
    if (few_.size() < kFew)
      few_.emplace_back(colour, number);
    else
      many_.emplace(colour, number);
  }

 private:
  static constexpr size_t kFew = 8;
  std::vector<std::pair<uint32_t, int32_t>> few_;
  std::unordered_map<uint32_t, int32_t> many_;
};

}  // namespace vekmesh
