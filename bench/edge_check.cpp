// An edge count of a binary STL that shares no code with the library, so that
// it can judge our repaired files and a peer's alike: corners weld when their
// float bit patterns agree (an open-addressing hash), then the undirected
// edges are sorted and each one's uses counted.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Key {
  uint32_t bits[3];
  bool operator==(const Key& o) const {
    return bits[0] == o.bits[0] && bits[1] == o.bits[1] && bits[2] == o.bits[2];
  }
};

// -0 and +0 compare equal as floats; a writer that happens to produce one for
// the other has not opened the surface, so both weld to +0.
Key keyOf(const float* p) {
  Key k;
  for (int c = 0; c < 3; ++c) {
    std::memcpy(&k.bits[c], &p[c], 4);
    if (k.bits[c] == 0x80000000u) k.bits[c] = 0;
  }
  return k;
}

uint64_t hashOf(const Key& k) {
  uint64_t h = (uint64_t(k.bits[0]) << 32 | k.bits[1]) * 0x9E3779B97F4A7C15ull;
  h ^= (h >> 29) ^ (uint64_t(k.bits[2]) * 0xC2B2AE3D27D4EB4Full);
  return h ^ (h >> 32);
}

struct Counts {
  size_t faces = 0, vertices = 0, edges = 0;
  size_t open = 0, non_manifold = 0, misoriented = 0;
  size_t degenerate = 0;  // faces with two corners welded together; no edges counted
};

// Vertex ids of every corner (3 per facet) by exact weld.
std::vector<uint32_t> weld(const std::vector<float>& corners, size_t& vertices) {
  const size_t n = corners.size() / 3;
  size_t capacity = 16;
  while (capacity < 2 * n) capacity *= 2;
  std::vector<uint32_t> slot(capacity, ~0u);  // vertex id, or empty
  std::vector<Key> keys;
  std::vector<uint32_t> ids(n);
  for (size_t i = 0; i < n; ++i) {
    const Key k = keyOf(&corners[3 * i]);
    size_t s = hashOf(k) & (capacity - 1);
    while (slot[s] != ~0u && !(keys[slot[s]] == k)) s = (s + 1) & (capacity - 1);
    if (slot[s] == ~0u) {
      slot[s] = static_cast<uint32_t>(keys.size());
      keys.push_back(k);
    }
    ids[i] = slot[s];
  }
  vertices = keys.size();
  return ids;
}

Counts count(const std::vector<float>& corners) {
  Counts out;
  out.faces = corners.size() / 9;
  const std::vector<uint32_t> ids = weld(corners, out.vertices);
  // The packing below leaves 31 bits for the larger end.
  if (out.vertices >= (size_t{1} << 31)) {
    std::fputs("edge_check: more than 2^31 vertices\n", stderr);
    std::exit(2);
  }
  // Per use: the smaller end, the larger end, and whether the face runs the
  // edge from smaller to larger, packed so that one sort groups each edge.
  std::vector<uint64_t> uses;
  uses.reserve(3 * out.faces);
  for (size_t f = 0; f < out.faces; ++f) {
    const uint32_t* v = &ids[3 * f];
    if (v[0] == v[1] || v[1] == v[2] || v[2] == v[0]) {
      ++out.degenerate;
      continue;
    }
    for (int c = 0; c < 3; ++c) {
      const uint64_t a = v[c], b = v[(c + 1) % 3];
      uses.push_back(a < b ? (a << 32 | b << 1 | 1) : (b << 32 | a << 1));
    }
  }
  std::sort(uses.begin(), uses.end());
  for (size_t i = 0; i < uses.size();) {
    size_t j = i, forward = 0;
    for (; j < uses.size() && uses[j] >> 1 == uses[i] >> 1; ++j) forward += uses[j] & 1;
    const size_t n = j - i;
    ++out.edges;
    if (n == 1) ++out.open;
    if (n > 2) ++out.non_manifold;
    if (n == 2 && forward != 1) ++out.misoriented;
    i = j;
  }
  return out;
}

// The corners of a binary STL (its size must be exactly 84 + 50 per facet).
bool readBinaryStl(const char* path, std::vector<float>& corners) {
  std::FILE* f = std::fopen(path, "rb");
  if (!f) return false;
  unsigned char head[84];
  uint32_t facets = 0;
  bool ok = std::fread(head, 1, 84, f) == 84;
  if (ok) std::memcpy(&facets, head + 80, 4);
  ok = ok && std::fseek(f, 0, SEEK_END) == 0 &&
       static_cast<uint64_t>(std::ftell(f)) == 84 + 50ull * facets &&
       std::fseek(f, 84, SEEK_SET) == 0;
  if (ok) {
    corners.resize(9 * size_t(facets));
    std::vector<unsigned char> block(50 * 65536);
    for (size_t first = 0; ok && first < facets; first += 65536) {
      const size_t n = std::min<size_t>(65536, facets - first);
      ok = std::fread(block.data(), 50, n, f) == n;
      for (size_t k = 0; ok && k < n; ++k)
        std::memcpy(&corners[9 * (first + k)], &block[50 * k + 12], 36);
    }
  }
  std::fclose(f);
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs(
        "usage: edge_check FILE.stl\n"
        "  Welds the corners of a binary STL by exact float bit patterns and counts the\n"
        "  undirected edges used by one face (open), by more than two (non-manifold) and\n"
        "  by two running it the same way (mis-oriented). Faces with two corners welded\n"
        "  together are counted as degenerate and add no edges.\n",
        stderr);
    return 2;
  }
  std::vector<float> corners;
  if (!readBinaryStl(argv[1], corners)) {
    std::fprintf(stderr, "edge_check: %s is not a readable binary STL\n", argv[1]);
    return 2;
  }
  const Counts c = count(corners);
  std::printf(
      "faces %zu vertices %zu edges %zu open %zu non-manifold %zu misoriented %zu "
      "degenerate %zu\n",
      c.faces, c.vertices, c.edges, c.open, c.non_manifold, c.misoriented, c.degenerate);
  return 0;
}
