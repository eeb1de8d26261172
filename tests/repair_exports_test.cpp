// Tests of the repair and detection exports as a host calls them: the
// generated 100k broken sphere through modelRepairFromData64, the material
// rule of the colour repairs, post-detection counters and the face limit of
// flawsDetect64.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "broken_sphere.h"
#include "include/vekmesh.h"
#include "io/stl.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

// The export's repair of a soup, copied out of the result slot (then freed).
// Progress must end at 100 and the result must be a real array.
std::vector<float> repaired64(const std::vector<float>& soup) {
  float* in = const_cast<float*>(soup.data());
  const uint32_t count = static_cast<uint32_t>(soup.size() / 9);
  float* out = nullptr;
  uint32_t out_count = 0;
  int32_t progress = -1;
  modelRepairFromData64(&in, &count, &out, &out_count, &progress);
  EXPECT_EQ(progress, 100);
  EXPECT_NE(out, nullptr);
  std::vector<float> result(out, out + (out ? 9 * size_t(out_count) : 0));
  freeAllArray();
  return result;
}

TEST(ModelRepairFromData64, MakesTheBrokenSphereClosedOrientedAndFull) {
  const test::BrokenSphere broken = test::makeBrokenSphere(100000);
  ASSERT_EQ(broken.holes, 20u);
  ASSERT_GT(broken.flipped, 900u);
  ASSERT_GT(broken.duplicated, 900u);

  const std::vector<float> out = repaired64(broken.corners);
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
    const float i = float(t / 2);
    if (t % 2 == 0)
      c.insert(c.end(), {i, 0, 0, i + 1, 0, 0, i, 1, 0});
    else
      c.insert(c.end(), {i + 1, 0, 0, i + 1, 1, 0, i, 1, 0});
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

// The open cube of the colour exports: one side missing, every face coloured,
// some faces with materials when `textured`.
Soup openColouredCube(bool textured) {
  Soup soup = test::withoutTriangle(test::withoutTriangle(test::cubeSoup(), 11), 10);
  test::paint(soup, {0.2f, 0.4f, 0.6f});
  if (textured) {
    test::assignMaterial(soup, 1);
    for (size_t t = 1; t < soup.materials.size(); t += 2) soup.materials[t] = -1;
  }
  return soup;
}

struct ColourResult {
  uint32_t count = 0;
  std::array<int32_t, 4> counters = {7, 7, 7, 7};
  int32_t progress = -1;
  test::EdgeCensus census;
};

ColourResult repairColoured(const Soup& soup, bool post, uint8_t detail) {
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  ColourResult r;
  const float* in_uvs = soup.uvs.empty() ? nullptr : soup.uvs.data();
  const int32_t* in_materials = soup.materials.empty() ? nullptr : soup.materials.data();
  if (post)
    modelRepairFromColorDataWithPostDetection(
        soup.corners.data(), soup.colors.data(), in_uvs, in_materials, soup.triangleCount(),
        &corners, &colors, &uvs, &materials, &r.count, detail, &r.counters[0], &r.counters[1],
        &r.counters[2], &r.counters[3], &r.progress);
  else
    modelRepairFromColorData(soup.corners.data(), soup.colors.data(), in_uvs, in_materials,
                             soup.triangleCount(), &corners, &colors, &uvs, &materials, &r.count,
                             &r.progress);
  TriMesh mesh;
  buildTriMesh(mesh, r.count, corners, colors, uvs, materials);
  r.census = test::edgeCensus(mesh);
  freeAllArray();
  return r;
}

TEST(ModelRepairFromColorDataWithPostDetection, CountsWhatTheRepairLeft) {
  ColourResult r = repairColoured(openColouredCube(true), true, 0);
  EXPECT_EQ(r.counters, (std::array<int32_t, 4>{-1, -1, -1, -1}));
  EXPECT_EQ(r.progress, 100);

  // Materials stop hole filling, so the four open edges are still there.
  r = repairColoured(openColouredCube(true), true, 1);
  EXPECT_EQ(r.counters, (std::array<int32_t, 4>{0, 4, 0, 0}));

  r = repairColoured(openColouredCube(false), true, 1);
  EXPECT_EQ(r.counters, (std::array<int32_t, 4>{0, 0, 0, 0}));
  EXPECT_EQ(r.census.boundary, 0u);
}

// Soups no modeller would produce: random triangles crossing each other, some
// sharing corners, with NaN, infinite and huge coordinates mixed in. The
// repair must come back with a result; snapping brings every coordinate onto
// the grid, so the result is finite and within the grid's 32-bit range.
TEST(ModelRepairFromData64, SurvivesHostileSoups) {
  uint64_t state = 7;
  auto next = [&state]() {
    state = state * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<float>(state >> 40) / float(1 << 24);
  };
  const float bad[] = {std::numeric_limits<float>::quiet_NaN(),
                       std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity(), 1e30f, -1e30f};
  for (int round = 0; round < 3; ++round) {
    std::vector<float> corners;
    std::vector<float> pool;  // earlier corners, reused so that edges are shared
    for (int t = 0; t < 3000; ++t)
      for (int c = 0; c < 3; ++c)
        for (int a = 0; a < 3; ++a) {
          float value;
          if (!pool.empty() && next() < 0.5f)
            value = pool[static_cast<size_t>(next() * float(pool.size() / 3)) * 3 + a];
          else if (round > 0 && next() < 0.01f)
            value = bad[static_cast<int>(next() * 5) % 5];
          else
            value = std::round(next() * 20.0f) * 0.5f;
          corners.push_back(value);
          if (a == 2) pool.insert(pool.end(), corners.end() - 3, corners.end());
        }
    const std::vector<float> out = repaired64(corners);
    EXPECT_FALSE(out.empty());
    size_t off_grid = 0;
    for (float x : out) off_grid += !(std::fabs(x) <= 2147483648.0f / 5000.0f);
    EXPECT_EQ(off_grid, 0u);
  }
}

TEST(FlawsDetect64, ChecksOnlyWithinTheFaceLimit) {
  test::ScratchDir dir;
  auto write = [&dir](const char* name, const Soup& soup) {
    const std::string path = dir.file(name);
    writeStl(path.c_str(), test::buildMesh(soup));
    return path;
  };
  const std::string good = write("good.stl", test::cubeSoup());
  const std::string open = write("open.stl", test::withoutTriangle(test::cubeSoup(), 0));
  EXPECT_EQ(flawsDetect64(good.c_str(), -1), 0);
  EXPECT_EQ(flawsDetect64(open.c_str(), -1), 1);
  EXPECT_EQ(flawsDetect(open.c_str(), -1), 1);
  EXPECT_EQ(flawsDetect64(open.c_str(), 11), 1);  // 11 faces, not above the limit
  EXPECT_EQ(flawsDetect64(open.c_str(), 10), 0);  // above the limit: not checked
  EXPECT_EQ(flawsDetect64(open.c_str(), 0), 0);
  EXPECT_EQ(flawsDetect64(dir.file("missing.stl").c_str(), -1), 0);
  // The inside-out cube fails the strict test.
  EXPECT_EQ(
      flawsDetect64(write("inward.stl", test::cubeSoup(1.0f, test::Winding::kInward)).c_str(), -1),
      1);
}

}  // namespace
}  // namespace vekmesh
