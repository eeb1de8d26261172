// Tests of the sectional analysis: spacing and planes, the probe at steps,
// the score's reach rule and threshold, the neck of a bar, outlines in the
// model's own frame, the log and the export, and bounded answers to bad input.
#include "analysis/sectional_analysis.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "analysis/section_cutting.h"
#include "analysis/section_score.h"
#include "include/vekmesh.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "section_shapes.h"

namespace vekmesh {
namespace {

using test::Soup;

// A box along z of the given height on a 10 x 10 base.
TriMesh column(float height) {
  return test::buildMesh(test::steppedBarSoup(2, 0.0f, {{height, 5.0f}}));
}

TEST(SectionCutting, SpacingAndPlanesFollowTheHeight) {
  EXPECT_EQ(automaticSpacing(40.0), 1.0);
  EXPECT_EQ(automaticSpacing(41.0), 3.0);
  EXPECT_EQ(automaticSpacing(220.0), 6.0);
  struct Case {
    float height;
    double spacing;
    size_t planes;
    double last;
  };
  for (const Case& c : {Case{40, 1, 41, 39.9}, Case{41, 3, 15, 40.7}, Case{220, 6, 38, 219.4}}) {
    const std::vector<Section> sections = cutSections(column(c.height), 0.5f, 0.0);
    ASSERT_EQ(sections.size(), c.planes) << c.height;
    EXPECT_NEAR(sections[0].height, 0.1 * c.spacing, 1e-9);
    EXPECT_NEAR(sections[1].height - sections[0].height, c.spacing, 1e-9);
    EXPECT_NEAR(sections.back().height, c.last, 1e-5);
    for (const Section& s : sections) EXPECT_NEAR(s.area, 100.0, 1e-3);
  }
  EXPECT_TRUE(cutSections(column(4.9f), 0.5f, 0.0).empty());
  EXPECT_EQ(sectionHeights(0.0, 10.0, 2.5).size(), 5u);  // 0.25 ... 7.75, then 9.75
  // A million units cut every unit: the planes are capped, not a million.
  EXPECT_LE(sectionHeights(0.0, 1e6, 1.0).size(), kMaxSectionPlanes);
  EXPECT_LE(sectionHeights(0.0, 1e6, 0.0).size(), 110u);
  EXPECT_TRUE(sectionHeights(0.0, INFINITY, 1.0).empty());
  EXPECT_TRUE(sectionHeights(NAN, 10.0, 1.0).empty());
}

TEST(SectionCutting, ProbeTakesTheNarrowerSideOfAStep) {
  // A 20 x 20 block 10.11 high under a 4 x 4 pin: the plane at 10.1 lies just
  // under the step, and its probe 0.02 above cuts the pin.
  const TriMesh pinned = test::buildMesh(test::steppedBarSoup(2, 0.0f, {{10.11f, 10}, {10, 2}}));
  const auto at = [](const std::vector<Section>& sections, double lo, double hi) {
    for (const Section& s : sections)
      if (s.height > lo && s.height < hi) return s;
    return Section{};
  };
  const Section probed = at(cutSections(pinned, 0.5f, 0.0), 10.0, 10.2);
  EXPECT_NEAR(probed.height, 10.12, 1e-9);
  EXPECT_NEAR(probed.area, 16.0, 1e-4);
  const Section plain = at(cutSections(pinned, 0.99f, 0.0), 10.0, 10.2);  // no probe
  EXPECT_NEAR(plain.height, 10.1, 1e-9);
  EXPECT_NEAR(plain.area, 400.0, 1e-3);
}

// A square section of half width w about (x, y), as one outline.
std::vector<OutlineGroup> squareSection(double x, double y, double w) {
  const auto p = [&](double u, double v) {
    return std::array<float, 3>{float(x + u), float(y + v), 0.0f};
  };
  return {{{p(-w, -w), p(w, -w), p(w, w), p(-w, w)}}};
}

TEST(SectionScore, ReachRunsFromTheCentroidToTheFarEdgeAcrossTheAngle) {
  const std::vector<OutlineGroup> square = squareSection(3, -2, 4);
  const std::array<double, 3> c = sectionCentroid(square);
  EXPECT_NEAR(c[0], 3.0, 1e-6);
  EXPECT_NEAR(c[1], -2.0, 1e-6);
  // At pi / 2 the coordinate is -x: the reach is the half width; at pi / 4 it
  // runs to a corner.
  EXPECT_NEAR(sectionReach(square, c, 4 * kScoreAngleStep), 4.0, 1e-5);
  EXPECT_NEAR(sectionReach(square, c, 2 * kScoreAngleStep), 4.0 * std::sqrt(2.0), 1e-5);
  const double s = kScoreAngleStep;
  EXPECT_NEAR(sectionReach(square, c, s), 4.0 * (std::cos(s) + std::sin(s)), 1e-5);
}

TEST(SectionalAnalysis, EachDirectionIsTurnedUpAndBack) {
  for (const auto& d : kSectionDirections) {
    const auto up = directionRotation(d, false), back = directionRotation(d, true);
    const double n = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    for (int r = 0; r < 3; ++r) {
      const double turned = up[r][0] * d[0] + up[r][1] * d[1] + up[r][2] * d[2];
      EXPECT_NEAR(turned, r == 2 ? n : 0.0, 1e-6);  // d points up
      for (int k = 0; k < 3; ++k) {
        double product = 0.0;
        for (int j = 0; j < 3; ++j) product += back[r][j] * up[j][k];
        EXPECT_NEAR(product, r == k ? 1.0 : 0.0, 1e-6);
      }
    }
    EXPECT_NEAR(up[2][2], std::cos(std::acos(d[2] / n)), 1e-6);  // about a horizontal axis
  }
}

TEST(SectionScore, ShortReachesCountFourfoldAndTheThresholdIsStrict) {
  // 1 / q does not change with size, the edge weights grow with it; reaches
  // below 10 are quartered.
  const float small = sectionScore(squareSection(0, 0, 2), false);
  const float large = sectionScore(squareSection(0, 0, 20), false);
  EXPECT_GT(small, 0.0f);
  EXPECT_NEAR(large / small, 10.0 / 4.0, 1e-5);
  EXPECT_NEAR(sectionScore(squareSection(100, -40, 20), false), large, 1e-3 * large);
  // Points near an axis (q of 20 or more) count only under the axes-only flag.
  std::vector<OutlineGroup> midpoints = {{{{-20, -20, 0},
                                           {0, -20, 0},
                                           {20, -20, 0},
                                           {20, 0, 0},
                                           {20, 20, 0},
                                           {0, 20, 0},
                                           {-20, 20, 0},
                                           {-20, 0, 0}}}};
  EXPECT_GT(sectionScore(midpoints, true), sectionScore(midpoints, false));

  EXPECT_FALSE(isWeak(0.5f, weakThreshold({0.5f}, false)));
  EXPECT_TRUE(isWeak(std::nextafter(0.5f, 1.0f), weakThreshold({}, false)));
  std::vector<float> scores;
  for (int i = 1; i <= 30; ++i) scores.push_back(float(i));
  EXPECT_EQ(weakThreshold(scores, true), 28.0f);  // k = 3: 29 and 30 are weak
  scores.resize(9);
  EXPECT_EQ(weakThreshold(scores, true), 9.0f);  // k = 0 taken as 1: none is weak
  EXPECT_EQ(weakThreshold(std::vector<float>(20, 5.0f), true), 5.0f);
}

const AnalysisRecord* strongestAlong(const SubMesh& mesh, const std::array<double, 3>& d) {
  const AnalysisRecord* best = nullptr;
  for (const AnalysisRecord& r : mesh.analysisRecords)
    if (r.direction == d && (!best || r.score > best->score)) best = &r;
  return best;
}

TEST(SectionalAnalysis, NeckedBarIsWeakestAtItsNeck) {
  // A 30 x 30 bar along x, 92 long, narrowing to 12 x 12 for x in [40, 52].
  TriMesh bar = test::buildMesh(test::steppedBarSoup(0, 0.0f, {{40, 15}, {12, 6}, {40, 15}}));
  EXPECT_EQ(sectionalAnalysis(bar, 0.5f, 0), 0);
  const AnalysisRecord* neck = strongestAlong(bar, {1, 0, 0});
  ASSERT_NE(neck, nullptr);
  for (const auto& group : neck->outlineGroups)
    for (const auto& polygon : group)
      for (const auto& p : polygon) {
        EXPECT_GT(p[0], 40.0f);
        EXPECT_LT(p[0], 52.0f);
        EXPECT_NEAR(std::max(std::fabs(p[1]), std::fabs(p[2])), 6.0f, 1e-4);
      }
  // Under the axes-only flag only the highest tenth of each axis is kept.
  TriMesh again = test::buildMesh(
      test::steppedBarSoup(0, 0.0f, {{40, 15}, {3, 6}, {3, 6.5f}, {3, 7}, {3, 7.5f}, {40, 15}}));
  sectionalAnalysis(again, 0.5f, 1);
  size_t along = 0;
  for (const AnalysisRecord& r : again.analysisRecords) {
    if (r.direction != std::array<double, 3>{1, 0, 0}) continue;
    ++along;
    EXPECT_GT(r.outlineGroups[0][0][0][0], 40.0f);
    EXPECT_LT(r.outlineGroups[0][0][0][0], 52.0f);
  }
  EXPECT_EQ(along, 2u);  // 32 sections: the two above the third highest
}

TEST(SectionalAnalysis, OutlinesLieOnTheModelInItsOwnFrame) {
  // The box [1, 31] x [-5, 5] x [-5, 5], cut in all 13 directions.
  TriMesh box = test::buildMesh(test::steppedBarSoup(0, 1.0f, {{30, 5}}));
  const TriMesh before = box;
  test::RunRecorder recorder;
  sectionalAnalysis(box, 0.5f, 0, recorder.context());
  ASSERT_GT(box.analysisRecords.size(), 13u);
  for (size_t v = 0; v < box.vertices.size(); ++v)
    ASSERT_EQ(box.vertices[v].position, before.vertices[v].position);  // restored bit for bit
  const float lo[3] = {1, -5, -5}, hi[3] = {31, 5, 5};
  for (const AnalysisRecord& r : box.analysisRecords) {
    EXPECT_GT(r.score, kWeakThreshold);
    for (const auto& group : r.outlineGroups)
      for (const auto& polygon : group)
        for (const auto& p : polygon) {
          float nearest = INFINITY;
          for (int a = 0; a < 3; ++a) {
            EXPECT_GT(p[a], lo[a] - 1e-4f);
            EXPECT_LT(p[a], hi[a] + 1e-4f);
            nearest = std::min({nearest, std::fabs(p[a] - lo[a]), std::fabs(p[a] - hi[a])});
          }
          EXPECT_LT(nearest, 1e-4f);  // on a face of the box
        }
  }
  const std::string& log = recorder.log;
  EXPECT_EQ(log.rfind("\n---start executing sectional analysis---", 0), 0u);
  EXPECT_NE(log.find("\nsection num : " + std::to_string(box.analysisRecords.size()) +
                     "\n---{success} section analysis : "),
            std::string::npos);
  EXPECT_EQ(log.substr(log.size() - 9), " sec.---\n");
  ASSERT_EQ(recorder.percents.size(), 13u);
  EXPECT_EQ(recorder.percents.back(), 100);
}

TEST(SectionalAnalysis, ExportHandsOutWeakSectionsOrNone) {
  float* points = nullptr;
  uint32_t* bits = nullptr;
  int32_t* counts = nullptr;
  int32_t polygons = -1, progress = -1;
  // Lower than 5 in every direction: no sections at all.
  const Soup low = test::uvSphereSoup(2.4f, 32, 16);
  weaknessDetect(low.corners.data(), low.triangleCount(), &points, &bits, &counts, &polygons,
                 &progress);
  EXPECT_EQ(polygons, 0);
  EXPECT_EQ(progress, 100);
  freeAllArray();
  // NaN and infinite corners are left out; the rest is analysed.
  Soup broken = test::uvSphereSoup(20.0f, 32, 16);
  broken.corners[4] = std::nanf("");
  broken.corners[31] = -INFINITY;
  weaknessDetect(broken.corners.data(), broken.triangleCount(), &points, &bits, &counts, &polygons,
                 &progress);
  EXPECT_GE(polygons, 0);
  EXPECT_EQ(progress, 100);
  freeAllArray();

  const Soup bar = test::steppedBarSoup(0, 0.0f, {{40, 15}, {12, 6}, {40, 15}});
  weaknessDetect(bar.corners.data(), bar.triangleCount(), &points, &bits, &counts, &polygons,
                 nullptr);
  ASSERT_GT(polygons, 0);
  size_t total = 0;
  for (int32_t i = 0; i < polygons; ++i) {
    EXPECT_GE(counts[i], 3);
    total += size_t(counts[i]);
    float score;
    std::memcpy(&score, &bits[i], sizeof score);
    EXPECT_GT(score, 0.5f);
  }
  for (size_t i = 0; i < 3 * total; ++i) EXPECT_TRUE(std::isfinite(points[i]));
  freeAllArray();
}

TEST(SectionalAnalysis, BadInputGetsBoundedAnswers) {
  std::vector<Soup> cases;
  Soup nan = test::uvSphereSoup(10.0f, 32, 16);
  nan.corners[5] = std::nanf("");
  nan.corners[40] = INFINITY;
  cases.push_back(nan);
  Soup flat;  // a 20 x 20 square sheet
  flat.addTriangle({0, 0, 0}, {20, 0, 0}, {20, 20, 0});
  flat.addTriangle({0, 0, 0}, {20, 20, 0}, {0, 20, 0});
  cases.push_back(flat);
  Soup one;
  one.addTriangle({0, 0, 0}, {30, 0, 0}, {0, 30, 30});
  cases.push_back(one);
  cases.push_back(test::withoutTriangle(test::uvSphereSoup(10.0f, 32, 16), 200));
  cases.push_back(test::steppedBarSoup(2, 0.0f, {{1e6f, 2}}));  // a million high
  for (const Soup& soup : cases) {
    TriMesh mesh = test::buildMesh(soup);
    EXPECT_EQ(sectionalAnalysis(mesh, 0.5f, 0), 0);
    EXPECT_LE(mesh.analysisRecords.size(), 13u * 2 * 121);
    for (const AnalysisRecord& r : mesh.analysisRecords)
      for (const auto& group : r.outlineGroups)
        for (const auto& polygon : group)
          for (const auto& p : polygon)
            for (float x : p) EXPECT_TRUE(std::isfinite(x));
  }
}

}  // namespace
}  // namespace vekmesh
