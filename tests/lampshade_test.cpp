// The lampshade: the preview's height test, base height, insets and area
// rule; the build's constants (z-factor, stretch, voxel height, wall layers
// and peel depth), its exact restore on failure, the shade of a vase (closed,
// outward, walls of about the requested thickness, a flat open base), bad
// input, and both exports as a host calls them.
#include "design/lampshade.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "design/lampshade_steps.h"
#include "design/voxel_grid.h"
#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh/plane_section.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

// An axis-aligned box [lo, hi], two triangles per side, outward.
Soup boxSoup(const test::Point& lo, const test::Point& hi) {
  Soup box = test::cubeSoup(1.0f);
  for (size_t i = 0; i < box.corners.size(); ++i) {
    const int a = static_cast<int>(i % 3);
    box.corners[i] = lo[a] + box.corners[i] * (hi[a] - lo[a]);
  }
  return box;
}

Soup vaseSoup(const test::IndexedMesh& vase) {
  Soup soup;
  soup.corners = test::toSoup(vase);
  return soup;
}

bool endsWith(const std::string& text, const std::string& tail) {
  return text.size() >= tail.size() &&
         text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// The polygons of one label as lists of (x, y, z).
std::vector<std::vector<test::Point>> polygonsLabelled(const PolygonOutlines& o, int32_t label) {
  std::vector<std::vector<test::Point>> out;
  size_t at = 0;
  for (size_t p = 0; p < o.pointCounts.size(); ++p) {
    std::vector<test::Point> polygon;
    for (int32_t i = 0; i < o.pointCounts[p]; ++i, at += 3)
      polygon.push_back({o.points[at], o.points[at + 1], o.points[at + 2]});
    if (o.labels[p] == label) out.push_back(polygon);
  }
  return out;
}

TEST(LampshadePreview, HeightIsReadFromFirstCornersOnly) {
  for (float height : {15.0f, 14.99f}) {
    TriMesh mesh = test::buildMesh(boxSoup({0, 0, 0}, {30, 30, height}));
    test::RunRecorder recorder;
    PolygonOutlines outlines;
    const int32_t status = previewLampshade(mesh, 2.0f, outlines, recorder.context());
    EXPECT_EQ(status, height >= 15.0f ? 1 : 0) << height;
    EXPECT_EQ(outlines.produced, height >= 15.0f);
    EXPECT_EQ(recorder.log.rfind("\n---start executing lampshade preview---", 0), 0u);
    if (height < 15.0f)
      EXPECT_TRUE(
          endsWith(recorder.log, "\n---{failure} lampshade preview: thin object caution \n"));
    else
      EXPECT_NE(recorder.log.find("\n---{success} lampshade preview: "), std::string::npos);
  }
  // A spike above a low box: 20 units high by its vertices, but no face has
  // its first corner up there.
  Soup spiky = boxSoup({0, 0, 0}, {30, 30, 10});
  spiky.addTriangle({5, 5, 10}, {6, 5, 10}, {5, 5, 30});
  TriMesh mesh = test::buildMesh(spiky);
  PolygonOutlines outlines;
  EXPECT_EQ(previewLampshade(mesh, 2.0f, outlines), 0);
  EXPECT_FALSE(outlines.produced);
}

TEST(LampshadePreview, BaseNeedsRoomForWallAndMarginInnerNeedsArea) {
  // Three towers on one floor height: wide (inner outline shown), 6.5 wide
  // (inset by 1 is 4.5 square, 20.25 < 25: no inner outline, but the inset
  // by 3 exists), 5.5 wide (the inset by 3 is empty: nothing at all).
  const Soup towers = test::concatenate(
      test::concatenate(boxSoup({0, 0, 0}, {30, 30, 40}), boxSoup({40, 0, 0}, {46.5f, 6.5f, 40})),
      boxSoup({60, 0, 0}, {65.5f, 5.5f, 40}));
  TriMesh mesh = test::buildMesh(towers);
  test::RunRecorder recorder;
  PolygonOutlines outlines;
  ASSERT_EQ(previewLampshade(mesh, 1.0f, outlines, recorder.context()), 1);
  ASSERT_TRUE(outlines.produced);
  const auto base = polygonsLabelled(outlines, kBaseOutline);
  const auto inner = polygonsLabelled(outlines, kInnerOutline);
  ASSERT_EQ(base.size(), 2u);
  ASSERT_EQ(inner.size(), 1u);
  // Base outlines first, then inner ones.
  EXPECT_EQ(outlines.labels, (std::vector<int32_t>{0, 0, 1}));
  for (const auto& polygon : base) {
    for (const auto& p : polygon) {
      EXPECT_LT(p[0], 50.0f);  // never the narrow tower
      EXPECT_EQ(p[2], 0.0f);   // at the base height, not the cut height
    }
  }
  float lo = 1e9f, hi = -1e9f;
  for (const auto& p : inner[0]) {
    lo = std::min({lo, p[0], p[1]});
    hi = std::max({hi, p[0], p[1]});
    EXPECT_EQ(p[2], 0.0f);
  }
  EXPECT_NEAR(lo, 1.0f, 1e-4);
  EXPECT_NEAR(hi, 29.0f, 1e-4);

  // Too wide a wall for every tower: the success line, status 0, nothing.
  recorder = {};
  EXPECT_EQ(previewLampshade(mesh, 20.0f, outlines, recorder.context()), 0);
  EXPECT_TRUE(outlines.produced);
  EXPECT_TRUE(outlines.pointCounts.empty());
  EXPECT_NE(recorder.log.find("{success} lampshade preview: "), std::string::npos);
  EXPECT_EQ(previewLampshade(mesh, std::nanf(""), outlines), 0);
  EXPECT_TRUE(outlines.pointCounts.empty());
}

TEST(LampshadePreview, BaseHeightIsTheTopOfTheLowestUnit) {
  // A floor plate 0.6 thick under a tower: the cut is made at 0.7 and every
  // point is written at 0.6.
  const Soup model =
      test::concatenate(boxSoup({0, 0, 0}, {30, 30, 0.6f}), boxSoup({5, 5, 0.6f}, {25, 25, 40}));
  TriMesh mesh = test::buildMesh(model);
  PolygonOutlines outlines;
  ASSERT_EQ(previewLampshade(mesh, 2.0f, outlines), 1);
  for (size_t i = 2; i < outlines.points.size(); i += 3) EXPECT_EQ(outlines.points[i], 0.6f);
  // The cut at 0.7 meets the tower only.
  const auto base = polygonsLabelled(outlines, kBaseOutline);
  ASSERT_EQ(base.size(), 1u) << outlines.labels.size();
  for (const auto& p : base[0]) {
    EXPECT_GE(p[0], 5.0f);
    EXPECT_LE(p[0], 25.0f);
  }
}

TEST(LampshadeBuild, StretchAndUndoAreExactInverses) {
  TriMesh mesh = test::buildMesh(test::uvSphereSoup(10.0f, 24, 12));
  const std::vector<Vertex> before = mesh.vertices;
  StretchedHeights kept;
  stretchEnds(mesh, -10.0f, 10.0f, 4.0f, &kept);
  // The lowest vertex goes to zmin - 2c, the highest to zmax + 2c.
  float lo = 1e9f, hi = -1e9f;
  for (const Vertex& v : mesh.vertices) {
    lo = std::min(lo, v.position[2]);
    hi = std::max(hi, v.position[2]);
  }
  EXPECT_EQ(lo, -18.0f);
  EXPECT_EQ(hi, 18.0f);
  undoStretch(mesh, -10.0f, 10.0f, 4.0f, 2.0, &kept);
  for (size_t i = 0; i < before.size(); ++i)
    EXPECT_EQ(mesh.vertices[i].position, before[i].position) << i;

  // By the formula alone: the ends come back exactly, the rest within a
  // rounding.
  stretchEnds(mesh, -10.0f, 10.0f, 4.0f, nullptr);
  undoStretch(mesh, -10.0f, 10.0f, 4.0f, 2.0, nullptr);
  for (size_t i = 0; i < before.size(); ++i)
    EXPECT_NEAR(mesh.vertices[i].position[2], before[i].position[2], 1e-5) << i;
  EXPECT_EQ(mesh.vertices.front().position[2], 10.0f);

  EXPECT_EQ(endBandWidth(false, 2.0f, 100.0f, 0.0f), 6.0f);  // w + 4 below 0.2 H
  EXPECT_EQ(endBandWidth(false, 2.0f, 25.0f, -5.0f), 6.0f);  // equal: w + 4
  EXPECT_EQ(endBandWidth(false, 2.0f, 20.0f, 0.0f), 4.0f);   // 0.2 H
  EXPECT_EQ(endBandWidth(true, 2.0f, 100.0f, 0.0f), 50.0f);  // half the height
}

TEST(LampshadeBuild, EndBandTestSeesDomesNotCylinders) {
  TriMesh vase = test::buildMesh(vaseSoup(test::vase(80, 80, 60.0f)));
  EXPECT_FALSE(endBandTest(2.0f, 60.0f, 0.0f, vase.faces.size(), vase));
  TriMesh sphere = test::buildMesh(test::uvSphereSoup(20.0f, 80, 40));
  EXPECT_TRUE(endBandTest(2.0f, 20.0f, -20.0f, sphere.faces.size(), sphere));
  EXPECT_FALSE(endBandTest(2.0f, 20.0f, -20.0f, 4999, sphere));  // never stretched anyway
  EXPECT_FALSE(endBandTest(std::nanf(""), 20.0f, -20.0f, sphere.faces.size(), sphere));
}

// The build's constants, read from failed builds (a wall thicker than the
// model peels everything), which also restore the caller's mesh bit for bit.
TEST(LampshadeBuild, FacesChooseStretchAndVoxelHeightFailureRestoresTheModel) {
  const test::IndexedMesh v5000 = test::vase(50, 49, 15.0f);
  ASSERT_EQ(v5000.triangleCount(), 5000u);
  Soup soup = vaseSoup(v5000);
  for (int extra = 0; extra < 2; ++extra) {
    TriMesh mesh = test::buildMesh(soup);
    const size_t faces = mesh.faces.size();
    const std::vector<Vertex> before = mesh.vertices;
    test::RunRecorder recorder;
    LampshadeReport report;
    buildLampshade(mesh, 1000.0f, recorder.context(), &report);
    EXPECT_FALSE(report.built);
    EXPECT_TRUE(report.stretched);
    EXPECT_EQ(report.zFactor, faces < 5001 ? 1.0f : 2.5f);
    EXPECT_EQ(report.voxelHeight, (faces < 5001 ? 1.0f : 2.0f) * report.voxelSize) << faces;
    EXPECT_LT(report.exposedVoxels, 10000u);
    ASSERT_EQ(mesh.vertices.size(), before.size());
    for (size_t i = 0; i < before.size(); ++i)
      ASSERT_EQ(mesh.vertices[i].position, before[i].position) << i;
    EXPECT_EQ(mesh.faces.size(), faces);
    EXPECT_EQ(recorder.log.rfind("\n---start executing lampshade---", 0), 0u);
    EXPECT_NE(recorder.log.find("\nform  surFace: "), std::string::npos);
    EXPECT_TRUE(endsWith(recorder.log, " sec.---\n"));
    EXPECT_NE(recorder.log.find("\n---{failure} lampshade : "), std::string::npos);
    soup.addTriangle({0, 0, 20}, {1, 0, 20}, {0, 1, 21});  // a stray 5001st face
  }
}

TEST(LampshadeBuild, BaseTestCutsOnlyThroughMaterial) {
  // A clean cut keeps the closed part below, capped flat.
  TriMesh box = test::buildMesh(boxSoup({0, 0, 0}, {10, 10, 10}));
  test::RunRecorder recorder;
  ASSERT_TRUE(cutCleanBase(box, 9.0f, recorder.context()));
  EXPECT_TRUE(test::edgeCensus(box).closedManifoldOriented());
  EXPECT_NEAR(enclosedVolume(box), 900.0, 1e-3);
  EXPECT_EQ(recorder.log, "");
  // Above the model, or through a shell wound inwards (a core alone, below
  // the model's bottom): "false", and the mesh is left alone.
  TriMesh inward = test::buildMesh(test::cubeSoup(10.0f, test::Winding::kInward));
  for (float h : {20.0f, 5.0f}) {
    TriMesh& mesh = h > 10.0f ? box : inward;
    const size_t faces = mesh.faces.size();
    recorder = {};
    EXPECT_FALSE(cutCleanBase(mesh, h, recorder.context()));
    EXPECT_EQ(recorder.log, "\nfalse");
    EXPECT_EQ(mesh.faces.size(), faces);
  }
}

TEST(LampshadeBuild, VoxelsTouchingAlongAnEdgeAreJoinedBeforeExport) {
  // Two blocks of 3 x 3 x 3 voxels meeting along one edge: filling a cell
  // between them leaves an exported surface with no edge of four faces.
  VoxelGrid grid(1.0f);
  for (int b = 0; b < 2; ++b)
    for (int z = 0; z < 3; ++z)
      for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 3; ++x) {
          Voxel v;
          v.x = static_cast<float>(x + 3 * b);
          v.y = static_cast<float>(y + 3 * b);
          v.z = static_cast<float>(z);
          ASSERT_TRUE(grid.put(grid.keyOf(v), v));
        }
  formSurface(grid, nullptr, kMinComponentFaces);
  SubMesh before;
  ASSERT_EQ(exportVoxel(before, grid), 0);
  EXPECT_EQ(test::edgeCensus(before).nonManifold, 3u);
  EXPECT_EQ(closeEdgeContacts(grid, 8), 3u);  // one cell per slice along the edge
  SubMesh after;
  ASSERT_EQ(exportVoxel(after, grid), 0);
  EXPECT_TRUE(test::edgeCensus(after).closedManifoldOriented());
  EXPECT_EQ(closeEdgeContacts(grid, 8), 0u);
}

TEST(LampshadeBuild, SmallestVoxelAndHalfUnitWallGiveOneLayerPeeledFour) {
  TriMesh mesh = test::buildMesh(boxSoup({0, 0, 0}, {10, 10, 20}));
  LampshadeReport report;
  buildLampshade(mesh, 0.5f, {}, &report);
  EXPECT_EQ(report.voxelSize, 0.2f);
  EXPECT_EQ(report.layers, 1);
  EXPECT_EQ(report.peelDepth, 4);
  EXPECT_FALSE(report.stretched);
}

// Wall thickness of a shade of the vase: for points of the inner wall's
// sections between a quarter and three quarters of the height, the distance
// to the vase's surface along its normal.
std::vector<double> wallSamples(const SubMesh& shade, float height, const test::IndexedMesh& vase) {
  std::vector<double> samples;
  for (double z = 0.25 * height; z <= 0.75 * height; z += 0.05 * height) {
    const SectionLoops section = planeSection(shade, z);
    // The outer loop is the one reaching farthest out; the others are inner.
    double outer_reach = 0.0;
    for (const auto& loop : section.loops)
      for (const auto& p : loop)
        outer_reach = std::max(outer_reach, std::hypot(double{p[0]}, double{p[1]}));
    for (const auto& loop : section.loops) {
      double reach = 0.0;
      for (const auto& p : loop) reach = std::max(reach, std::hypot(double{p[0]}, double{p[1]}));
      if (reach > outer_reach - 1e-3) continue;
      for (const auto& p : loop) {
        // The smallest distance to the vase's vertices (fine rings, so
        // within a small part of a voxel of the distance to its surface).
        double best = 1e9;
        for (size_t v = 0; v < vase.vertexCount(); ++v) {
          const float* q = &vase.positions[3 * v];
          if (std::fabs(q[2] - z) > 3.0) continue;
          best = std::min(best, std::hypot(std::hypot(q[0] - p[0], q[1] - p[1]), q[2] - z));
        }
        samples.push_back(best);
      }
    }
  }
  return samples;
}

TEST(LampshadeBuild, VaseBecomesClosedOutwardShadeWithWallOfRequestedThickness) {
  const float height = 60.0f;
  const test::IndexedMesh vase = test::vase(160, 120, height);
  TriMesh mesh = test::buildMesh(vaseSoup(vase));
  const double model_volume = enclosedVolume(mesh);
  test::RunRecorder recorder;
  LampshadeReport report;
  const float wall = 2.0f;
  buildLampshade(mesh, wall, recorder.context(), &report);
  ASSERT_TRUE(report.built) << recorder.log;
  EXPECT_TRUE(endsWith(recorder.log, " sec.---\n"));
  EXPECT_NE(recorder.log.rfind("\n---{success} lampshade : "), std::string::npos);
  EXPECT_EQ(recorder.log.find("{failure}"), std::string::npos);
  EXPECT_GE(report.baseAttempt, 0);

  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_FALSE(detectFlaws(mesh, 0));
  const double volume = enclosedVolume(mesh);
  EXPECT_GT(volume, 0.1 * model_volume);
  EXPECT_LT(volume, 0.6 * model_volume);
  // The base is flat and open: the lowest vertices lie on one plane just
  // above the vase's bottom, and the section above it is a ring.
  float lowest = 1e9f;
  for (const Vertex& v : mesh.vertices) lowest = std::min(lowest, v.position[2]);
  EXPECT_GT(lowest, 0.0f);
  EXPECT_LT(lowest, 3.0f);
  const SectionLoops ring = planeSection(mesh, lowest + 0.05);
  EXPECT_GE(ring.loops.size(), 2u);

  const std::vector<double> samples = wallSamples(mesh, height, vase);
  ASSERT_GT(samples.size(), 100u);
  double sum = 0.0;
  for (double d : samples) sum += d;
  const double mean = sum / static_cast<double>(samples.size());
  std::vector<double> sorted = samples;
  std::sort(sorted.begin(), sorted.end());
  const double s = report.voxelSize;
  EXPECT_NEAR(mean, wall, s) << "mean " << mean << " s " << s;
  EXPECT_NEAR(sorted[sorted.size() / 10], wall, 2 * s) << sorted[sorted.size() / 10];
  EXPECT_NEAR(sorted[sorted.size() * 9 / 10], wall, 2 * s) << sorted[sorted.size() * 9 / 10];
}

TEST(LampshadeBuild, BadInputLeavesTheModelAsItWas) {
  const Soup box = boxSoup({0, 0, 0}, {10, 10, 20});
  Soup sheet;
  sheet.addTriangle({0, 0, 0}, {30, 0, 0}, {0, 30, 30});
  sheet.addTriangle({30, 0, 0}, {30, 30, 30}, {0, 30, 30});
  struct Case {
    const Soup* soup;
    float wall;
  };
  for (const Case& c :
       {Case{&box, std::nanf("")}, Case{&box, 0.0f}, Case{&box, -2.0f}, Case{&box, 50.0f},
        Case{&box, std::numeric_limits<float>::infinity()}, Case{&sheet, 1.0f}}) {
    TriMesh mesh = test::buildMesh(*c.soup);
    const std::vector<Vertex> before = mesh.vertices;
    const size_t faces = mesh.faces.size();
    test::RunRecorder recorder;
    LampshadeReport report;
    buildLampshade(mesh, c.wall, recorder.context(), &report);
    EXPECT_FALSE(report.built) << c.wall;
    ASSERT_EQ(mesh.vertices.size(), before.size());
    for (size_t i = 0; i < before.size(); ++i)
      EXPECT_EQ(mesh.vertices[i].position, before[i].position);
    EXPECT_EQ(mesh.faces.size(), faces);
    EXPECT_NE(recorder.log.find("\n---{failure} lampshade : "), std::string::npos) << c.wall;
  }
  TriMesh empty;
  buildLampshade(empty, 2.0f);
  EXPECT_TRUE(empty.faces.empty());
  PolygonOutlines outlines;
  EXPECT_EQ(previewLampshade(empty, 2.0f, outlines), 0);
  EXPECT_FALSE(outlines.produced);
}

TEST(DesignExports, LampshadeExportsHandBackFreeableArrays) {
  const Soup box = boxSoup({0, 0, 0}, {30, 30, 40});
  float* points = nullptr;
  int32_t* point_counts = nullptr;
  int32_t polygons = -1;
  int32_t* kinds = nullptr;
  ASSERT_EQ(lampshadePreview(2.0f, box.corners.data(), box.triangleCount(), &points, &point_counts,
                             &polygons, &kinds),
            1);
  ASSERT_EQ(polygons, 2);
  ASSERT_NE(kinds, nullptr);
  EXPECT_EQ(kinds[0], 0);  // integers, not floats: 1 is not 0x3f800000
  EXPECT_EQ(kinds[1], 1);
  EXPECT_EQ(point_counts[0], 4);
  for (int32_t i = 0; i < point_counts[0] + point_counts[1]; ++i)
    EXPECT_EQ(points[3 * i + 2], 0.0f);
  freeAllArray();
  // Too low: no buffers, count 0.
  const Soup low = boxSoup({0, 0, 0}, {30, 30, 14.99f});
  EXPECT_EQ(lampshadePreview(2.0f, low.corners.data(), low.triangleCount(), &points, &point_counts,
                             &polygons, &kinds),
            0);
  EXPECT_EQ(polygons, 0);
  EXPECT_EQ(points, nullptr);
  freeAllArray();

  // A failed build hands the model back as it came; no triangles, none.
  float* corners = nullptr;
  float* colors = nullptr;
  float* uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t count = 0;
  int32_t progress = -1;
  lampshadeFromData(std::nanf(""), box.corners.data(), nullptr, nullptr, nullptr,
                    static_cast<int32_t>(box.triangleCount()), &corners, &colors, &uvs, &materials,
                    &count, &progress);
  EXPECT_EQ(progress, 100);
  EXPECT_EQ(count, box.triangleCount());
  ASSERT_NE(materials, nullptr);
  EXPECT_EQ(materials[0], -1);
  freeAllArray();
  lampshadeFromData(2.0f, nullptr, nullptr, nullptr, nullptr, 0, &corners, &colors, &uvs,
                    &materials, &count, &progress);
  EXPECT_EQ(count, 0u);
  freeAllArray();
}

}  // namespace
}  // namespace vekmesh
