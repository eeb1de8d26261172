// Tests of the repair and detection exports as a host calls them: the
// generated 100k broken sphere through modelRepairFromData64, the material
// rule of the colour repairs, post-detection counters and the face limit of
// flawsDetect64.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>

#include "broken_sphere.h"
#include "include/vekmesh.h"
#include "io/stl.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

TEST(ModelRepairFromData64, MakesTheBrokenSphereClosedOrientedAndFull) {
  const testdata::BrokenSphere broken = testdata::makeBrokenSphere(100000);
  ASSERT_EQ(broken.holes, 20u);
  ASSERT_GT(broken.flipped, 900u);
  ASSERT_GT(broken.duplicated, 900u);
  {
    // As given, the soup is far from printable.
    TriMesh input;
    buildTriMesh(input, broken.triangleCount(), broken.corners.data(), nullptr, nullptr, nullptr);
    ASSERT_TRUE(detectFlaws(input, 0));
  }

  float* corners = const_cast<float*>(broken.corners.data());
  const uint32_t count = broken.triangleCount();
  float* out = nullptr;
  uint32_t out_count = 0;
  int32_t progress = -1;
  modelRepairFromData64(&corners, &count, &out, &out_count, &progress);
  EXPECT_EQ(progress, 100);
  ASSERT_NE(out, nullptr);

  TriMesh repaired;
  buildTriMesh(repaired, out_count, out, nullptr, nullptr, nullptr);
  freeAllArray();
  EXPECT_FALSE(detectFlaws(repaired, 0));
  const test::EdgeCensus census = test::edgeCensus(repaired);
  EXPECT_EQ(census.boundary, 0u);
  EXPECT_EQ(census.nonManifold, 0u);
  EXPECT_EQ(census.misoriented, 0u);
  EXPECT_NEAR(enclosedVolume(repaired), broken.intact_volume, 0.005 * broken.intact_volume);
  // Holes are closed with about as many faces as they lost.
  EXPECT_NEAR(double(out_count), double(broken.intact_triangles), 2.0 * broken.hole_faces);
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
  std::vector<int32_t> materials;
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
  r.materials.assign(materials, materials + r.count);
  freeAllArray();
  return r;
}

TEST(ModelRepairFromColorData, FillsHolesOnlyWhenNoFaceHasAMaterial) {
  const ColourResult plain = repairColoured(openColouredCube(false), false, 0);
  EXPECT_EQ(plain.progress, 100);
  EXPECT_EQ(plain.count, 12u);
  EXPECT_EQ(plain.census.boundary, 0u);

  const ColourResult textured = repairColoured(openColouredCube(true), false, 0);
  EXPECT_EQ(textured.count, 10u);
  EXPECT_EQ(textured.census.boundary, 4u);
  EXPECT_EQ(textured.materials[0], 1);
  EXPECT_EQ(textured.materials[1], -1);
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

  // Null counters are skipped, not written.
  const Soup soup = openColouredCube(false);
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t count = 0;
  modelRepairFromColorDataWithPostDetection(soup.corners.data(), soup.colors.data(), nullptr,
                                            nullptr, soup.triangleCount(), &corners, &colors, &uvs,
                                            &materials, &count, 1, nullptr, nullptr, nullptr,
                                            nullptr, nullptr);
  EXPECT_EQ(count, 12u);
  freeAllArray();
}

class FlawsDetect64 : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vekmesh-flaws-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    dir_ = pattern;
  }
  void TearDown() override {
    for (const std::string& f : files_) std::remove(f.c_str());
    rmdir(dir_.c_str());
  }
  std::string write(const std::string& name, const Soup& soup) {
    const std::string path = dir_ + "/" + name;
    writeStl(test::buildMesh(soup), path.c_str());
    files_.push_back(path);
    return path;
  }
  std::string dir_;
  std::vector<std::string> files_;
};

TEST_F(FlawsDetect64, ChecksOnlyWithinTheFaceLimit) {
  const std::string good = write("good.stl", test::cubeSoup());
  {
    TriMesh read;
    loadStl(read, good.c_str());
    if (read.faces.size() != 12) GTEST_SKIP() << "the STL reader and writer are not available";
  }
  const std::string open = write("open.stl", test::withoutTriangle(test::cubeSoup(), 0));
  EXPECT_EQ(flawsDetect64(good.c_str(), -1), 0);
  EXPECT_EQ(flawsDetect64(open.c_str(), -1), 1);
  EXPECT_EQ(flawsDetect(open.c_str(), -1), 1);
  EXPECT_EQ(flawsDetect64(open.c_str(), 11), 1);  // 11 faces, not above the limit
  EXPECT_EQ(flawsDetect64(open.c_str(), 10), 0);  // above the limit: not checked
  EXPECT_EQ(flawsDetect64(open.c_str(), 0), 0);
  EXPECT_EQ(flawsDetect64(open.c_str(), -2), 0);
  EXPECT_EQ(flawsDetect64((dir_ + "/missing.stl").c_str(), -1), 0);
  // The inside-out cube fails the strict test.
  const std::string inward = write("inward.stl", test::cubeSoup(1.0f, test::Winding::kInward));
  EXPECT_EQ(flawsDetect64(inward.c_str(), -1), 1);
}

}  // namespace
}  // namespace vekmesh
