// The repair and detection exports as a host calls them: a 100k broken sphere,
// the duplicate limit, post-detection, hostile soups, flawsDetect64's limit.
#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "broken_sphere.h"
#include "include/vekmesh.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

// The export's repair of a soup, copied out of the result slot (then freed).
std::vector<float> repaired64(const std::vector<float>& soup) {
  float* in = const_cast<float*>(soup.data());
  const uint32_t count = static_cast<uint32_t>(soup.size() / 9);
  float* out = nullptr;
  uint32_t out_count = 0;
  modelRepairFromData64(&in, &count, &out, &out_count, nullptr);
  std::vector<float> result(out, out + 9 * size_t(out_count));
  freeAllArray();
  return result;
}

TEST(ModelRepairFromData64, MakesTheBrokenSphereClosedOrientedAndFull) {
  const test::BrokenSphere broken = test::makeBrokenSphere(100000);
  // The parallel steps (adjacency, duplicates, compaction) give the same
  // soup on one thread and on two.
  const int threads = omp_get_max_threads();
  omp_set_num_threads(1);
  const std::vector<float> out = repaired64(broken.corners);
  omp_set_num_threads(2);
  EXPECT_TRUE(repaired64(broken.corners) == out);
  omp_set_num_threads(threads);
  const uint32_t out_count = static_cast<uint32_t>(out.size() / 9);
  TriMesh repaired;
  buildTriMesh(repaired, out_count, out.data(), nullptr, nullptr, nullptr);
  EXPECT_FALSE(detectFlaws(repaired, 0));
  EXPECT_TRUE(test::edgeCensus(repaired).closedManifoldOriented());
  EXPECT_NEAR(enclosedVolume(repaired), broken.intact_volume, 0.005 * broken.intact_volume);
  // Holes are closed with about as many faces as they lost.
  EXPECT_NEAR(double(out_count), double(broken.intact_triangles), 2.0 * broken.hole_faces);
}

// A flat strip of `triangles` triangles followed by a copy of the first.
std::vector<float> stripWithRepeat(uint32_t triangles) {
  std::vector<float> c;
  for (uint32_t t = 0; t < triangles; ++t) {
    const float i = float(t / 2), odd = float(t % 2);
    c.insert(c.end(), {i + odd, 0, 0, i + 1, odd, 0, i, 1, 0});
  }
  c.insert(c.end(), c.begin(), c.begin() + 9);
  return c;
}

TEST(ModelRepairFromData64, KeepsADuplicateFaceFrom300000Faces) {
  for (const uint32_t faces : {299999u, 300000u}) {
    const std::vector<float> out = repaired64(stripWithRepeat(faces - 1));
    EXPECT_EQ(out.size() / 9, faces == 300000u ? 300000u : 299998u) << faces;
  }
}

// The counters after the repair of an open coloured cube (one side missing),
// every other face with a material when `textured`, and the open edges left.
std::pair<std::array<int32_t, 4>, size_t> postDetection(bool textured, uint8_t detail) {
  Soup soup = test::withoutTriangle(test::withoutTriangle(test::cubeSoup(), 11), 10);
  test::paint(soup, {0.2f, 0.4f, 0.6f});
  if (textured) test::assignMaterial(soup, 1);
  for (size_t t = 1; t < soup.materials.size(); t += 2) soup.materials[t] = -1;
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t count = 0;
  std::array<int32_t, 4> c = {7, 7, 7, 7};
  modelRepairFromColorDataWithPostDetection(
      soup.corners.data(), soup.colors.data(), textured ? soup.uvs.data() : nullptr,
      textured ? soup.materials.data() : nullptr, soup.triangleCount(), &corners, &colors, &uvs,
      &materials, &count, detail, &c[0], &c[1], &c[2], &c[3], nullptr);
  TriMesh mesh;
  buildTriMesh(mesh, count, corners, colors, uvs, materials);
  freeAllArray();
  return {c, test::edgeCensus(mesh).boundary};
}

TEST(ModelRepairFromColorDataWithPostDetection, CountsWhatTheRepairLeft) {
  using Counters = std::array<int32_t, 4>;
  EXPECT_EQ(postDetection(true, 0).first, (Counters{-1, -1, -1, -1}));
  // Materials stop hole filling, so the four open edges are still there.
  EXPECT_EQ(postDetection(true, 1), std::make_pair(Counters{0, 4, 0, 0}, size_t{4}));
  EXPECT_EQ(postDetection(false, 1), std::make_pair(Counters{0, 0, 0, 0}, size_t{0}));
}

// Random triangles crossing each other, sharing corners, with NaN, infinite
// and huge coordinates mixed in: the repair comes back with a result on the
// grid, finite and within the grid's 32-bit range.
TEST(ModelRepairFromData64, SurvivesHostileSoups) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> pick(0, 199);
  const float inf = std::numeric_limits<float>::infinity();
  const float bad[] = {std::numeric_limits<float>::quiet_NaN(), inf, -inf, 1e30f, -1e30f};
  std::vector<float> corners;
  for (size_t i = 0; i < 6000 * 9; ++i) {
    const int r = pick(random);  // half the time a coordinate of an earlier corner
    corners.push_back(i >= 3 && r < 100 ? corners[random() % (i / 3) * 3 + i % 3]
                      : r == 100        ? bad[i % 5]
                                        : float(r % 40) * 0.5f);
  }
  const std::vector<float> out = repaired64(corners);
  EXPECT_FALSE(out.empty());
  for (float x : out) ASSERT_LE(std::fabs(x), 2147483648.0f / 5000.0f);
}

TEST(FlawsDetect64, ChecksOnlyWithinTheFaceLimit) {
  test::ScratchDir dir;
  const std::string open =
      dir.write("open.stl", test::binaryStl(test::withoutTriangle(test::cubeSoup(), 0)));
  const std::string good = dir.write("good.stl", test::binaryStl(test::cubeSoup()));
  const std::string inward =
      dir.write("inward.stl", test::binaryStl(test::cubeSoup(1.0f, test::Winding::kInward)));
  EXPECT_EQ(flawsDetect64(good.c_str(), -1), 0);
  EXPECT_EQ(flawsDetect64(inward.c_str(), -1), 1);  // fails the strict test
  EXPECT_EQ(flawsDetect64(open.c_str(), -1), 1);
  EXPECT_EQ(flawsDetect64(open.c_str(), 11), 1);  // 11 faces, not above the limit
  EXPECT_EQ(flawsDetect64(open.c_str(), 10), 0);  // above the limit: not checked
}

}  // namespace
}  // namespace vekmesh
