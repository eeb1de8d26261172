// The points of an OBJ face line for triangulation, shared by the exports'
// reader and the tool's: consecutive repeats of a point (bit for bit, the
// last against the first included) are dropped with their corners, so that
// the triangulation never sees a zero-length side.
#pragma once

#include <array>
#include <cstring>
#include <vector>

namespace vekmesh {

inline bool samePosition(const std::array<float, 3>& a, const std::array<float, 3>& b) {
  return std::memcmp(a.data(), b.data(), sizeof a) == 0;
}

// Fills `points` and `kept` (cleared first) from `corners`; `position(c)` is
// the point of corner c.
template <class Corner, class PositionOf>
void distinctFacePoints(const std::vector<Corner>& corners, PositionOf position,
                        std::vector<std::array<float, 3>>& points, std::vector<Corner>& kept) {
  points.clear();
  kept.clear();
  for (const Corner& c : corners) {
    const std::array<float, 3>& p = position(c);
    if (!points.empty() && samePosition(points.back(), p)) continue;
    points.push_back(p);
    kept.push_back(c);
  }
  while (points.size() > 1 && samePosition(points.back(), points.front())) {
    points.pop_back();
    kept.pop_back();
  }
}

}  // namespace vekmesh
