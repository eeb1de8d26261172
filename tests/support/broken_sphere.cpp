// Broken sphere soups: the shared latitude-longitude sphere as indexed
// triangles, damaged in place (holes from partial or whole vertex fans, flips, copies,
// zero-area triangles), expanded into a soup and shuffled with splitmix64.
#include "broken_sphere.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "mesh_builders.h"

namespace vekmesh::test {
namespace {

constexpr size_t kHoleCount = 20;

class SplitMix {
 public:
  explicit SplitMix(uint64_t seed) : state_(seed) {}
  uint64_t next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  size_t below(size_t n) { return static_cast<size_t>(next() % n); }

 private:
  uint64_t state_;
};

using Tri = std::array<uint32_t, 3>;

// The repair's grid step, reproduced here so that the generator does not lean
// on the code it tests: truncation toward zero of x * 5000 + 0.5.
int64_t gridStep(float x) {
  return static_cast<int64_t>(static_cast<double>(x) * 5000.0 + 0.5);
}
bool sameGridPoint(const Point& a, const Point& b) {
  for (int k = 0; k < 3; ++k)
    if (gridStep(a[k]) != gridStep(b[k])) return false;
  return true;
}

struct Sphere {
  std::vector<Point> points;
  std::vector<Tri> triangles;
  uint32_t stacks = 0, slices = 0;
  double volume = 0.0;
  uint32_t ringVertex(uint32_t ring, uint32_t slice) const {  // ring 1 .. stacks - 1
    return 1 + (ring - 1) * slices + slice % slices;
  }
};

Sphere uvSphere(size_t target, float radius) {
  Sphere s;
  s.stacks = std::max<uint32_t>(3, static_cast<uint32_t>(std::lround(std::sqrt(target / 4.0))));
  s.slices = 2 * s.stacks;
  const IndexedMesh mesh = test::uvSphere(s.stacks, s.slices, radius);
  for (size_t v = 0; v < mesh.vertexCount(); ++v)
    s.points.push_back(
        {mesh.positions[3 * v], mesh.positions[3 * v + 1], mesh.positions[3 * v + 2]});
  for (size_t t = 0; t < mesh.triangleCount(); ++t)
    s.triangles.push_back(
        {mesh.triangles[3 * t], mesh.triangles[3 * t + 1], mesh.triangles[3 * t + 2]});
  s.volume = signedVolume(mesh);
  return s;
}

// The faces around vertex v in angular order about the radial direction.
std::vector<size_t> fanInOrder(const Sphere& s, uint32_t v,
                               const std::vector<std::vector<size_t>>& around) {
  const Point& p = s.points[v];
  // Tangent frame at p: east and north.
  const double east[3] = {-p[1], p[0], 0.0};
  const double north[3] = {-p[0] * p[2], -p[1] * p[2], double(p[0]) * p[0] + double(p[1]) * p[1]};
  std::vector<std::pair<double, size_t>> order;
  for (const size_t f : around[v]) {
    double c[3] = {0, 0, 0};
    for (const uint32_t k : s.triangles[f])
      for (int a = 0; a < 3; ++a) c[a] += s.points[k][a] / 3.0 - p[a] / 3.0;
    const double x = c[0] * east[0] + c[1] * east[1] + c[2] * east[2];
    const double y = c[0] * north[0] + c[1] * north[1] + c[2] * north[2];
    order.push_back({std::atan2(y, x), f});
  }
  std::sort(order.begin(), order.end());
  std::vector<size_t> faces;
  for (const auto& o : order) faces.push_back(o.second);
  return faces;
}

}  // namespace

BrokenSphere makeBrokenSphere(size_t target_triangles, uint64_t seed, float radius) {
  SplitMix rng(seed);
  const Sphere sphere = uvSphere(target_triangles, radius);
  BrokenSphere out;
  out.radius = radius;
  out.intact_triangles = sphere.triangles.size();
  out.intact_volume = sphere.volume;

  std::vector<std::vector<size_t>> around(sphere.points.size());
  for (size_t f = 0; f < sphere.triangles.size(); ++f)
    for (const uint32_t k : sphere.triangles[f]) around[k].push_back(f);

  // Holes: centres on rings spread between the polar caps, several rings
  // apart so that no two holes touch; 1 to 6 consecutive faces of the fan.
  std::vector<uint8_t> gone(sphere.triangles.size(), 0);
  const uint32_t first_ring = sphere.stacks / 6 + 1;
  const uint32_t span = sphere.stacks - 2 * first_ring;
  for (size_t h = 0; h < kHoleCount; ++h) {
    const uint32_t ring = first_ring + static_cast<uint32_t>(h * span / kHoleCount);
    const uint32_t centre =
        sphere.ringVertex(ring, static_cast<uint32_t>(rng.below(sphere.slices)));
    const std::vector<size_t> fan = fanInOrder(sphere, centre, around);
    const size_t take = 1 + h % fan.size();
    for (size_t k = 0; k < take; ++k) gone[fan[k]] = 1;
    out.hole_faces += take;
    ++out.holes;
  }

  std::vector<Tri> soup;
  soup.reserve(sphere.triangles.size() * 103 / 100);
  for (size_t f = 0; f < sphere.triangles.size(); ++f)
    if (!gone[f]) soup.push_back(sphere.triangles[f]);
  std::vector<Point> points = sphere.points;
  const size_t kept = soup.size();
  for (size_t k = 0; k < kept / 100; ++k) {
    Tri& t = soup[rng.below(kept)];
    std::swap(t[0], t[1]);
    ++out.flipped;
  }
  for (size_t k = 0; k < kept / 100; ++k) {
    soup.push_back(soup[rng.below(kept)]);
    ++out.duplicated;
  }
  for (size_t k = 0; k < kept / 200; ++k) {
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
    ++out.degenerate;
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
