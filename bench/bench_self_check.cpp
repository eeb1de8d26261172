// Self-check of the benchmark tools, run before the benchmarks: the shapes must be
// closed, consistently outward, the size asked for and weld back exactly, and the
// heap meter must see what is allocated, or the figures would measure something else.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "bench/bench_harness.h"
#include "bench/heap_meter.h"
#include "broken_sphere.h"
#include "geometry/vectors.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"

namespace vekmesh {
namespace bench {
namespace {

int g_failures = 0;

void expect(bool ok, const char* what, const char* shape) {
  if (ok) return;
  std::printf("FAILED %s: %s\n", shape, what);
  ++g_failures;
}

using test::IndexedMesh;

// Every directed edge once and its reverse once: closed, manifold along edges
// and wound consistently. Returns the number of undirected edges, or 0 if not.
size_t pairedEdgeCount(const IndexedMesh& mesh) {
  const test::EdgeCensus census = test::edgeCensus(mesh.triangles);
  return census.closedManifoldOriented() ? census.edges : 0;
}

// Slivers would make the shapes misleading for any geometric benchmark; the
// smallest triangles of these shapes (at the poles) are a few percent of the mean.
bool noSlivers(const IndexedMesh& mesh) {
  std::vector<double> areas;
  for (size_t t = 0; t < mesh.triangleCount(); ++t) {
    const float* a = &mesh.positions[3 * size_t(mesh.triangles[3 * t])];
    const float* b = &mesh.positions[3 * size_t(mesh.triangles[3 * t + 1])];
    const float* c = &mesh.positions[3 * size_t(mesh.triangles[3 * t + 2])];
    const double u[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
    const double v[3] = {double(c[0]) - a[0], double(c[1]) - a[1], double(c[2]) - a[2]};
    const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                         u[0] * v[1] - u[1] * v[0]};
    areas.push_back(0.5 * std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]));
  }
  double mean = 0.0;
  for (double area : areas) mean += area / double(areas.size());
  return *std::min_element(areas.begin(), areas.end()) > 1e-3 * mean;
}

bool distinctPositions(const IndexedMesh& mesh) {
  std::vector<std::array<uint32_t, 3>> bits(mesh.vertexCount());
  std::memcpy(bits.data(), mesh.positions.data(), mesh.positions.size() * sizeof(float));
  std::sort(bits.begin(), bits.end());
  return std::adjacent_find(bits.begin(), bits.end()) == bits.end();
}

// The soup must weld back into the same vertices, met in the order the soup
// first names them, and keep every triangle.
bool weldsBack(const IndexedMesh& mesh) {
  const std::vector<float> soup = test::toSoup(mesh);
  SubMesh welded;
  buildTriMesh(welded, static_cast<uint32_t>(mesh.triangleCount()), soup.data(), nullptr, nullptr,
               nullptr);
  if (welded.faces.size() != mesh.triangleCount()) return false;
  if (welded.vertices.size() != mesh.vertexCount()) return false;
  for (size_t t = 0; t < mesh.triangleCount(); ++t)
    for (int c = 0; c < 3; ++c) {
      const Vertex& v = welded.vertices[welded.faces[t].v[c]];
      if (std::memcmp(v.position.data(), &soup[9 * t + 3 * c], 12) != 0) return false;
    }
  return true;
}

void checkSolid(const IndexedMesh& mesh, int euler, double volume, const char* shape) {
  const size_t edges = pairedEdgeCount(mesh);
  expect(edges > 0, "closed with consistent winding", shape);
  expect(long(mesh.vertexCount()) - long(edges) + long(mesh.triangleCount()) == euler,
         "Euler characteristic", shape);
  const double v = test::signedVolume(mesh);
  expect(v > 0.0, "normals point outward", shape);
  expect(std::fabs(v - volume) < 0.01 * volume, "volume within 1% of the smooth solid", shape);
  expect(distinctPositions(mesh), "no two vertices share a position", shape);
  expect(noSlivers(mesh), "no sliver triangles", shape);
  expect(weldsBack(mesh), "soup welds back to the indexed mesh", shape);
}

void checkShapes() {
  const IndexedMesh sphere = test::uvSphere(40, 80, 2.0f);
  expect(sphere.triangleCount() == 2 * 80 * 39 && sphere.vertexCount() == 80 * 39 + 2,
         "sphere counts", "sphere 40x80");
  checkSolid(sphere, 2, 4.0 / 3.0 * kPi * 8.0, "sphere 40x80");

  const IndexedMesh ring = test::torus(90, 30, 1.0f, 0.3f);
  expect(ring.triangleCount() == 2 * 90 * 30 && ring.vertexCount() == 90 * 30, "torus counts",
         "torus 90x30");
  checkSolid(ring, 0, 2.0 * kPi * kPi * 1.0 * 0.09, "torus 90x30");

  // Out-of-range segment counts are raised to the smallest closed shape.
  const IndexedMesh bipyramid = test::uvSphere(0, 0, 1.0f);
  expect(bipyramid.triangleCount() == 6 && pairedEdgeCount(bipyramid) == 9,
         "smallest sphere is a closed triangular bipyramid", "sphere 0x0");
  const IndexedMesh smallest = test::torus(1, 1, 1.0f, 0.3f);
  expect(smallest.triangleCount() == 18 && pairedEdgeCount(smallest) == 27,
         "smallest torus is closed", "torus 1x1");
}

void checkSizes() {
  for (size_t target : {kSize10k, kSize100k, kSize1M, kSize4M}) {
    const std::vector<float> sphere = test::toSoup(test::uvSphereNear(target, 1.0f));
    const std::vector<float> ring = test::toSoup(test::torusNear(target, 1.0f, 0.3f));
    const double s = double(sphere.size() / 9), r = double(ring.size() / 9);
    expect(std::fabs(s - double(target)) <= 0.01 * double(target), "within 1% of target",
           "sphere soup");
    expect(std::fabs(r - double(target)) <= 0.01 * double(target), "within 1% of target",
           "torus soup");
    std::printf("target %8zu: sphere %8.0f, torus %8.0f triangles\n", target, s, r);
  }
  // Same call, same bits: benchmarks compare runs made at different times.
  expect(test::toSoup(test::uvSphereNear(kSize10k, 1.0f)) ==
                 test::toSoup(test::uvSphereNear(kSize10k, 1.0f)) &&
             test::toSoup(test::torusNear(kSize10k, 1.0f, 0.3f)) ==
                 test::toSoup(test::torusNear(kSize10k, 1.0f, 0.3f)),
         "soups are deterministic", "10k soups");
  // A medium sphere, as benchmarked, still welds back exactly.
  expect(weldsBack(test::uvSphereNear(kSize100k, 1.0f)), "soup welds back to the indexed mesh",
         "sphere 100k");
  expect(weldsBack(test::torusNear(kSize100k, 1.0f, 0.3f)), "soup welds back to the indexed mesh",
         "torus 100k");
}

// Each triangle of a soup as its corners' bits, rotated to start at the
// smallest rotation, all sorted: equal for soups of the same triangles in any
// order and any corner rotation that keeps the winding.
std::vector<std::array<uint32_t, 9>> canonicalTriangles(const std::vector<float>& soup) {
  std::vector<std::array<uint32_t, 9>> out(soup.size() / 9);
  for (size_t t = 0; t < out.size(); ++t) {
    std::array<uint32_t, 9> bits, best;
    std::memcpy(bits.data(), &soup[9 * t], 36);
    for (int r = 0; r < 3; ++r) {
      std::array<uint32_t, 9> turned;
      for (int k = 0; k < 9; ++k) turned[k] = bits[(k + 3 * r) % 9];
      if (r == 0 || turned < best) best = turned;
    }
    out[t] = best;
  }
  std::sort(out.begin(), out.end());
  return out;
}

// The damaged soups of compare_tool.sh: each step leaves its own mark on the
// edges and no other, and the shuffle only reorders the same triangles.
void checkSoupDamage() {
  const char* what = "damaged sphere";
  const auto census = [](const test::SphereWork& s) {
    std::vector<uint32_t> indices;
    for (const auto& t : s.triangles) indices.insert(indices.end(), t.begin(), t.end());
    return test::edgeCensus(indices);
  };
  const test::SphereWork intact = test::intactSphere(20000, 50.0f);
  const size_t n = intact.triangles.size();
  expect(census(intact).closedManifoldOriented(), "the intact sphere is closed and oriented", what);
  test::SplitMix rng{1};

  test::SphereWork holes = intact;
  const size_t taken = test::punchHoles(holes, rng);
  const test::EdgeCensus h = census(holes);
  expect(holes.triangles.size() + taken == n && h.boundary > 0 && h.nonManifold == 0 &&
             h.misoriented == 0,
         "holes open edges and nothing else", what);

  test::SphereWork flipped = intact;
  test::flipFaces(flipped, n / 100, n, rng);
  const test::EdgeCensus f = census(flipped);
  expect(
      flipped.triangles.size() == n && f.misoriented > 0 && f.boundary == 0 && f.nonManifold == 0,
      "flips mis-orient edges and nothing else", what);

  test::SphereWork copies = intact;
  test::duplicateFaces(copies, n / 100, n, rng);
  const test::EdgeCensus d = census(copies);
  expect(copies.triangles.size() == n + n / 100 && d.nonManifold > 0 && d.boundary == 0 &&
             d.misoriented == 0,
         "copies over-use edges and nothing else", what);

  // Every added triangle must have zero area once snapped to the repair's
  // 1/5000 grid: two corners at one point, or all three within one step.
  test::SphereWork degenerate = intact;
  test::addDegenerateFaces(degenerate, n / 200, n, rng);
  bool collapse = degenerate.triangles.size() == n + n / 200;
  for (size_t t = n; collapse && t < degenerate.triangles.size(); ++t) {
    const std::array<uint32_t, 3>& v = degenerate.triangles[t];
    const test::Point &a = degenerate.points[v[0]], &b = degenerate.points[v[1]],
                      &c = degenerate.points[v[2]];
    bool close = true;
    for (int k = 0; k < 3; ++k)
      close &= std::fabs(b[k] - a[k]) < 2e-4f && std::fabs(c[k] - a[k]) < 2e-4f;
    collapse = close || a == b || b == c || c == a;
  }
  expect(collapse, "degenerate triangles collapse on the grid", what);

  const std::vector<float> ordered = test::orderedSoup(flipped);
  const std::vector<float> shuffled = test::shuffledSoup(flipped, rng);
  expect(ordered != shuffled && canonicalTriangles(ordered) == canonicalTriangles(shuffled),
         "the shuffle reorders the same triangles, windings kept", what);
}

// The meter's figures are what the weld benchmark reports as memory use.
void checkHeapMeter() {
  const char* what = "heap meter";
  std::vector<char> before(1 << 16, 1);
  {
    HeapMeter meter;
    {
      std::vector<char> block(1 << 20, 1);
      expect(meter.peakBytes() >= (1u << 20) && meter.peakBytes() < (1u << 20) + 8192,
             "one block counts at its size", what);
    }
    expect(meter.currentBytes() == 0, "a freed block is given back", what);
    {
      const size_t made = meter.allocations();
      std::vector<std::vector<int>> lists(1000);
      for (auto& list : lists) list.reserve(6);  // 24 bytes: at least a 32-byte chunk each
      expect(meter.allocations() == made + 1001, "every allocation is seen", what);
      expect(meter.currentBytes() >= 1000 * 32 + 1000 * 24, "small blocks cost their chunk", what);
    }
    const size_t peak = meter.peakBytes();
    std::vector<char>().swap(before);
    expect(meter.currentBytes() < 0, "blocks from before the meter lower the total", what);
    expect(meter.peakBytes() == peak, "the peak only rises", what);
  }
}

}  // namespace
}  // namespace bench
}  // namespace vekmesh

int main() {
  vekmesh::bench::checkShapes();
  vekmesh::bench::checkSizes();
  vekmesh::bench::checkHeapMeter();
  vekmesh::bench::checkSoupDamage();
  if (vekmesh::bench::g_failures) return 1;
  std::printf("benchmark self-check: all passed\n");
  return 0;
}
