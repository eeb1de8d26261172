// The fast mesh passes against their plain definitions on a mesh broken on
// purpose: compaction = welding the live faces' soup again, corner adjacency =
// counting sharers in the incidence lists, shells = a walk of the lists.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "broken_sphere.h"
#include "mesh/corner_adjacency.h"
#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/shell_orientation.h"

namespace vekmesh {
namespace {

using test::Soup;

// A torus (long lists nowhere) and a sphere whose poles have 40 faces each
// (past the pairwise limit) and which is large enough for the passes to
// split their work between threads, with attributes, three cubes (the second sharing
// an edge with the first, the third one vertex with the second) and a fin.
Soup brokenMix() {
  Soup sphere = test::uvSphereSoup(3.0f, 40, 240);
  test::assignMaterial(sphere, 2);
  for (size_t t = 1; t < sphere.materials.size(); t += 3) sphere.materials[t] = -1;
  Soup mix = test::concatenate(sphere, test::torusSoup(3.0f, 1.0f, 16, 8));
  for (const test::Point& origin : {test::Point{0, 0, 0}, {1, 1, 0}, {2, 2, 1}})
    mix = test::concatenate(mix, test::cubeSoup(1.0f, test::Winding::kOutward, origin));
  mix = test::withTriangleDuplicated(test::withTriangleFlipped(mix, 30), 31);
  mix.addTriangle({0, 0, 0}, {1, 0, 0}, {0.5f, -1, -1});  // a fin on a cube edge
  mix.colors.clear();
  for (size_t i = 0; i < mix.corners.size(); ++i) mix.colors.push_back(float(i % 7) / 7.0f);
  mix.uvs.resize(6 * mix.triangleCount());
  mix.materials.resize(mix.triangleCount(), -1);
  return mix;
}

// Removes every seventh face, moves some vertices onto others (so that
// compaction merges them and collapses faces) and gives one a negative zero.
TriMesh damaged(const Soup& soup = brokenMix()) {
  TriMesh mesh = test::buildMesh(soup);
  for (size_t f = 3; f < mesh.faces.size(); f += 7) mesh.faces[f].removed = 1;
  for (size_t v = 5; v + 1 < mesh.vertices.size(); v += 37)
    mesh.vertices[v].position = mesh.vertices[v + 1].position;
  mesh.vertices[2].position[0] = -0.0f;
  return mesh;
}

// What compaction is defined as: the live faces' soup, welded again.
TriMesh rebuiltFromSoup(const SubMesh& mesh) {
  ByteSoup soup;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (int c = 0; c < 3; ++c) {
      const auto& p = mesh.vertices[f.v[c]].position;
      soup.corners.insert(soup.corners.end(), p.begin(), p.end());
      soup.colors.insert(soup.colors.end(), f.colors[c], f.colors[c] + 3);
    }
    for (int c = 0; c < 3; ++c) {
      const bool textured = f.material >= 0 && f.uv[c] < mesh.texCoords.size();
      soup.uvs.push_back(textured ? mesh.texCoords[f.uv[c]].u : 0.0);
      soup.uvs.push_back(textured ? mesh.texCoords[f.uv[c]].v : 0.0);
    }
    soup.materials.push_back(f.material);
  }
  TriMesh out;
  buildTriMesh(out, soup);
  return out;
}

// Faces byte for byte; vertices by position bits, index and incidence list;
// texture coordinates by value and index.
void expectSameMesh(const SubMesh& a, const SubMesh& b) {
  ASSERT_EQ(a.faces.size(), b.faces.size());
  ASSERT_EQ(a.vertices.size(), b.vertices.size());
  ASSERT_EQ(a.texCoords.size(), b.texCoords.size());
  ASSERT_EQ(std::memcmp(a.faces.data(), b.faces.data(), a.faces.size() * sizeof(Face)), 0);
  for (size_t v = 0; v < a.vertices.size(); ++v) {
    const Vertex &x = a.vertices[v], &y = b.vertices[v];
    ASSERT_TRUE(std::memcmp(x.position.data(), y.position.data(), 12) == 0 && x.index == y.index);
    const auto xs = a.incidentCorners[v], ys = b.incidentCorners[v];
    ASSERT_EQ(xs.size(), ys.size()) << "vertex " << v;
    for (size_t i = 0; i < xs.size(); ++i)
      EXPECT_EQ(3 * xs[i].face + xs[i].corner, 3 * ys[i].face + ys[i].corner);
  }
  for (size_t t = 0; t < a.texCoords.size(); ++t)
    EXPECT_TRUE(a.texCoords[t].u == b.texCoords[t].u && a.texCoords[t].v == b.texCoords[t].v &&
                a.texCoords[t].index == b.texCoords[t].index)
        << "texture coordinate " << t;
}

// Compacts copies of `original` on one thread and on a team of three, each
// expected to give `expected`.
void expectCompactionOnTeams(const TriMesh& original, const TriMesh& expected) {
  const int threads = omp_get_max_threads();
  for (const int team : {1, 3}) {
    omp_set_num_threads(team);
    TriMesh mesh = original;
    compactMesh(mesh);
    expectSameMesh(mesh, expected);
    EXPECT_EQ(test::invariantViolation(mesh), "");
  }
  omp_set_num_threads(threads);
}

TEST(CompactMesh, GivesWhatWeldingTheLiveSoupAgainGives) {
  const TriMesh original = damaged();
  const TriMesh expected = rebuiltFromSoup(original);
  ASSERT_LT(expected.faces.size(), original.faces.size() * 6 / 7);  // some faces collapsed
  expectCompactionOnTeams(original, expected);

  // The new lists come from the faces alone, whatever the old ones held.
  TriMesh stale = original;
  stale.incidentCorners.clear();
  compactMesh(stale);
  expectSameMesh(stale, expected);
}

TEST(CompactMesh, WeldsInTwoTablesAsInOne) {
  // Enough vertices for a team to weld them in two tables, one per hash half.
  const TriMesh original = damaged(test::uvSphereSoup(3.0f, 90, 240));
  ASSERT_GE(original.vertices.size(), size_t(kParallelMinimum));
  const TriMesh expected = rebuiltFromSoup(original);
  ASSERT_LT(expected.vertices.size(), original.vertices.size());  // some vertices merged
  expectCompactionOnTeams(original, expected);
}

TEST(CompactMesh, KeepsOnlyWhatWeldingAgainWouldKeep) {
  // Nothing removed, merged or collapsed: the faces and vertices stay, but a
  // texture reference on an untextured face goes and a vertex's index is
  // its place again.
  TriMesh intact = test::buildMesh(test::uvSphereSoup(3.0f, 90, 240));
  ASSERT_GE(intact.vertices.size(), size_t(kParallelMinimum));
  intact.faces[5].uv[1] = 0;
  intact.vertices[7].index = -1;
  expectCompactionOnTeams(intact, rebuiltFromSoup(intact));

  // Two vertices met late trade numbers: the corners no longer meet the
  // vertices in number order, and compaction numbers them back.
  const TriMesh welded = test::buildMesh(test::uvSphereSoup(3.0f, 90, 240));
  TriMesh traded = welded;
  const int32_t a = int32_t(welded.vertices.size()) - 40, b = a + 25;
  std::swap(traded.vertices[size_t(a)].position, traded.vertices[size_t(b)].position);
  for (Face& f : traded.faces)
    for (int32_t& v : f.v) v = v == a ? b : (v == b ? a : v);
  traded.incidentCorners.rebuild(traded.faces, traded.vertices.size());
  ASSERT_NE(traded.vertices[size_t(a)].position, welded.vertices[size_t(a)].position);
  const TriMesh expected = rebuiltFromSoup(traded);
  ASSERT_EQ(expected.vertices[size_t(a)].position, welded.vertices[size_t(a)].position);
  expectCompactionOnTeams(traded, expected);
}

// A face on two of the mesh's vertices and a new point, appended and listed
// as hole filling appends its patches.
void appendFaceWithPoint(SubMesh& mesh, int32_t a, int32_t b, const std::array<float, 3>& p) {
  const int32_t point = int32_t(mesh.vertices.size());
  mesh.vertices.push_back(Vertex{p, point});
  Face face = mesh.faces[0];
  face.v[0] = a, face.v[1] = b, face.v[2] = point;
  mesh.faces.push_back(face);
  mesh.incidentCorners.appendFaces(mesh.faces, mesh.faces.size() - 1, mesh.vertices.size());
}

// A point whose bit-pattern key is that of p though every bit of x and y
// differs: 110881 steps of x against 108881 of y cancel in the key. Close
// enough to p to fall in its cell of a box some units wide.
std::array<float, 3> keyTwin(const std::array<float, 3>& p) {
  uint32_t x, y;
  std::memcpy(&x, &p[0], 4);
  std::memcpy(&y, &p[1], 4);
  x += 110881u, y -= 108881u;
  std::array<float, 3> q = p;
  std::memcpy(&q[0], &x, 4);
  std::memcpy(&q[1], &y, 4);
  return q;
}

TEST(CompactMesh, WeldsOnlyAppendedPointsAfterItsRecordAndGivesTheSame) {
  // A sphere compacted with a record, then changed as the repair's steps
  // change it; compacting with the record must give what compacting without
  // it gives, and skip the weld only where nothing could weld.
  TriMesh start = test::buildMesh(test::uvSphereSoup(3.0f, 90, 240));
  ASSERT_GE(start.vertices.size(), size_t(kParallelMinimum));
  CompactionRecord compacted;
  compactMesh(start, compacted);
  ASSERT_TRUE(compacted.known);
  const int32_t a = start.faces[100].v[0], b = start.faces[100].v[1];
  const std::array<float, 3> middle = {0.0f, 0.0f, 0.5f};  // inside the sphere's box
  struct Case {
    const char* what;
    std::function<void(TriMesh&)> change;
    bool welds_all;
  };
  const Case cases[] = {
      {"nothing changed", [](TriMesh&) {}, false},
      {"faces turned (corners still meet the vertices in number order)",
       [](TriMesh& m) {
         int32_t met = -1;
         for (uint32_t f = 0; f < m.faces.size(); ++f) {
           const int32_t* v = m.faces[f].v;
           const bool keeps_order = std::max(v[0], v[1]) <= met;
           met = std::max({met, v[0], v[1], v[2]});
           if (keeps_order && f % 3 == 0) turnFaceOver(m, f);
         }
       },
       false},
      {"faces turned (meeting vertices out of order)",
       [](TriMesh& m) {
         for (uint32_t f = 0; f < m.faces.size(); f += 5) turnFaceOver(m, f);
       },
       true},
      {"a point appended", [&](TriMesh& m) { appendFaceWithPoint(m, a, b, middle); }, false},
      {"a point on a vertex",
       [&](TriMesh& m) { appendFaceWithPoint(m, a, b, m.vertices[7].position); }, true},
      {"a point with a vertex's key in its cell",
       [&](TriMesh& m) {
         const std::array<float, 3> twin = keyTwin(m.vertices[7].position);
         ASSERT_EQ(WeldGrid::bitPatternKey(twin), WeldGrid::bitPatternKey(m.vertices[7].position));
         appendFaceWithPoint(m, a, b, twin);
       },
       true},
      {"two appended points on one another",
       [&](TriMesh& m) {
         appendFaceWithPoint(m, a, b, middle);
         appendFaceWithPoint(m, b, a, middle);
       },
       true},
      {"a point outside the box",
       [&](TriMesh& m) {
         appendFaceWithPoint(m, a, b, {0, 0, 9});
       },
       true},
      {"a face removed", [](TriMesh& m) { m.faces[3].removed = 1; }, true},
      {"lists lost (a caller breaking its word)", [](TriMesh& m) { m.incidentCorners.clear(); },
       true},
      {"a face collapsed", [&](TriMesh& m) { m.faces[3].v[1] = m.faces[3].v[0]; }, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    TriMesh changed = start;
    c.change(changed);
    TriMesh plain = changed;
    const bool plain_kept = compactMesh(plain);
    // With the first compaction's record, and with a fresh one (a caller's
    // word on the lists alone: a mesh that keeps every face keeps its lists).
    for (const bool first_known : {true, false})
      for (const int team : {1, 3}) {
        const int threads = omp_get_max_threads();
        omp_set_num_threads(team);
        TriMesh mesh = changed;
        CompactionRecord record = first_known ? compacted : CompactionRecord{};
        EXPECT_EQ(compactMesh(mesh, record), plain_kept);
        omp_set_num_threads(threads);
        EXPECT_EQ(record.welded_all, c.welds_all || !first_known);
        expectSameMesh(mesh, plain);
        EXPECT_EQ(test::invariantViolation(mesh), "");
        EXPECT_EQ(record.vertices, mesh.vertices.size());
        EXPECT_TRUE(record.known);
      }
  }
}

// The faces sharing corner c's edge of face f, in the order of v[c]'s list,
// each with whether it runs the same way.
std::vector<std::pair<uint32_t, bool>> sharers(const SubMesh& mesh, uint32_t f, uint32_t c,
                                               RemovedFaces removed) {
  const int32_t y = mesh.faces[f].v[nextCorner(c)];
  std::vector<std::pair<uint32_t, bool>> out;
  for (const CornerRef& r : mesh.incidentCorners[mesh.faces[f].v[c]]) {
    const Face& g = mesh.faces[r.face];
    if (r.face == f || (removed == RemovedFaces::kSkip && g.removed)) continue;
    if (g.v[prevCorner(r.corner)] == y || g.v[nextCorner(r.corner)] == y)
      out.emplace_back(r.face, g.v[nextCorner(r.corner)] == y);
  }
  return out;
}

TEST(CornerAdjacency, AgreesWithCountingSharersInTheLists) {
  const TriMesh mesh = damaged();
  for (const RemovedFaces removed : {RemovedFaces::kSkip, RemovedFaces::kCount}) {
    const CornerAdjacency adjacency = buildCornerAdjacency(mesh, removed);
    size_t seen[3] = {0, 0, 0};
    for (uint32_t f = 0; f < mesh.faces.size(); ++f) {
      if (removed == RemovedFaces::kSkip && mesh.faces[f].removed) continue;
      for (uint32_t c = 0; c < 3; ++c) {
        const auto s = sharers(mesh, f, c, removed);
        const size_t kind = std::min<size_t>(s.size(), 2);
        const int32_t expected[] = {CornerAdjacency::kOpen, s.empty() ? 0 : int32_t(s[0].first),
                                    CornerAdjacency::kSeveral};
        ASSERT_EQ(adjacency.across[3 * f + c], expected[kind]) << f;
        EXPECT_TRUE(kind != 1 || (adjacency.same_direction[3 * f + c] != 0) == s[0].second) << f;
        ++seen[kind];
      }
    }
    EXPECT_TRUE(seen[0] && seen[1] && seen[2]);  // the mix has every kind of edge
  }
}

// Each face of `mesh` for which pick(f) holds, turned over in the mesh and in
// `adjacency`.
template <class Pick>
void turnFaces(TriMesh& mesh, CornerAdjacency& adjacency, Pick&& pick) {
  FaceBits turned(mesh.faces.size());
  for (size_t f = 0; f < mesh.faces.size(); ++f)
    if (pick(f)) turned.set(f);
  applyTurns(mesh, turned);
  turnFacesInAdjacency(adjacency, turned);
}

void expectFreshAdjacency(const TriMesh& mesh, const CornerAdjacency& kept) {
  const CornerAdjacency fresh = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  EXPECT_EQ(kept.across, fresh.across);
  EXPECT_EQ(kept.same_direction, fresh.same_direction);
  EXPECT_FALSE(kept.duplicates_listed);
  EXPECT_TRUE(kept.duplicate_faces.empty());
}

TEST(CornerAdjacency, StaysCurrentThroughTurnsRemovalsAndNewFaces) {
  // The broken mix has edges of one, two and several faces and a duplicate.
  TriMesh mesh = test::buildMesh(brokenMix());
  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, true);
  ASSERT_FALSE(adjacency.duplicate_faces.empty());
  turnFaces(mesh, adjacency, [](size_t f) { return f % 11 == 4; });

  // The duplicates and every 13th face go; copies of faces (one of them
  // turned) and a face across a cube's corner come.
  std::vector<size_t> removed;
  for (const uint32_t f : adjacency.duplicate_faces) removed.push_back(f);
  for (size_t f = 6; f < mesh.faces.size(); f += 13) removed.push_back(f);
  for (const size_t f : removed) mesh.faces[f].removed = 1;
  const size_t first_new = mesh.faces.size();
  for (const size_t f : {size_t(20), size_t(21), first_new - 3})
    mesh.faces.push_back(mesh.faces[f]);
  std::swap(mesh.faces.back().v[0], mesh.faces.back().v[1]);
  Face across = mesh.faces[first_new - 5];
  across.v[2] = mesh.faces[first_new - 9].v[0];
  mesh.faces.push_back(across);
  mesh.incidentCorners.appendFaces(mesh.faces, first_new, mesh.vertices.size());
  refreshCornerAdjacency(mesh, adjacency, removed, first_new);
  expectFreshAdjacency(mesh, adjacency);

  // Turns after the refresh, new faces among them.
  turnFaces(mesh, adjacency, [&](size_t f) { return f % 7 == 2 || f + 2 >= mesh.faces.size(); });
  expectFreshAdjacency(mesh, adjacency);
}

// buildShells as its definition reads: a breadth-first walk over the lists.
std::vector<std::vector<int32_t>> shellsByWalkingLists(const SubMesh& mesh) {
  std::vector<std::vector<int32_t>> shells;
  FaceBits visited(mesh.faces.size());
  for (size_t f = 0; f < mesh.faces.size(); ++f)
    if (mesh.faces[f].removed) visited.set(f);
  for (size_t seed = 0; seed < mesh.faces.size(); ++seed) {
    if (visited.test(seed)) continue;
    visited.set(seed);
    std::vector<int32_t> shell = {int32_t(seed)};  // also the queue
    for (size_t head = 0; head < shell.size(); ++head)
      for (uint32_t c = 0; c < 3; ++c)
        for (const auto& [g, same] : sharers(mesh, shell[head], c, RemovedFaces::kSkip))
          if (!visited.test(g)) {
            visited.set(g);
            shell.push_back(int32_t(g));
          }
    shells.push_back(shell);
  }
  return shells;
}

// The soup with each triangle starting at a corner drawn at random (winding
// and attributes kept), as files from other programs start them.
Soup withCornersRotated(Soup soup, uint64_t seed) {
  test::SplitMix rng{seed};
  auto rotate = [](std::vector<float>& values, size_t t, size_t per_corner, size_t by) {
    if (values.empty()) return;
    const auto first = values.begin() + std::ptrdiff_t(3 * per_corner * t);
    std::rotate(first, first + std::ptrdiff_t(per_corner * by),
                first + std::ptrdiff_t(3 * per_corner));
  };
  for (size_t t = 0; t < soup.triangleCount(); ++t) {
    const size_t by = rng.below(3);
    rotate(soup.corners, t, 3, by);
    rotate(soup.colors, t, 3, by);
    rotate(soup.uvs, t, 2, by);
  }
  return soup;
}

// The walk tests neighbours with a branch or without one, as its first faces
// suggest; both must give the walk of the lists. Triangles made ring by ring
// take the branch, triangles starting anywhere (or faces removed here and
// there) do without.
TEST(BuildShells, MatchesAWalkOfTheIncidenceListsFaceForFace) {
  const TriMesh meshes[] = {test::buildMesh(brokenMix()), damaged(),
                            damaged(withCornersRotated(brokenMix(), 5))};
  for (TriMesh mesh : meshes) {
    const auto expected = shellsByWalkingLists(mesh);
    buildShells(mesh);
    EXPECT_EQ(mesh.shells, expected);
    EXPECT_GE(mesh.shells.size(), 4u);  // sphere, torus, glued cubes, the cube on a vertex
  }
}

}  // namespace
}  // namespace vekmesh
