// Broken sphere soups: the shared latitude-longitude sphere as indexed
// triangles, damaged (holes from partial or whole vertex fans, flips, copies,
// zero-area triangles), expanded into a soup and shuffled with splitmix64.
#include "broken_sphere.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "mesh_builders.h"

namespace vekmesh::test {
namespace {

constexpr size_t kHoleCount = 20;

struct SplitMix {
  uint64_t state;
  size_t below(size_t n) {
    uint64_t z = (state += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return static_cast<size_t>((z ^ (z >> 31)) % n);
  }
};

using Tri = std::array<uint32_t, 3>;

// The repair's grid step, reproduced here so that the generator does not lean
// on the code it tests: truncation toward zero of x * 5000 + 0.5.
bool sameGridPoint(const Point& a, const Point& b) {
  for (int k = 0; k < 3; ++k)
    if (int64_t(double(a[k]) * 5000.0 + 0.5) != int64_t(double(b[k]) * 5000.0 + 0.5)) return false;
  return true;
}

}  // namespace

BrokenSphere makeBrokenSphere(size_t target_triangles, uint64_t seed, float radius) {
  SplitMix rng{seed};
  const uint32_t stacks =
      std::max<uint32_t>(6, static_cast<uint32_t>(std::lround(std::sqrt(target_triangles / 4.0))));
  const uint32_t slices = 2 * stacks;
  const IndexedMesh sphere = uvSphere(stacks, slices, radius);
  const size_t triangles = sphere.triangleCount();
  BrokenSphere out;
  out.radius = radius;
  out.intact_triangles = triangles;
  out.intact_volume = signedVolume(sphere);
  out.holes = kHoleCount;

  // Holes: centres on rings spread between the polar caps, several rings
  // apart so that no two holes touch; 1 to 6 consecutive faces of the fan.
  // Band i (between rings i and i + 1) holds, after the polar fan of `slices`
  // faces, the pairs A(j), B(j) of slice j; the fan of ring i's vertex j in
  // angular order is B_i(j), A_i(j), B_i(j-1), A_i-1(j-1), B_i-1(j-1), A_i-1(j).
  std::vector<uint8_t> gone(triangles, 0);
  const uint32_t first_ring = stacks / 6 + 1;
  const uint32_t span = stacks - 2 * first_ring;
  for (size_t h = 0; h < kHoleCount; ++h) {
    const uint32_t i = first_ring + static_cast<uint32_t>(h * span / kHoleCount);
    const uint32_t j = static_cast<uint32_t>(rng.below(slices)), w = (j + slices - 1) % slices;
    auto face = [&](uint32_t band, uint32_t slice, int b) {
      return slices + 2 * size_t(slices) * (band - 1) + 2 * slice + b;
    };
    const size_t fan[6] = {face(i, j, 1),     face(i, j, 0),     face(i, w, 1),
                           face(i - 1, w, 0), face(i - 1, w, 1), face(i - 1, j, 0)};
    const size_t take = 1 + h % 6;
    for (size_t k = 0; k < take; ++k) gone[fan[k]] = 1;
    out.hole_faces += take;
  }

  std::vector<Point> points(sphere.vertexCount());
  std::memcpy(points.data(), sphere.positions.data(), sphere.positions.size() * sizeof(float));
  std::vector<Tri> soup;
  for (size_t f = 0; f < triangles; ++f)
    if (!gone[f]) std::memcpy(&soup.emplace_back(), &sphere.triangles[3 * f], sizeof(Tri));
  const size_t kept = soup.size();
  out.flipped = out.duplicated = kept / 100;
  out.degenerate = kept / 200;
  for (size_t k = 0; k < out.flipped; ++k) {
    Tri& t = soup[rng.below(kept)];
    std::swap(t[0], t[1]);
  }
  for (size_t k = 0; k < out.duplicated; ++k) soup.push_back(soup[rng.below(kept)]);
  for (size_t k = 0; k < out.degenerate; ++k) {
    const Tri& t = soup[rng.below(kept)];
    if (k % 2 == 0) {
      // Two bit-identical corners: the weld drops it at once.
      soup.push_back({t[0], t[0], t[1]});
    } else {
      // Three distinct corners a few hundred-thousandths apart that only the
      // grid snap brings together.
      Point a = points[t[0]], b = a, c = a;
      b[0] += 1e-5f;
      c[1] -= 1e-5f;
      if (!sameGridPoint(a, b)) b = a;
      if (!sameGridPoint(a, c)) c = a;
      const uint32_t ib = static_cast<uint32_t>(points.size());
      points.push_back(b);
      points.push_back(c);
      soup.push_back({t[0], ib, ib + 1});
    }
  }

  // Shuffle the triangles and rotate each one's corners (winding kept).
  for (size_t i = soup.size(); i > 1; --i) std::swap(soup[i - 1], soup[rng.below(i)]);
  out.corners.reserve(soup.size() * 9);
  for (const Tri& t : soup) {
    const size_t r = rng.below(3);
    for (size_t c = 0; c < 3; ++c) {
      const Point& p = points[t[(c + r) % 3]];
      out.corners.insert(out.corners.end(), p.begin(), p.end());
    }
  }
  return out;
}

}  // namespace vekmesh::test
