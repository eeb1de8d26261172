// The flaw census: edge classes, repeated-vertex faces, shell kinds and signed
// volumes on meshes built in code, checked against an independent edge count.
#include "repair/mesh_census.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "broken_sphere.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/model_inspection.h"
#include "repair/repair_pipeline.h"

namespace vekmesh {
namespace {

using test::Point;
using test::Soup;
using test::Winding;

MeshCensus censusOf(TriMesh& mesh) {
  const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
  return takeCensus(mesh, adjacency);
}

MeshCensus censusOf(const Soup& soup) {
  TriMesh mesh = test::buildMesh(soup);
  return censusOf(mesh);
}

// Two faces on the same corners, wound oppositely, per triangle of `soup`.
Soup doubleSided(const Soup& soup) {
  Soup out = soup;
  for (size_t t = 0; t < soup.triangleCount(); ++t)
    out.addTriangle(soup.corner(t, 0), soup.corner(t, 2), soup.corner(t, 1));
  return out;
}

TEST(MeshCensus, CountsEachKindOfEdgeFlaw) {
  const MeshCensus cube = censusOf(test::cubeSoup());
  EXPECT_TRUE(cube.watertight());
  EXPECT_EQ(cube.faces, 12u);
  EXPECT_EQ(cube.shells, 1u);
  EXPECT_EQ(cube.closed_shells, 1u);
  EXPECT_EQ(cube.inside_out_shells + cube.zero_volume_parts + cube.repeated_vertex_faces, 0u);
  EXPECT_DOUBLE_EQ(cube.signed_volume, 1.0);
  EXPECT_DOUBLE_EQ(cube.area, 6.0);
  ASSERT_EQ(cube.shell_census.size(), 1u);
  EXPECT_EQ(cube.shell_census[0].kind, ShellKind::kSolid);

  const MeshCensus holed = censusOf(test::withoutTriangle(test::cubeSoup(), 3));
  EXPECT_EQ(holed.open_edges, 3u);
  EXPECT_EQ(holed.non_manifold_edges + holed.misoriented_edges, 0u);
  EXPECT_EQ(holed.shell_census[0].kind, ShellKind::kOpen);
  EXPECT_EQ(holed.inside_out_shells + holed.zero_volume_parts, 0u);

  // Three triangles on the edge (0,0,0)-(1,0,0): one non-manifold edge, and
  // the two other edges of each triangle open.
  Soup fan;
  fan.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  fan.addTriangle({1, 0, 0}, {0, 0, 0}, {0, -1, 0});
  fan.addTriangle({1, 0, 0}, {0, 0, 0}, {0, 0, 1});
  const MeshCensus three = censusOf(fan);
  EXPECT_EQ(three.non_manifold_edges, 1u);
  EXPECT_EQ(three.open_edges, 6u);
  EXPECT_EQ(three.misoriented_edges, 0u);

  const MeshCensus flipped = censusOf(test::withTriangleFlipped(test::cubeSoup(), 5));
  EXPECT_EQ(flipped.misoriented_edges, 3u);
  EXPECT_EQ(flipped.open_edges + flipped.non_manifold_edges, 0u);
  EXPECT_FALSE(flipped.watertight());

  // Two cubes sharing an edge: four faces on it, one non-manifold edge.
  const MeshCensus glued = censusOf(
      test::concatenate(test::cubeSoup(), test::cubeSoup(1.0f, Winding::kOutward, {1, 1, 0})));
  EXPECT_EQ(glued.non_manifold_edges, 1u);
  EXPECT_EQ(glued.open_edges + glued.misoriented_edges, 0u);
  EXPECT_DOUBLE_EQ(glued.signed_volume, 2.0);
}

TEST(MeshCensus, JudgesShellsByTheVolumeTheyEncloseAndTheirNesting) {
  const MeshCensus inward = censusOf(test::cubeSoup(2.0f, Winding::kInward));
  EXPECT_EQ(inward.inside_out_shells, 1u);
  EXPECT_DOUBLE_EQ(inward.signed_volume, -8.0);
  EXPECT_EQ(inward.shell_census[0].kind, ShellKind::kInsideOut);
  EXPECT_TRUE(inward.watertight());  // wound consistently, just the wrong way

  // A void wound inwards inside a solid is a cavity; its extreme corners sit
  // on the outer cube's face diagonals, right under and over its edges.
  const Soup outer = test::cubeSoup(4.0f);
  const Soup hollow =
      test::concatenate(outer, test::cubeSoup(2.0f, Winding::kInward, {1.0f, 1.0f, 1.0f}));
  const MeshCensus hollowed = censusOf(hollow);
  EXPECT_EQ(hollowed.cavities, 1u);
  EXPECT_EQ(hollowed.inside_out_shells, 0u);
  EXPECT_DOUBLE_EQ(hollowed.signed_volume, 56.0);
  EXPECT_EQ(hollowed.shell_census[1].kind, ShellKind::kCavity);

  // The same inward cube outside the solid, or poking out of it, is inside out.
  for (const Point& origin : {Point{10.0f, 0.0f, 0.0f}, Point{3.0f, 1.0f, 1.0f}}) {
    const MeshCensus c =
        censusOf(test::concatenate(outer, test::cubeSoup(2.0f, Winding::kInward, origin)));
    EXPECT_EQ(c.inside_out_shells, 1u) << origin[0];
    EXPECT_EQ(c.cavities, 0u);
  }
  // A solid inside a solid stays a solid; a wholly inverted hollow model has
  // one inside-out shell (the outer one): its void, wound outwards, is a solid.
  const MeshCensus nested = censusOf(
      test::concatenate(outer, test::cubeSoup(2.0f, Winding::kOutward, {1.0f, 1.0f, 1.0f})));
  EXPECT_EQ(nested.inside_out_shells + nested.cavities, 0u);
  const MeshCensus inverted = censusOf(test::concatenate(
      test::cubeSoup(4.0f, Winding::kInward), test::cubeSoup(2.0f, Winding::kOutward, {1, 1, 1})));
  EXPECT_EQ(inverted.inside_out_shells, 1u);
  EXPECT_EQ(inverted.shell_census[0].kind, ShellKind::kInsideOut);
}

TEST(MeshCensus, LoneTrianglesAndDoubleSidedSheetsAreZeroVolumeParts) {
  Soup lone;
  lone.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  const MeshCensus one = censusOf(lone);
  EXPECT_EQ(one.zero_volume_parts, 1u);
  EXPECT_EQ(one.open_edges, 3u);
  EXPECT_EQ(one.closed_shells, 0u);

  // A double-sided triangle is closed and consistently wound, of volume 0;
  // a double-sided square adds a non-manifold diagonal.
  const MeshCensus sheet = censusOf(doubleSided(lone));
  EXPECT_EQ(sheet.zero_volume_parts, 1u);
  EXPECT_TRUE(sheet.watertight());
  EXPECT_EQ(sheet.inside_out_shells, 0u);
  Soup square = lone;
  square.addTriangle({1, 0, 0}, {1, 1, 0}, {0, 1, 0});
  const MeshCensus squares = censusOf(
      test::concatenate(doubleSided(square), test::cubeSoup(1.0f, Winding::kOutward, {3, 0, 0})));
  EXPECT_EQ(squares.zero_volume_parts, 1u);
  EXPECT_EQ(squares.non_manifold_edges, 1u);
  EXPECT_EQ(squares.shell_census[1].kind, ShellKind::kSolid);

  // A thin box is a solid; one a ten-millionth of its width thick is not.
  Soup thin = test::cubeSoup(1.0f);
  Soup thinner = thin;
  for (size_t i = 2; i < thin.corners.size(); i += 3) {
    if (thin.corners[i] > 0.5f) thin.corners[i] = 1e-3f;
    if (thinner.corners[i] > 0.5f) thinner.corners[i] = 1e-7f;
  }
  EXPECT_EQ(censusOf(thin).shell_census[0].kind, ShellKind::kSolid);
  EXPECT_EQ(censusOf(thinner).shell_census[0].kind, ShellKind::kZeroVolume);
}

TEST(MeshCensus, LeavesOutTheEdgesOfRepeatedVertexFaces) {
  // Faces naming a vertex twice never come out of welding; put them in by
  // hand, one along an edge the cube's hole left open.
  TriMesh mesh = test::buildMesh(test::withoutTriangle(test::cubeSoup(), 0));
  const MeshCensus before = censusOf(mesh);
  ASSERT_EQ(before.open_edges, 3u);
  Face degenerate = mesh.faces[0];
  degenerate.v[2] = degenerate.v[1];
  mesh.faces.push_back(degenerate);
  degenerate.v[0] = degenerate.v[2] = mesh.faces[3].v[0];
  degenerate.v[1] = mesh.faces[3].v[1];
  mesh.faces.push_back(degenerate);
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
  const MeshCensus after = censusOf(mesh);
  EXPECT_EQ(after.repeated_vertex_faces, 2u);
  EXPECT_EQ(after.open_edges, before.open_edges);
  EXPECT_EQ(after.non_manifold_edges + after.misoriented_edges, 0u);
  EXPECT_EQ(after.faces, before.faces + 2);

  // Removed faces count for nothing.
  mesh.faces[mesh.faces.size() - 1].removed = 1;
  mesh.faces[mesh.faces.size() - 2].removed = 1;
  mesh.faces[0].removed = 1;
  const MeshCensus removed = censusOf(mesh);
  EXPECT_EQ(removed.repeated_vertex_faces, 0u);
  EXPECT_EQ(removed.faces, before.faces - 1);
  EXPECT_EQ(removed.open_edges, 4u);  // the hole is now the whole bottom side
}

TEST(MeshCensus, AgreesWithAnIndependentEdgeCountOnBrokenSpheres) {
  for (const uint64_t seed : {1u, 2u, 3u}) {
    const test::BrokenSphere broken = test::makeBrokenSphere(20000, seed);
    TriMesh mesh;
    buildTriMesh(mesh, broken.triangleCount(), broken.corners.data(), nullptr, nullptr, nullptr);
    for (int pass = 0; pass < 2; ++pass) {
      const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
      const MeshCensus census = takeCensus(mesh, adjacency);
      // A team measures the faces in parts: every figure as on one thread.
      const int threads = omp_get_max_threads();
      for (const int team : {1, 3}) {
        omp_set_num_threads(team);
        const MeshCensus again = takeCensus(mesh, adjacency);
        EXPECT_TRUE(again.signed_volume == census.signed_volume && again.area == census.area &&
                    again.diagonal == census.diagonal && again.faces == census.faces &&
                    again.open_edges == census.open_edges)
            << team;
        ASSERT_EQ(again.shell_census.size(), census.shell_census.size());
        for (size_t k = 0; k < census.shell_census.size(); ++k)
          EXPECT_TRUE(again.shell_census[k].signed_volume == census.shell_census[k].signed_volume &&
                      again.shell_census[k].area == census.shell_census[k].area);
      }
      omp_set_num_threads(threads);
      // The independent count sees the mesh without its copies of faces.
      TriMesh without_copies = mesh;
      std::set<std::array<int32_t, 3>> seen;
      size_t copies = 0;
      for (Face& f : without_copies.faces) {
        if (f.removed) continue;
        const int k = int(std::min_element(f.v, f.v + 3) - f.v);
        if (!seen.insert({f.v[k], f.v[(k + 1) % 3], f.v[(k + 2) % 3]}).second) {
          f.removed = 1;
          ++copies;
        }
      }
      EXPECT_EQ(census.duplicate_faces, copies) << seed << " " << pass;
      const test::EdgeCensus edges = test::edgeCensus(without_copies);
      EXPECT_EQ(census.open_edges, edges.boundary) << seed << " " << pass;
      EXPECT_EQ(census.non_manifold_edges, edges.nonManifold) << seed << " " << pass;
      EXPECT_EQ(census.misoriented_edges, edges.misoriented) << seed << " " << pass;
      EXPECT_EQ(census.faces, liveFaceCount(mesh));
      if (census.signed_volume > 0.0) {
        EXPECT_EQ(census.signed_volume, enclosedVolume(mesh));
      }
      double shells = 0.0;
      for (const ShellCensus& shell : census.shell_census) shells += shell.signed_volume;
      EXPECT_NEAR(shells, census.signed_volume, 1e-9 * broken.intact_volume);
      if (pass == 0) {
        EXPECT_GT(census.open_edges + census.non_manifold_edges + census.misoriented_edges, 0u);
        repairMesh(mesh, {HoleFilling::kAlways, DuplicateRemoval::kAlways});
      } else {
        EXPECT_TRUE(census.watertight()) << seed;
        EXPECT_EQ(census.inside_out_shells, 0u);
        EXPECT_NEAR(census.signed_volume, broken.intact_volume, 0.01 * broken.intact_volume);
      }
    }
  }
}

// The edges a report draws are those counted: as many as the counts, each
// once, and each used by one face (open) or more than two (non-manifold), by
// a count of its own over the faces without a repeated vertex or a copy.
TEST(MeshCensus, ListsTheOpenAndNonManifoldEdgesItCounts) {
  for (const uint64_t seed : {4u, 5u}) {
    const test::BrokenSphere broken = test::makeBrokenSphere(20000, seed);
    TriMesh mesh;
    buildTriMesh(mesh, broken.triangleCount(), broken.corners.data(), nullptr, nullptr, nullptr);
    const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
    CensusEdges edges;
    const MeshCensus census = takeCensus(mesh, adjacency, &edges);
    ASSERT_GT(census.open_edges, 0u);
    EXPECT_EQ(edges.open.size(), census.open_edges);
    EXPECT_EQ(edges.non_manifold.size(), census.non_manifold_edges);
    std::map<std::pair<int32_t, int32_t>, int> uses;
    std::set<std::array<int32_t, 3>> seen;
    for (const Face& f : mesh.faces) {
      if (f.removed || f.v[0] == f.v[1] || f.v[1] == f.v[2] || f.v[2] == f.v[0]) continue;
      const int k = int(std::min_element(f.v, f.v + 3) - f.v);
      if (!seen.insert({f.v[k], f.v[(k + 1) % 3], f.v[(k + 2) % 3]}).second) continue;
      for (int c = 0; c < 3; ++c) ++uses[std::minmax(f.v[c], f.v[(c + 1) % 3])];
    }
    std::set<std::pair<int32_t, int32_t>> listed;
    for (const auto& e : edges.open) {
      EXPECT_TRUE(listed.insert(std::minmax(e[0], e[1])).second) << "listed twice";
      EXPECT_EQ(uses[std::minmax(e[0], e[1])], 1) << seed;
    }
    for (const auto& e : edges.non_manifold) {
      EXPECT_TRUE(listed.insert(std::minmax(e[0], e[1])).second) << "listed twice";
      EXPECT_GT(uses[std::minmax(e[0], e[1])], 2) << seed;
    }
  }
  // The fan of three triangles on one edge: that edge, and six open ones.
  Soup fan;
  fan.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  fan.addTriangle({1, 0, 0}, {0, 0, 0}, {0, -1, 0});
  fan.addTriangle({1, 0, 0}, {0, 0, 0}, {0, 0, 1});
  TriMesh mesh = test::buildMesh(fan);
  CensusEdges edges;
  takeCensus(mesh, buildShellsWithAdjacency(mesh), &edges);
  ASSERT_EQ(edges.non_manifold.size(), 1u);
  EXPECT_EQ(edges.open.size(), 6u);
  const auto& a = mesh.vertices[size_t(edges.non_manifold[0][0])].position;
  const auto& b = mesh.vertices[size_t(edges.non_manifold[0][1])].position;
  EXPECT_EQ(a[1] + a[2] + b[1] + b[2], 0.0f);
  EXPECT_EQ(a[0] + b[0], 1.0f);
}

// The report's bounds come from the corners of live faces only, and do not
// depend on how the vertices are numbered, even for a bound of zero met by
// zeros of both signs.
TEST(ModelInspection, BoundsCoverLiveCornersWhateverTheVertexNumbering) {
  Soup soup = test::cubeSoup();
  soup.addTriangle({5, 5, 5}, {6, 5, 5}, {5, 6, 5});
  TriMesh mesh = test::buildMesh(soup);
  mesh.faces.back().removed = 1;
  mesh.vertices.push_back({{-9.0f, -9.0f, -9.0f}, int32_t(mesh.vertices.size())});
  // Every corner on the -x side gets a zero of its own sign, so the lower x
  // bound is a zero that face order alone decides.
  bool negative = false;
  for (Vertex& v : mesh.vertices)
    if (v.position[0] == 0.0f) v.position[0] = (negative = !negative) ? -0.0f : 0.0f;

  const auto inspect = [](TriMesh& m) {
    m.incidentCorners.rebuild(m.faces, m.vertices.size());
    return inspectModel(m, buildShellsWithAdjacency(m), false);
  };
  const ModelInspection a = inspect(mesh);
  EXPECT_EQ(a.triangles, 12u);
  EXPECT_EQ(a.upper, (std::array<float, 3>{1, 1, 1}));
  EXPECT_EQ(a.lower, (std::array<float, 3>{0, 0, 0}));

  // The same faces over the vertices in reverse order.
  TriMesh reversed = mesh;
  const int32_t n = int32_t(mesh.vertices.size());
  for (int32_t i = 0; i < n; ++i) {
    reversed.vertices[size_t(n - 1 - i)] = mesh.vertices[size_t(i)];
    reversed.vertices[size_t(n - 1 - i)].index = n - 1 - i;
  }
  for (Face& f : reversed.faces)
    for (int32_t& v : f.v) v = n - 1 - v;
  const ModelInspection b = inspect(reversed);
  for (int axis = 0; axis < 3; ++axis) {
    EXPECT_EQ(std::signbit(a.lower[axis]), std::signbit(b.lower[axis])) << axis;
    EXPECT_EQ(std::signbit(a.upper[axis]), std::signbit(b.upper[axis])) << axis;
  }
}

// A team marks the used vertices a part of the faces each: the vertices
// that only the last part's faces name still bound the model and top it.
// A sphere tilted so that no two vertices share a height, with the faces
// around its top and bottom vertices last, inside out on one of two layouts.
TEST(ModelInspection, BoundsAndTopVertexTakeEveryThreadsFaces) {
  const Soup upright = test::uvSphereSoup(10.0f, 128, 80);  // large enough for the team
  Soup sphere;
  // About x, then about y.
  const float c = std::cos(0.1f), s = std::sin(0.1f), c2 = std::cos(0.07f), s2 = std::sin(0.07f);
  auto tilted = [&](Point p) {
    const Point q{p[0], c * p[1] - s * p[2], s * p[1] + c * p[2]};
    return Point{c2 * q[0] + s2 * q[2], q[1], c2 * q[2] - s2 * q[0]};
  };
  for (size_t t = 0; t < upright.triangleCount(); ++t)
    sphere.addTriangle(tilted(upright.corner(t, 0)), tilted(upright.corner(t, 1)),
                       tilted(upright.corner(t, 2)));
  float top = -INFINITY, bottom = INFINITY;
  for (size_t t = 0; t < sphere.triangleCount(); ++t)
    for (int k = 0; k < 3; ++k) {
      top = std::max(top, sphere.corner(t, k)[2]);
      bottom = std::min(bottom, sphere.corner(t, k)[2]);
    }
  for (const bool ends_inside_out : {false, true}) {
    Soup soup;
    std::vector<size_t> ends;
    for (size_t t = 0; t < sphere.triangleCount(); ++t) {
      bool end = false;
      for (int k = 0; k < 3; ++k)
        end = end || sphere.corner(t, k)[2] == top || sphere.corner(t, k)[2] == bottom;
      if (end)
        ends.push_back(t);
      else
        soup.addTriangle(sphere.corner(t, 0), sphere.corner(t, 1), sphere.corner(t, 2));
    }
    ASSERT_LT(ends.size(), 32u);
    for (const size_t t : ends) {
      const int first = ends_inside_out ? 1 : 0;
      soup.addTriangle(sphere.corner(t, first), sphere.corner(t, 1 - first), sphere.corner(t, 2));
    }
    TriMesh mesh = test::buildMesh(soup);
    const CornerAdjacency adjacency = buildShellsWithAdjacency(mesh);
    ASSERT_EQ(mesh.shells.size(), 1u);
    const int threads = omp_get_max_threads();
    std::vector<ModelInspection> seen;
    for (const int team : {1, 3}) {
      omp_set_num_threads(team);
      seen.push_back(inspectModel(mesh, adjacency, false));
    }
    omp_set_num_threads(threads);
    for (const ModelInspection& r : seen) {
      EXPECT_EQ(r.upper[2], top);
      EXPECT_EQ(r.lower[2], bottom);
      // The top vertex decides: turned with its faces inside out, else not.
      EXPECT_EQ(r.counters[3], ends_inside_out ? int32_t(mesh.faces.size()) : 0);
      EXPECT_EQ(r.counters, seen[0].counters);
      EXPECT_EQ(r.flawed, seen[0].flawed);
    }
  }
}

}  // namespace
}  // namespace vekmesh
