// The tool's thorough repair on the faults real files bring: shells the
// topmost-vertex test calls inside out, edges of more than two faces, parts
// too small for an absolute grid, zero-volume parts, cavities, cracks.
#include "repair/thorough_repair.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "broken_sphere.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"
#include "repair/mesh_census.h"
#include "repair/partner_components.h"
#include "repair/sheet_pairing.h"
#include "repair/shell_orientation.h"

namespace vekmesh {
namespace {

using test::Point;
using test::Soup;

// Signed volume of the live faces about the origin, in double precision.
double signedVolume(const SubMesh& mesh) {
  double sum = 0.0;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    double p[3][3];
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a) p[c][a] = mesh.vertices[f.v[c]].position[a];
    sum += p[0][0] * (p[1][1] * p[2][2] - p[1][2] * p[2][1]) -
           p[0][1] * (p[1][0] * p[2][2] - p[1][2] * p[2][0]) +
           p[0][2] * (p[1][0] * p[2][1] - p[1][1] * p[2][0]);
  }
  return sum / 6.0;
}

// The live faces' corners in face order: what a soup writer would write.
std::vector<float> liveCorners(const SubMesh& mesh) {
  std::vector<float> out;
  for (const Face& f : mesh.faces)
    if (!f.removed)
      for (int c = 0; c < 3; ++c) {
        const auto& p = mesh.vertices[f.v[c]].position;
        out.insert(out.end(), p.begin(), p.end());
      }
  return out;
}

TriMesh repaired(const Soup& soup, ThoroughRepairReport* report = nullptr) {
  TriMesh mesh = test::buildMesh(soup);
  ThoroughRepairReport r = thoroughRepair(mesh);
  if (report) *report = std::move(r);
  return mesh;
}

// A peg whose top overhangs: a square frustum 1 wide at z = 0 and 3 wide at
// z = 0.5, so the faces around each top corner point steeply down.
Soup overhangingPeg() {
  const std::vector<Point> points = {{1, 1, 0},    {2, 1, 0},    {2, 2, 0},    {1, 2, 0},
                                     {0, 0, 0.5f}, {3, 0, 0.5f}, {3, 3, 0.5f}, {0, 3, 0.5f}};
  return test::soupFromIndexed(points, {{0, 2, 1},
                                        {0, 3, 2},
                                        {4, 5, 6},
                                        {4, 6, 7},
                                        {0, 1, 5},
                                        {0, 5, 4},
                                        {1, 2, 6},
                                        {1, 6, 5},
                                        {2, 3, 7},
                                        {2, 7, 6},
                                        {3, 0, 4},
                                        {3, 4, 7}});
}

TEST(ThoroughRepair, KeepsAnOverhangingPegOutwardWhereTheTopVertexTestFails) {
  TriMesh peg = test::buildMesh(overhangingPeg());
  const double volume = signedVolume(peg);
  ASSERT_GT(volume, 0.0);
  // The premise: the topmost-vertex test calls this correct shell inside out.
  buildShells(peg);
  const int32_t top = shellTopVertex(peg, peg.shells[0], true);
  ASSERT_LT(upwardNormalSum(peg, top, true), kInsideOutThreshold);

  ThoroughRepairReport report;
  const TriMesh out = repaired(overhangingPeg(), &report);
  EXPECT_DOUBLE_EQ(signedVolume(out), volume);
  EXPECT_EQ(report.consistency.faces_turned, 0u);
  EXPECT_EQ(report.outward.components_turned, 0u);
  EXPECT_EQ(liveCorners(out), overhangingPeg().corners);
}

TEST(ThoroughRepair, TurnsInsideOutShellsAndLeavesCavitiesInward) {
  // A flipped cube turns outwards.
  const TriMesh flipped = repaired(test::cubeSoup(1.0f, test::Winding::kInward));
  EXPECT_NEAR(signedVolume(flipped), 1.0, 1e-9);
  EXPECT_TRUE(test::edgeCensus(flipped).closedManifoldOriented());

  // A box with a cube inside: the box faces outwards whichever way it came;
  // an inward inner cube is a cavity and stays so, an outward one is taken as
  // a part set into the box and stays so too.
  for (const test::Winding outer : {test::Winding::kOutward, test::Winding::kInward})
    for (const test::Winding inner : {test::Winding::kOutward, test::Winding::kInward}) {
      const Soup soup = test::concatenate(test::cubeSoup(3.0f, outer),
                                          test::cubeSoup(1.0f, inner, Point{1, 1, 1}));
      ThoroughRepairReport report;
      const TriMesh out = repaired(soup, &report);
      const bool cavity = inner == test::Winding::kInward;
      EXPECT_NEAR(signedVolume(out), cavity ? 26.0 : 28.0, 1e-6);
      EXPECT_EQ(report.outward.cavities, cavity ? 1u : 0u);
    }
}

TEST(ThoroughRepair, OrientsAcrossTwoFaceEdgesOnlyWhereMoreFacesMeet) {
  // Two cubes sharing an edge, the second wound inwards: the walk must not
  // run from one into the other through the shared edge.
  Soup cubes = test::concatenate(test::cubeSoup(1.0f),
                                 test::cubeSoup(1.0f, test::Winding::kInward, Point{1, 1, 0}));
  const TriMesh out = repaired(cubes);
  EXPECT_NEAR(signedVolume(out), 2.0, 1e-6);
  const test::EdgeCensus census = test::edgeCensus(out);
  EXPECT_EQ(census.misoriented, 0u);
  EXPECT_EQ(census.boundary, 0u);

  // Three sheets on one edge, wound every which way: no edge ends up run
  // twice the same way.
  Soup sheets;
  const Point a{0, 0, 0}, b{0, 0, 1};
  const Point far[3] = {{1, 0, 0}, {-0.5f, 0.8f, 0}, {-0.5f, -0.8f, 0}};
  for (int k = 0; k < 3; ++k) {
    const Point c{far[k][0], far[k][1], 0}, d{far[k][0], far[k][1], 1};
    if (k == 1) {
      sheets.addTriangle(a, c, b);
      sheets.addTriangle(b, c, d);
    } else {
      sheets.addTriangle(a, b, c);
      sheets.addTriangle(b, d, c);
    }
  }
  const TriMesh fanned = repaired(sheets);
  EXPECT_EQ(test::edgeCensus(fanned).misoriented, 0u);
}

TEST(ThoroughRepair, LeavesASmallCleanPartExactlyAsItWas) {
  // 0.066 units across: an absolute 1/5000 grid would merge half its vertices.
  Soup sphere = test::uvSphereSoup(0.033f, 48, 24);
  const TriMesh out = repaired(sphere);
  const std::vector<float> corners = liveCorners(out);
  ASSERT_EQ(corners.size(), sphere.corners.size());
  EXPECT_EQ(std::memcmp(corners.data(), sphere.corners.data(), corners.size() * sizeof(float)), 0);
}

TEST(ThoroughRepair, RemovesAndCountsPartsThatEncloseNothing) {
  // A cube, a lone triangle far away and a double-sided square sheet.
  Soup soup = test::cubeSoup(1.0f);
  soup.addTriangle({5, 0, 0}, {6, 0, 0}, {5, 1, 0.5f});
  const Point p[4] = {{0, 5, 0}, {1, 5, 0}, {1, 6, 0}, {0, 6, 0}};
  soup.addTriangle(p[0], p[1], p[2]);
  soup.addTriangle(p[0], p[2], p[3]);
  soup.addTriangle(p[0], p[2], p[1]);
  soup.addTriangle(p[0], p[3], p[2]);
  ThoroughRepairReport report;
  const TriMesh out = repaired(soup, &report);
  EXPECT_EQ(report.coincident.opposite_pairs_removed, 2u);
  EXPECT_EQ(report.lone_faces_removed, 1u);
  EXPECT_EQ(report.holes.loops_closed, 0u);  // nothing left open to close
  EXPECT_EQ(out.shells.size(), 1u);
  EXPECT_NEAR(signedVolume(out), 1.0, 1e-9);
  EXPECT_TRUE(test::edgeCensus(out).closedManifoldOriented());
}

TEST(ThoroughRepair, LeavesAnEmptyMeshWhenNothingEnclosesAnything) {
  // Lone triangles, one with a NaN corner and one with an infinite one.
  Soup soup;
  soup.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  soup.addTriangle({5, 0, 0}, {6, 0, 0}, {5, NAN, 0});
  soup.addTriangle({9, 0, 0}, {INFINITY, 0, 0}, {9, 1, 0});
  ThoroughRepairReport report;
  const TriMesh out = repaired(soup, &report);
  EXPECT_EQ(report.faces_out, 0u);
  EXPECT_TRUE(out.faces.empty());
  EXPECT_TRUE(out.vertices.empty());
  EXPECT_EQ(report.collapsed_faces, 0u);
  EXPECT_EQ(test::invariantViolation(out), "");
}

TEST(ThoroughRepair, WeldsCracksAndFillsHolesWithPatchesOfTheRimsSize) {
  // A sphere whose upper half does not meet the lower exactly (the upper
  // faces' equator corners are one float step off, far below the tolerance),
  // with a hole at the south pole.
  const Soup sphere = test::uvSphereSoup(10.0f, 64, 32);
  Soup holed;
  for (uint32_t t = 0; t < sphere.triangleCount(); ++t) {
    Point corner[3] = {sphere.corner(t, 0), sphere.corner(t, 1), sphere.corner(t, 2)};
    bool upper = false, south = false;
    for (const Point& p : corner) {
      upper = upper || p[2] > 0.5f;
      south = south || p[2] < -9.9f;
    }
    if (south) continue;
    if (upper)
      for (Point& p : corner)
        if (std::fabs(p[2]) < 1e-3f) p[0] = std::nextafter(p[0], 1e9f);
    holed.addTriangle(corner[0], corner[1], corner[2]);
  }
  ThoroughRepairReport report;
  const TriMesh out = repaired(holed, &report);
  EXPECT_GT(report.weld.vertices_moved, 0u);
  EXPECT_EQ(report.holes.loops_closed, 1u);
  EXPECT_TRUE(test::edgeCensus(out).closedManifoldOriented());
  const double ball = 4.0 / 3.0 * 3.14159265358979 * 1000.0;
  EXPECT_NEAR(signedVolume(out), ball, 0.02 * ball);

  // A wide open border gets a patch in proportion to it.
  Soup sheet;
  for (int i = 0; i < 100; ++i)
    for (int j = 0; j < 100; ++j) {
      const float x = float(i), y = float(j);
      auto h = [](float u, float v) { return 0.3f * std::sin(0.2f * u) * std::cos(0.3f * v); };
      const Point p00{x, y, h(x, y)}, p10{x + 1, y, h(x + 1, y)}, p01{x, y + 1, h(x, y + 1)},
          p11{x + 1, y + 1, h(x + 1, y + 1)};
      sheet.addTriangle(p00, p10, p11);
      sheet.addTriangle(p00, p11, p01);
    }
  ThoroughRepairReport sheet_report;
  repaired(sheet, &sheet_report);
  EXPECT_LE(sheet_report.holes.faces_added, 3u * 400u);
}

TEST(ThoroughRepair, CollapsesNeedlesShorterThanTheTolerance) {
  // A cube whose top side is split at a point a hair from one of its
  // corners: the faces there have an edge far shorter than the tolerance.
  const std::vector<Point> points = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0},        {0, 0, 1},
                                     {1, 0, 1}, {1, 1, 1}, {0, 1, 1}, {1e-9f, 1e-9f, 1}};
  const Soup needled = test::soupFromIndexed(points, {{0, 2, 1},
                                                      {0, 3, 2},
                                                      {4, 5, 8},
                                                      {5, 6, 8},
                                                      {6, 7, 8},
                                                      {7, 4, 8},
                                                      {0, 1, 5},
                                                      {0, 5, 4},
                                                      {1, 2, 6},
                                                      {1, 6, 5},
                                                      {2, 3, 7},
                                                      {2, 7, 6},
                                                      {3, 0, 4},
                                                      {3, 4, 7}});
  ThoroughRepairReport report;
  const TriMesh out = repaired(needled, &report);
  EXPECT_EQ(report.needles_collapsed, 1u);
  EXPECT_EQ(liveFaceCount(out), 12u);
  EXPECT_NEAR(signedVolume(out), 1.0, 1e-6);
  EXPECT_TRUE(test::edgeCensus(out).closedManifoldOriented());
  // The corner that stays keeps its coordinates.
  for (const Vertex& v : out.vertices)
    EXPECT_FALSE(v.position[0] == 1e-9f && v.position[2] == 1.0f);
}

// The census of a mesh as the tool takes it after loading.
MeshCensus censusOf(TriMesh& mesh) {
  const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
  return takeCensus(mesh, adjacency);
}

TEST(ThoroughRepair, NeverAddsAFlawToAnyOfTheFaultsItMeets) {
  std::vector<Soup> inputs = {overhangingPeg(), test::cubeSoup(1.0f, test::Winding::kInward),
                              test::uvSphereSoup(0.033f, 48, 24)};
  inputs.push_back(test::concatenate(test::cubeSoup(1.0f),
                                     test::cubeSoup(1.0f, test::Winding::kInward, Point{1, 1, 0})));
  inputs.push_back(test::concatenate(test::cubeSoup(3.0f, test::Winding::kInward),
                                     test::cubeSoup(1.0f, test::Winding::kInward, Point{1, 1, 1})));
  // Two tetrahedra sharing a face, the second wound inwards.
  inputs.push_back(test::concatenate(
      test::tetrahedronSoup(),
      test::withTriangleFlipped(test::withTriangleFlipped(test::tetrahedronSoup(), 0), 1)));
  for (const uint64_t seed : {1u, 2u, 3u}) {
    const test::BrokenSphere broken = test::makeBrokenSphere(6000, seed);
    Soup soup;
    soup.corners = broken.corners;
    inputs.push_back(soup);
  }
  for (size_t i = 0; i < inputs.size(); ++i) {
    TriMesh mesh = test::buildMesh(inputs[i]);
    const MeshCensus before = censusOf(mesh);
    ThoroughRepairReport report = thoroughRepair(mesh);
    const MeshCensus after = takeCensus(mesh, report.adjacency);
    const std::vector<std::string> added = flawsAdded(before, after);
    EXPECT_TRUE(added.empty()) << "input " << i << ": " << added.front();
    EXPECT_EQ(after.inside_out_shells, 0u) << "input " << i;
  }

  // The comparison itself names what grew, and only that.
  MeshCensus less, more;
  more.misoriented_edges = 3;
  less.open_edges = 2;
  EXPECT_EQ(flawsAdded(less, more), std::vector<std::string>{"3 more mis-oriented edges"});
  EXPECT_TRUE(flawsAdded(more, more).empty());
}

TEST(ThoroughRepair, HandsBackTheAdjacencyOfTheRepairedMesh) {
  // Holes alone (the adjacency of the input then only gains the patches);
  // faces flipped (the adjacency turns with them), with and without holes.
  // Each is what the steps keep their adjacency through.
  const Soup sphere = test::uvSphereSoup(2.0f, 32, 16);
  Soup holed = sphere, flipped = sphere;
  for (const size_t t : {200, 121, 120, 40}) holed = test::withoutTriangle(holed, t);
  for (const size_t t : {300, 301, 77}) flipped = test::withTriangleFlipped(flipped, t);
  Soup both = test::withTriangleFlipped(test::withTriangleFlipped(holed, 300), 77);
  // A fin on an edge, pointing inwards: left out of the pairing there, it
  // has no partner and goes, leaving that edge to two faces.
  Soup finned = both;
  const Point a = holed.corner(100, 0), b = holed.corner(100, 1);
  finned.addTriangle(a, b, {0.25f * (a[0] + b[0]), 0.25f * (a[1] + b[1]), 0.25f * (a[2] + b[2])});
  // An inside-out cube, whole and with a hole: turned as a whole.
  const Soup inward = test::cubeSoup(1.0f, test::Winding::kInward);
  std::vector<Soup> inputs = {holed,  flipped, both,
                              finned, inward,  test::withoutTriangle(inward, 5)};
  // Broken spheres, whose faults make the steps build it again.
  for (const uint64_t seed : {1u, 2u}) {
    Soup soup;
    soup.corners = test::makeBrokenSphere(6000, seed).corners;
    inputs.push_back(soup);
  }
  for (size_t i = 0; i < inputs.size(); ++i) {
    TriMesh mesh = test::buildMesh(inputs[i]);
    CornerAdjacency loaded = buildShellsWithAdjacency(mesh, /*list_duplicates=*/true);
    const ThoroughRepairReport report = thoroughRepair(mesh, RunContext{}, &loaded);
    if (i < 6) {  // what each made input asks of the steps
      const size_t turned[] = {0, 3, 2, 2, 0, 0};
      EXPECT_EQ(report.holes.loops_closed > 0, i != 1 && i != 4) << "input " << i;
      EXPECT_EQ(report.consistency.faces_turned, turned[i]) << "input " << i;
      EXPECT_EQ(report.lone_faces_removed, i == 3 ? 1u : 0u) << "input " << i;
      EXPECT_EQ(report.outward.components_turned, i >= 4 ? 1u : 0u) << "input " << i;
    }
    const CornerAdjacency fresh = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
    EXPECT_EQ(report.adjacency.across, fresh.across) << "input " << i;
    EXPECT_EQ(report.adjacency.same_direction, fresh.same_direction) << "input " << i;
    EXPECT_EQ(report.adjacency.duplicates_listed, fresh.duplicates_listed) << "input " << i;
    EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented()) << "input " << i;
  }
}

// The passes that gather on a team (adjacency, census, orientation sums,
// open edges, lone faces) merge in face order: the repair is the same on any
// team, face for face and in every count. Two shells: the broken sphere and a
// small one inside it wound inwards, which the outward step keeps as a
// cavity; and loose triangles outside, which go.
TEST(ThoroughRepair, GivesTheSameMeshOnOneAndOnThreeThreads) {
  const test::BrokenSphere broken = test::makeBrokenSphere(40000, 5);
  Soup soup;
  soup.corners = broken.corners;
  Soup inner = test::uvSphereSoup(5.0f, 64, 32);
  for (size_t t = 0; t < inner.triangleCount(); ++t)
    for (int a = 0; a < 3; ++a)
      std::swap(inner.corners[9 * t + 3 + a], inner.corners[9 * t + 6 + a]);
  soup = test::concatenate(soup, inner);
  for (int t = 0; t < 40; ++t) {
    const float x = 80.0f + 3.0f * float(t);
    soup.addTriangle({x, 0, 0}, {x + 1, 0, 0}, {x, 1, 0});
  }
  const int threads = omp_get_max_threads();
  std::vector<TriMesh> meshes;
  std::vector<ThoroughRepairReport> reports;
  for (const int team : {1, 3}) {
    omp_set_num_threads(team);
    meshes.push_back(test::buildMesh(soup));
    reports.push_back(thoroughRepair(meshes.back()));
  }
  omp_set_num_threads(threads);
  const TriMesh &one = meshes[0], &three = meshes[1];
  ASSERT_EQ(one.faces.size(), three.faces.size());
  EXPECT_EQ(std::memcmp(one.faces.data(), three.faces.data(), one.faces.size() * sizeof(Face)), 0);
  ASSERT_EQ(one.vertices.size(), three.vertices.size());
  for (size_t v = 0; v < one.vertices.size(); ++v)
    ASSERT_EQ(one.vertices[v].position, three.vertices[v].position) << v;
  EXPECT_EQ(one.shells, three.shells);
  EXPECT_EQ(reports[0].holes.loops_closed, reports[1].holes.loops_closed);
  EXPECT_EQ(reports[0].consistency.faces_turned, reports[1].consistency.faces_turned);
  EXPECT_EQ(reports[0].outward.cavities, reports[1].outward.cavities);
  EXPECT_EQ(reports[0].outward.signed_volumes, reports[1].outward.signed_volumes);
  EXPECT_EQ(reports[0].lone_faces_removed, reports[1].lone_faces_removed);
  EXPECT_GE(reports[0].lone_faces_removed, 40u);
  EXPECT_GT(reports[0].holes.loops_closed, 0u);
  EXPECT_EQ(reports[0].outward.cavities, 1u);
  EXPECT_TRUE(test::edgeCensus(one).closedManifoldOriented());
}

// The consistency step's components, and whether they came without the walk.
struct Components {
  OrientationComponents found;
  ConsistencyReport report;
  bool without_walk = false;
  bool opposite = false;  // every pair of partners runs its edge oppositely
};

Components componentsOf(TriMesh mesh, int team) {
  const int threads = omp_get_max_threads();
  omp_set_num_threads(team);
  Components c;
  const CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  const SheetPartners partners = pairSheets(mesh, adjacency);
  OrientationComponents scratch;
  c.without_walk = componentsWithoutTurns(mesh, partners, scratch);
  c.opposite = partnersRunOpposite(mesh, partners);
  c.found = orientConsistently(mesh, partners, c.report);
  omp_set_num_threads(threads);
  return c;
}

TEST(ThoroughRepair, FindsTheWalksComponentsWithoutItWhereNothingTurns) {
  // A sphere, a torus and an open bowl, their triangles interleaved, so
  // that components are numbered by lowest faces far apart; large enough
  // for the team.
  Soup parts =
      test::concatenate(test::uvSphereSoup(10.0f, 128, 80), test::torusSoup(30.0f, 5.0f, 48, 24));
  for (uint32_t t = 0; t < 200; ++t)
    parts.addTriangle({60.0f + t, 0, 0}, {61.0f + t, 0, 0}, {60.5f + t, 1, 0});
  Soup soup;
  std::mt19937 rng(7);
  std::vector<uint32_t> order(parts.triangleCount());
  std::iota(order.begin(), order.end(), 0u);
  std::shuffle(order.begin(), order.end(), rng);
  for (const uint32_t t : order)
    soup.addTriangle(parts.corner(t, 0), parts.corner(t, 1), parts.corner(t, 2));
  // The same with a last pair of faces running their shared edge alike,
  // which the walk must turn: the faces before keep their numbers.
  Soup turned = soup;
  turned.addTriangle({0, 0, 50}, {1, 0, 50}, {0, 1, 50});
  turned.addTriangle({1, 0, 50}, {0, 1, 50}, {1, 1, 50});
  const TriMesh consistent = test::buildMesh(soup);
  const Components one = componentsOf(consistent, 1), three = componentsOf(consistent, 3);
  const Components walked = componentsOf(test::buildMesh(turned), 3);
  ASSERT_TRUE(one.without_walk && one.opposite && three.opposite);
  ASSERT_FALSE(walked.without_walk || walked.opposite);
  EXPECT_EQ(walked.report.faces_turned, 1u);
  EXPECT_EQ(one.report.faces_turned, 0u);
  EXPECT_EQ(one.found.component_of, three.found.component_of);
  EXPECT_EQ(one.found.closed, three.found.closed);
  // Sphere, torus, 200 lone faces; then the pair, open.
  ASSERT_EQ(one.found.count(), 202u);
  EXPECT_EQ(std::count(one.found.closed.begin(), one.found.closed.end(), 1), 2);
  ASSERT_EQ(walked.found.count(), one.found.count() + 1);
  EXPECT_TRUE(
      std::equal(one.found.closed.begin(), one.found.closed.end(), walked.found.closed.begin()));
  EXPECT_TRUE(std::equal(one.found.component_of.begin(), one.found.component_of.end(),
                         walked.found.component_of.begin()));
  EXPECT_EQ(walked.found.closed.back(), 0);

  // The outward step sums each component over its faces, which come
  // interleaved: the two solids' volumes, whatever the order.
  TriMesh mesh = consistent;
  const OutwardReport outward = orientOutwards(mesh, one.found, 1e-6);
  std::vector<double> closed_volumes;
  for (size_t k = 0; k < one.found.count(); ++k)
    if (one.found.closed[k]) closed_volumes.push_back(outward.signed_volumes[k]);
  std::sort(closed_volumes.begin(), closed_volumes.end());
  ASSERT_EQ(closed_volumes.size(), 2u);
  // (Within the few per cent the facets take off.)
  EXPECT_NEAR(closed_volumes[0], 4.0 / 3.0 * M_PI * 1000.0, 0.03 * 4188.8);
  EXPECT_NEAR(closed_volumes[1], 2.0 * M_PI * M_PI * 30.0 * 25.0, 0.03 * 14804.4);
}

// The walk starts at the lowest face; when that one is the odd face out, the
// whole rest of its component turns back, on any team, and only it turns.
// With a tetrahedron whose lowest face is turned too (a component for the
// calling thread) and a torus with fewer faces wrong than right.
TEST(ThoroughRepair, TheWalkTurnsTheFewerFacesOfEachComponent) {
  const Soup parts = test::concatenate(
      test::concatenate(test::uvSphereSoup(10.0f, 128, 80),  // large enough for the team
                        test::tetrahedronSoup(2.0f)),
      test::torusSoup(30.0f, 5.0f, 48, 24));
  const uint32_t sphere_faces = 2 * 128 * 79, torus_first = sphere_faces + 4;
  ASSERT_EQ(parts.triangleCount(), torus_first + 2 * 48 * 24);
  const std::vector<uint32_t> odd = {0, sphere_faces, torus_first + 5, torus_first + 300};
  Soup soup;
  for (uint32_t t = 0; t < parts.triangleCount(); ++t) {
    const bool turn = std::find(odd.begin(), odd.end(), t) != odd.end();
    soup.addTriangle(parts.corner(t, turn ? 1 : 0), parts.corner(t, turn ? 0 : 1),
                     parts.corner(t, 2));
  }
  const TriMesh built = test::buildMesh(soup);
  for (const int team : {1, 3}) {
    const Components c = componentsOf(built, team);
    EXPECT_EQ(c.report.faces_turned, odd.size()) << team;
    EXPECT_EQ(c.found.count(), 3u) << team;
    EXPECT_EQ(c.report.conflicts, 0u) << team;
  }
  // Every face comes out wound as the parts came, before the odd faces.
  TriMesh mesh = built;
  ConsistencyReport report;
  const int threads = omp_get_max_threads();
  omp_set_num_threads(3);
  orientConsistently(mesh, pairSheets(mesh, buildCornerAdjacency(mesh, RemovedFaces::kSkip)),
                     report);
  omp_set_num_threads(threads);
  ASSERT_EQ(mesh.faces.size(), size_t(parts.triangleCount()));
  for (uint32_t t = 0; t < parts.triangleCount(); ++t) {
    const auto& v = mesh.faces[t].v;
    auto at = [&](int c) {
      const auto& p = mesh.vertices[size_t(v[c])].position;
      return Point{p[0], p[1], p[2]};
    };
    // The same corners in the same cyclic order.
    int start = 0;
    while (start < 3 && !(at(start) == parts.corner(t, 0))) ++start;
    ASSERT_LT(start, 3) << t;
    EXPECT_TRUE(at((start + 1) % 3) == parts.corner(t, 1) &&
                at((start + 2) % 3) == parts.corner(t, 2))
        << t;
  }
}

// The outward step alone on a mesh as it stands: components from its sheets.
OutwardReport outwardsOnly(TriMesh& mesh) {
  const CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  ConsistencyReport consistency;
  const OrientationComponents components =
      orientConsistently(mesh, pairSheets(mesh, adjacency), consistency);
  return orientOutwards(mesh, components, 1e-6);
}

TEST(ThoroughRepair, TurnsOpenShellsByWhatTheirFacesSee) {
  // A bowl (a sphere's lower part): wound inwards, its faces see out behind
  // them, so it turns; wound outwards it stays.
  Soup bowl;
  const Soup sphere = test::uvSphereSoup(10.0f, 48, 24);
  for (uint32_t t = 0; t < sphere.triangleCount(); ++t) {
    const Point a = sphere.corner(t, 0), b = sphere.corner(t, 1), c = sphere.corner(t, 2);
    if (a[2] < 3.0f && b[2] < 3.0f && c[2] < 3.0f) bowl.addTriangle(a, b, c);
  }
  Soup inward;
  for (uint32_t t = 0; t < bowl.triangleCount(); ++t)
    inward.addTriangle(bowl.corner(t, 0), bowl.corner(t, 2), bowl.corner(t, 1));
  TriMesh out = test::buildMesh(bowl), in = test::buildMesh(inward);
  EXPECT_EQ(outwardsOnly(out).components_turned, 0u);
  EXPECT_EQ(outwardsOnly(in).components_turned, 1u);
  // Turned, it runs its faces as the outward one does: the same signed
  // volume about the origin (which an open surface's winding flips).
  EXPECT_NEAR(signedVolume(in), signedVolume(out), 1e-9 * std::fabs(signedVolume(out)));
  EXPECT_GT(std::fabs(signedVolume(out)), 1.0);

  // A flat sheet sees out both ways and keeps whichever winding it has.
  Soup sheet;
  sheet.addTriangle({0, 0, 0}, {1, 0, 0}, {1, 1, 0});
  sheet.addTriangle({0, 0, 0}, {1, 1, 0}, {0, 1, 0});
  for (const bool flip : {false, true}) {
    Soup s = sheet;
    if (flip) s = test::withTriangleFlipped(test::withTriangleFlipped(s, 0), 1);
    TriMesh mesh = test::buildMesh(s);
    EXPECT_EQ(outwardsOnly(mesh).components_turned, 0u);
  }
}

}  // namespace
}  // namespace vekmesh
