// Chaining of a plane's pieces into loops by their crossing edges, with the
// pieces sorted by the crossing they start from (no hashing: a section of a
// few thousand pieces sorts in microseconds).
#include "mesh/plane_slicing.h"

#include <algorithm>
#include <map>

namespace vekmesh {

void chainSegments(std::vector<Segment>& segments, std::vector<CrossingLoop>& loops) {
  // Fully ordered, so that the loops do not depend on the order the faces
  // came in (where more than two faces share an edge, several pieces start
  // at one crossing).
  std::sort(segments.begin(), segments.end(), [](const Segment& a, const Segment& b) {
    return a.from < b.from || (a.from == b.from && a.to < b.to);
  });
  const size_t n = segments.size();
  std::vector<uint8_t> used(n, 0);
  const auto firstFrom = [&](uint64_t key) {
    return size_t(std::lower_bound(segments.begin(), segments.end(), key,
                                   [](const Segment& s, uint64_t k) { return s.from < k; }) -
                  segments.begin());
  };
  // The first unused piece starting at `key`; n when there is none. Skipping
  // used pieces is linear only where more than two faces share an edge.
  const auto successor = [&](uint64_t key) {
    for (size_t i = firstFrom(key); i < n && segments[i].from == key; ++i)
      if (!used[i]) return i;
    return n;
  };
  // Pieces that another piece leads into; the others start open chains.
  std::vector<uint8_t> led(n, 0);
  for (size_t i = 0; i < n; ++i)
    for (size_t j = firstFrom(segments[i].to); j < n && segments[j].from == segments[i].to; ++j)
      led[j] = 1;
  const auto walk = [&](size_t first, bool from_start) {
    CrossingLoop loop;
    const uint64_t start = segments[first].from;
    size_t current = first;
    for (;;) {
      used[current] = 1;
      loop.crossings.push_back(segments[current].from);
      const uint64_t to = segments[current].to;
      if (!from_start && to == start) {
        loop.closed = true;
        break;
      }
      const size_t next = successor(to);
      if (next == n) {
        loop.crossings.push_back(to);
        break;
      }
      current = next;
    }
    loops.push_back(std::move(loop));
  };
  // Open chains start where no piece ends; walked from there they come out
  // whole rather than cut where a closed-loop walk would have begun.
  for (size_t i = 0; i < n; ++i)
    if (!used[i] && !led[i]) walk(i, true);
  for (size_t i = 0; i < n; ++i)
    if (!used[i]) walk(i, false);
}

namespace {

// The loop turned to start where it is smallest, so that equal cycles compare
// equal whatever point they started at.
std::vector<uint64_t> canonicalCycle(const std::vector<uint64_t>& loop) {
  const size_t n = loop.size();
  size_t best = 0;
  for (size_t start = 1; start < n; ++start) {
    if (loop[start] > loop[best]) continue;
    for (size_t k = 0; k < n; ++k) {
      const uint64_t a = loop[(start + k) % n], b = loop[(best + k) % n];
      if (a != b) {
        if (a < b) best = start;
        break;
      }
    }
  }
  std::vector<uint64_t> out(n);
  for (size_t k = 0; k < n; ++k) out[k] = loop[(best + k) % n];
  return out;
}

}  // namespace

void dropOppositeLoops(std::vector<std::vector<uint64_t>>& loops,
                       const std::vector<uint8_t>& closed) {
  std::map<std::vector<uint64_t>, std::vector<size_t>> forward;
  for (size_t i = 0; i < loops.size(); ++i)
    if (closed[i]) forward[canonicalCycle(loops[i])].push_back(i);
  std::vector<uint8_t> dropped(loops.size(), 0);
  for (size_t i = 0; i < loops.size(); ++i) {
    if (!closed[i] || dropped[i]) continue;
    std::vector<uint64_t> reversed(loops[i].rbegin(), loops[i].rend());
    const auto it = forward.find(canonicalCycle(reversed));
    if (it == forward.end()) continue;
    for (size_t j : it->second)
      if (j != i && !dropped[j]) {
        dropped[i] = dropped[j] = 1;
        break;
      }
  }
  for (size_t i = 0; i < loops.size(); ++i)
    if (dropped[i]) loops[i].clear();
}

}  // namespace vekmesh
