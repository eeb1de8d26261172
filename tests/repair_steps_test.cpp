// The repair steps before hole filling: grid snapping, duplicate removal and
// the winding repair, and the pipeline on an intact model.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "mesh/corner_adjacency.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/duplicate_faces.h"
#include "repair/flaw_detection.h"
#include "repair/repair_pipeline.h"
#include "repair/snap_to_grid.h"
#include "repair/winding.h"

namespace vekmesh {
namespace {

using test::Soup;
using test::Winding;

TEST(SnapToGrid, TruncatesTowardZeroAndWeldsCornersOnOneGridPoint) {
  EXPECT_EQ(snapCoordinate(-0.3f), -0.2998f);  // -1499.5 truncates to -1499
  EXPECT_EQ(snapCoordinate(1.00011f), 1.0002f);
  // Outside the contract: NaN goes to 0, huge values saturate.
  EXPECT_EQ(snapCoordinate(std::numeric_limits<float>::quiet_NaN()), 0.0f);
  EXPECT_EQ(snapCoordinate(-1e30f), static_cast<float>(-2147483648.0 / 5000.0));

  // Two triangles meant to share an edge, whose shared corners differ by less
  // than a grid step (and on both sides of zero).
  Soup soup;
  soup.addTriangle({-0.3f, 0, 0}, {1, 0, 0}, {0, 1, 0});
  soup.addTriangle({1.00002f, 0.00003f, 0}, {-0.29995f, 0, 0}, {0.5f, -1, 0});
  TriMesh mesh = test::buildMesh(soup);
  ASSERT_EQ(mesh.vertices.size(), 6u);
  snapToGrid(mesh);
  compactMesh(mesh);
  EXPECT_EQ(mesh.vertices.size(), 4u);
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_EQ(test::edgeCensus(mesh).boundary, 4u);  // the shared edge is closed
  // A triangle whose corners all land on one grid point is dropped.
  Soup tiny;
  tiny.addTriangle({2, 2, 2}, {2.00001f, 2, 2}, {2, 2.00001f, 2});
  TriMesh dot = test::buildMesh(test::concatenate(soup, tiny));
  snapToGrid(dot);
  compactMesh(dot);
  EXPECT_EQ(dot.faces.size(), 2u);
}

TEST(RemoveDuplicateFaces, KeepsTheFirstCopyInEitherWinding) {
  Soup soup = test::withTriangleDuplicated(test::cubeSoup(), 3);
  soup = test::concatenate(soup, test::withTriangleFlipped(test::cubeSoup(), 7));
  // Faces 0..12: the cube and a copy of face 3; faces 13..24: a second cube on
  // the same corners with face 7 reversed, every one a copy of an earlier face.
  TriMesh mesh = test::buildMesh(soup);
  ASSERT_EQ(mesh.faces.size(), 25u);
  // The adjacency sweep's list gives the same faces as the walk.
  TriMesh swept = mesh;
  const CornerAdjacency adjacency = buildCornerAdjacency(swept, RemovedFaces::kSkip, true);
  EXPECT_EQ(removeDuplicateFaces(swept, adjacency), 13u);
  EXPECT_EQ(removeDuplicateFaces(mesh), 13u);
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    EXPECT_EQ(mesh.faces[f].removed != 0, f >= 12) << f;
    EXPECT_EQ(swept.faces[f].removed, mesh.faces[f].removed) << f;
  }
  EXPECT_EQ(removeDuplicateFaces(mesh), 0u);

  // A face naming a vertex twice makes the list unusable: the walk decides.
  TriMesh pinched = test::buildMesh(test::withTriangleDuplicated(test::cubeSoup(), 3));
  pinched.faces[0].v[2] = pinched.faces[0].v[0];
  pinched.incidentCorners.rebuild(pinched.faces, pinched.vertices.size());
  TriMesh walked = pinched;
  const CornerAdjacency pinched_adjacency =
      buildCornerAdjacency(pinched, RemovedFaces::kSkip, true);
  EXPECT_TRUE(pinched_adjacency.repeated_vertex_face);
  EXPECT_EQ(removeDuplicateFaces(pinched, pinched_adjacency), removeDuplicateFaces(walked));
  for (size_t f = 0; f < pinched.faces.size(); ++f)
    EXPECT_EQ(pinched.faces[f].removed, walked.faces[f].removed) << f;
  compactMesh(mesh);
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

// Two faces on the same three vertices and nothing else: each edge of either
// has the other as its only partner, which decides the copy without a list.
TEST(RemoveDuplicateFaces, ListsTheLaterOfTwoLoneCopies) {
  Soup soup;
  soup.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  soup.addTriangle({5, 0, 0}, {6, 0, 0}, {5, 1, 0});
  soup.addTriangle({0, 1, 0}, {0, 0, 0}, {1, 0, 0});  // the first again, from another corner
  soup.addTriangle({6, 0, 0}, {5, 0, 0}, {5, 1, 0});  // the second reversed
  TriMesh mesh = test::buildMesh(soup);
  const CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, true);
  EXPECT_EQ(adjacency.duplicate_faces, (std::vector<uint32_t>{2, 3}));
  EXPECT_FALSE(adjacency.repeated_vertex_face);
  TriMesh walked = mesh;
  EXPECT_EQ(removeDuplicateFaces(walked), 2u);
  EXPECT_TRUE(walked.faces[2].removed && walked.faces[3].removed);
}

// Shells, then the orientation unified; the faces the walk turned.
size_t unify(TriMesh& mesh) {
  buildShells(mesh);
  return unifyOrientation(mesh);
}

TEST(UnifyOrientation, TurnsShellsOutwardAndMakesWindingConsistent) {
  // Each shell is judged on its own; the inside-out one is turned by the top
  // test, not by the walk.
  TriMesh two = test::buildMesh(test::concatenate(
      test::cubeSoup(1.0f, Winding::kInward), test::cubeSoup(1.0f, Winding::kOutward, {3, 0, 0})));
  EXPECT_EQ(unify(two), 0u);
  EXPECT_FALSE(detectFlaws(two, 0));
  EXPECT_NEAR(enclosedVolume(two), 2.0, 1e-6);

  // One flipped face is turned back by the walk, with its colours and texture
  // references; faces that were right are untouched.
  Soup soup = test::withTriangleFlipped(test::cubeSoup(), 6);
  test::assignMaterial(soup, 1);
  soup.colors.clear();
  for (uint32_t t = 0; t < soup.triangleCount(); ++t)
    for (int c = 0; c < 3; ++c) soup.colors.insert(soup.colors.end(), {c * 0.2f, 0.0f, 0.0f});
  const TriMesh before = test::buildMesh(soup);
  TriMesh after = before;
  EXPECT_EQ(unify(after), 1u);
  EXPECT_FALSE(detectFlaws(after, 0));
  for (size_t f = 5; f < 7; ++f) {
    const Face &a = before.faces[f], &b = after.faces[f];
    const int s = f == 6;  // corners 0 and 1 swapped
    EXPECT_TRUE(b.v[0] == a.v[s] && b.v[1] == a.v[1 - s]) << f;
    EXPECT_TRUE(b.colors[0][0] == a.colors[s][0] && b.colors[1][0] == a.colors[1 - s][0]) << f;
    EXPECT_TRUE(b.uv[0] == a.uv[s] && b.uv[1] == a.uv[1 - s]) << f;
  }

  // A torus with every fifth face flipped.
  Soup torus = test::torusSoup(3.0f, 1.0f, 20, 10);
  for (size_t t = 0; t < torus.triangleCount(); t += 5) torus = test::withTriangleFlipped(torus, t);
  TriMesh ring = test::buildMesh(torus);
  unify(ring);
  EXPECT_FALSE(detectFlaws(ring, 0));
  EXPECT_EQ(test::invariantViolation(ring), "");
}

TEST(UnifyOrientation, AFaceThatDisagreesOnlyAcrossEdgesOfSeveralFacesIsTurned) {
  // Face 6 flipped, with its unflipped copy appended as face 12: each of face
  // 6's edges has three faces in the adjacency, and once the copy is removed
  // (as duplicate removal does after the adjacency is built), face 6
  // disagrees with its neighbours across those edges only.
  TriMesh mesh = test::buildMesh(
      test::withTriangleFlipped(test::withTriangleDuplicated(test::cubeSoup(), 6), 6));
  ASSERT_EQ(mesh.faces.size(), 13u);
  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  buildShells(mesh, adjacency);
  for (uint32_t c = 0; c < 3; ++c) ASSERT_EQ(adjacency.across[18 + c], CornerAdjacency::kSeveral);
  mesh.faces[12].removed = true;
  EXPECT_EQ(unifyOrientation(mesh, adjacency), 1u);
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());

  // The same mesh with face 6 as it was: nothing to turn.
  TriMesh agreeing = test::buildMesh(test::withTriangleDuplicated(test::cubeSoup(), 6));
  adjacency = buildCornerAdjacency(agreeing, RemovedFaces::kSkip);
  buildShells(agreeing, adjacency);
  agreeing.faces[12].removed = true;
  EXPECT_EQ(unifyOrientation(agreeing, adjacency), 0u);
  EXPECT_TRUE(test::edgeCensus(agreeing).closedManifoldOriented());
}

TEST(RepairPipeline, HandsBackTheTopologyOfTheRepairedMesh) {
  // Holes of one and of several faces and a flipped face; then the same with
  // a duplicate, whose removal renumbers the faces.
  Soup holed = test::uvSphereSoup(2.0f, 24, 12);
  for (const size_t t : {90, 61, 60, 20}) holed = test::withoutTriangle(holed, t);
  holed = test::withTriangleFlipped(holed, 40);
  for (const Soup& soup : {holed, test::withTriangleDuplicated(holed, 7)}) {
    TriMesh mesh = test::buildMesh(soup);
    const RepairReport report = repairMesh(mesh, {HoleFilling::kAlways, DuplicateRemoval::kAlways});
    ASSERT_EQ(report.holes.loops_closed, 3u);
    EXPECT_EQ(report.faces_turned, 1u);
    const CornerAdjacency fresh = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
    EXPECT_EQ(report.adjacency.across, fresh.across);
    EXPECT_EQ(report.adjacency.same_direction, fresh.same_direction);
    EXPECT_EQ(report.adjacency.duplicates_listed, fresh.duplicates_listed);
    EXPECT_EQ(report.adjacency.duplicate_faces, fresh.duplicate_faces);
    TriMesh walked = mesh;
    buildShells(walked);
    EXPECT_EQ(mesh.shells, walked.shells);
    EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  }
}

TEST(RepairPipeline, LeavesAnIntactModelAsItWas) {
  Soup soup = test::cubeSoup(2.0f);
  test::assignMaterial(soup, 4);
  TriMesh mesh = test::buildMesh(soup);
  const RepairReport report = repairMesh(mesh, {HoleFilling::kAlways});
  EXPECT_EQ(report.faces_turned + report.holes.faces_added, 0u);
  rebuildTopology(mesh);
  ASSERT_EQ(mesh.faces.size(), 12u);
  for (uint32_t f = 0; f < 12; ++f)
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(mesh.vertices[mesh.faces[f].v[c]].position, soup.corner(f, c));
      EXPECT_EQ(mesh.texCoords[mesh.faces[f].uv[c]].u, soup.uvs[6 * f + 2 * c]);
    }
}

}  // namespace
}  // namespace vekmesh
