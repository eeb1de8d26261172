// Broken sphere soups: the shared latitude-longitude sphere as indexed
// triangles, damaged (holes from partial or whole vertex fans, flips, copies,
// zero-area triangles), expanded into a soup and shuffled with splitmix64.
#include "broken_sphere.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vekmesh::test {
namespace {

constexpr size_t kHoleCount = 20;

// The repair's grid step, reproduced here so that the generator does not lean
// on the code it tests: truncation toward zero of x * 5000 + 0.5.
bool sameGridPoint(const Point& a, const Point& b) {
  for (int k = 0; k < 3; ++k)
    if (int64_t(double(a[k]) * 5000.0 + 0.5) != int64_t(double(b[k]) * 5000.0 + 0.5)) return false;
  return true;
}

}  // namespace

size_t SplitMix::below(size_t n) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return static_cast<size_t>((z ^ (z >> 31)) % n);
}

SphereWork intactSphere(size_t target_triangles, float radius) {
  SphereWork out;
  out.stacks =
      std::max<uint32_t>(6, static_cast<uint32_t>(std::lround(std::sqrt(target_triangles / 4.0))));
  out.slices = 2 * out.stacks;
  const IndexedMesh sphere = uvSphere(out.stacks, out.slices, radius);
  out.intact_volume = signedVolume(sphere);
  out.points.resize(sphere.vertexCount());
  std::memcpy(out.points.data(), sphere.positions.data(), sphere.positions.size() * sizeof(float));
  out.triangles.resize(sphere.triangleCount());
  std::memcpy(out.triangles.data(), sphere.triangles.data(),
              sphere.triangles.size() * sizeof(uint32_t));
  return out;
}

size_t punchHoles(SphereWork& sphere, SplitMix& rng) {
  // Centres on rings spread between the polar caps, several rings apart so
  // that no two holes touch; 1 to 6 consecutive faces of the fan. Band i
  // (between rings i and i + 1) holds, after the polar fan of `slices` faces,
  // the pairs A(j), B(j) of slice j; the fan of ring i's vertex j in angular
  // order is B_i(j), A_i(j), B_i(j-1), A_i-1(j-1), B_i-1(j-1), A_i-1(j).
  const uint32_t stacks = sphere.stacks, slices = sphere.slices;
  std::vector<uint8_t> gone(sphere.triangles.size(), 0);
  const uint32_t first_ring = stacks / 6 + 1;
  const uint32_t span = stacks - 2 * first_ring;
  size_t taken = 0;
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
    taken += take;
  }
  size_t kept = 0;
  for (size_t f = 0; f < sphere.triangles.size(); ++f)
    if (!gone[f]) sphere.triangles[kept++] = sphere.triangles[f];
  sphere.triangles.resize(kept);
  return taken;
}

void flipFaces(SphereWork& sphere, size_t count, size_t among, SplitMix& rng) {
  for (size_t k = 0; k < count; ++k) {
    std::array<uint32_t, 3>& t = sphere.triangles[rng.below(among)];
    std::swap(t[0], t[1]);
  }
}

void duplicateFaces(SphereWork& sphere, size_t count, size_t among, SplitMix& rng) {
  for (size_t k = 0; k < count; ++k) sphere.triangles.push_back(sphere.triangles[rng.below(among)]);
}

void addDegenerateFaces(SphereWork& sphere, size_t count, size_t among, SplitMix& rng) {
  std::vector<Point>& points = sphere.points;
  for (size_t k = 0; k < count; ++k) {
    const std::array<uint32_t, 3> t = sphere.triangles[rng.below(among)];
    if (k % 2 == 0) {
      // Two bit-identical corners: the weld drops it at once.
      sphere.triangles.push_back({t[0], t[0], t[1]});
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
      sphere.triangles.push_back({t[0], ib, ib + 1});
    }
  }
}

std::vector<float> orderedSoup(const SphereWork& sphere) {
  std::vector<float> corners;
  corners.reserve(sphere.triangles.size() * 9);
  for (const std::array<uint32_t, 3>& t : sphere.triangles)
    for (uint32_t v : t)
      corners.insert(corners.end(), sphere.points[v].begin(), sphere.points[v].end());
  return corners;
}

std::vector<float> shuffledSoup(const SphereWork& sphere, SplitMix& rng) {
  std::vector<std::array<uint32_t, 3>> order = sphere.triangles;
  for (size_t i = order.size(); i > 1; --i) std::swap(order[i - 1], order[rng.below(i)]);
  std::vector<float> corners;
  corners.reserve(order.size() * 9);
  for (const std::array<uint32_t, 3>& t : order) {
    const size_t r = rng.below(3);
    for (size_t c = 0; c < 3; ++c) {
      const Point& p = sphere.points[t[(c + r) % 3]];
      corners.insert(corners.end(), p.begin(), p.end());
    }
  }
  return corners;
}

BrokenSphere makeBrokenSphere(size_t target_triangles, uint64_t seed, float radius) {
  SplitMix rng{seed};
  SphereWork sphere = intactSphere(target_triangles, radius);
  BrokenSphere out;
  out.radius = radius;
  out.intact_triangles = sphere.triangles.size();
  out.intact_volume = sphere.intact_volume;
  out.holes = kHoleCount;
  out.hole_faces = punchHoles(sphere, rng);
  const size_t kept = sphere.triangles.size();
  out.flipped = out.duplicated = kept / 100;
  out.degenerate = kept / 200;
  flipFaces(sphere, out.flipped, kept, rng);
  duplicateFaces(sphere, out.duplicated, kept, rng);
  addDegenerateFaces(sphere, out.degenerate, kept, rng);
  out.corners = shuffledSoup(sphere, rng);
  return out;
}

}  // namespace vekmesh::test
