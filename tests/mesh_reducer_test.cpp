// Tests of the two mesh reduction routines on boxes, sheets and spheres built
// in code, with seams, bounds, thread counts and bad input.
#include "remesh/mesh_reducer.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <string>
#include <tuple>

#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Soup;

struct Routine {
  const char* name;
  void (*reduce)(SubMesh&, double, double, double, const RunContext&);
};
const Routine kRoutines[] = {{"quality", reduceMesh}, {"fast", reduceMeshFast}};

constexpr double kUnbounded = std::numeric_limits<double>::infinity();

// The sides from `first_side` on (of -x, +x, -y, +y, -z, +z) of the box
// [0, edge]^3 moved by (dx, dy, 0), each an n x n grid of squares, two
// triangles each, wound outwards.
Soup griddedBox(int n, float edge, int first_side = 0, float dx = 0, float dy = 0) {
  Soup soup;
  for (int s = first_side; s < 6; ++s)
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) {
        auto at = [&](int di, int dj) {
          test::Point p{};
          p[s / 2] = edge * (s % 2), p[(s / 2 + 1) % 3] = edge * (i + di) / n;
          p[(s / 2 + 2) % 3] = edge * (j + dj) / n;
          p[0] += dx, p[1] += dy;
          return p;
        };
        const bool out = s % 2;
        soup.addTriangle(at(0, 0), at(out, !out), at(1, 1));
        soup.addTriangle(at(0, 0), at(1, 1), at(!out, out));
      }
  return soup;
}

// Construction invariants, closed, manifold and oriented, and no flaw.
void expectClosedManifold(const SubMesh& mesh) {
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

TEST(MeshReducer, FlatSidesReduceToAHandfulAtZeroErrorAroundWhatMustStay) {
  // A box on the integer lattice, as the voxel meshes the fast routine serves;
  // at x = 100 two boxes sharing one edge (four faces on it); at x = 200 the
  // top side of a box as an open sheet.
  const Soup soup =
      test::concatenate(test::concatenate(griddedBox(91, 91), griddedBox(8, 8, 0, 100)),
                        test::concatenate(griddedBox(8, 8, 0, 108, 8), griddedBox(40, 40, 5, 200)));
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    TriMesh mesh = test::buildMesh(soup);
    const test::EdgeCensus before = test::edgeCensus(mesh);
    r.reduce(mesh, 0.0, 0.0, 0.99, {});
    EXPECT_EQ(test::invariantViolation(mesh), "");
    const test::EdgeCensus after = test::edgeCensus(mesh);
    EXPECT_EQ(after.nonManifold, before.nonManifold);
    EXPECT_EQ(after.misoriented, 0u);
    EXPECT_EQ(after.boundary, 4u);  // the sheet's outline
    // The sheet at z = 40 adds a third of its area times 40.
    EXPECT_NEAR(enclosedVolume(mesh), 91.0 * 91 * 91 + 2 * 512 + 40.0 * 40 * 40 / 3, 1e-3);
    size_t faces[3] = {};  // the big box, the two boxes, the sheet
    for (const Face& f : mesh.faces)
      faces[std::min(int(mesh.vertices[f.v[0]].position[0]) / 100, 2)]++;
    EXPECT_LE(faces[0], 24u);
    EXPECT_LT(faces[1], 2u * 8 * 8 * 12 / 4);
    EXPECT_EQ(faces[2], 2u);
  }
}

TEST(MeshReducer, ErrorAndNormalBoundsLimitTheReduction) {
  const Soup soup = test::uvSphereSoup(10.0f, 120, 60);
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    // Ratios of 0 and below keep only the bounds; a tighter bound removes less.
    TriMesh loose = test::buildMesh(soup), tight = loose, steep = loose;
    r.reduce(loose, -0.657142857, 0.05, 0.985, {});
    r.reduce(tight, 0.0, 0.002, 0.985, {});
    r.reduce(steep, -1.0, 0.05, 0.9999, {});
    EXPECT_LT(tight.faces.size(), soup.triangleCount());
    EXPECT_LT(loose.faces.size(), tight.faces.size());
    EXPECT_LT(loose.faces.size(), steep.faces.size());
    for (const TriMesh* m : {&loose, &tight, &steep}) expectClosedManifold(*m);
    // The bound is on the mean distance to the planes a vertex stands for, so
    // single vertices may stray a little further from the sphere, not far.
    for (auto [m, bound] : {std::pair{&loose, 0.05}, std::pair{&tight, 0.002}}) {
      double sum = 0.0;
      for (const Vertex& v : m->vertices) {
        const double d = std::fabs(std::hypot(v.position[0], v.position[1], v.position[2]) - 10);
        EXPECT_LT(d, 2.0 * bound);
        sum += d;
      }
      EXPECT_LT(sum / static_cast<double>(m->vertices.size()), bound);
    }
  }
}

TEST(MeshReducer, ClosedSphereKeepsItsShapeSeamsAndAttributesOnAnyThreadCount) {
  // Upper half red with material 1, lower half blue with material 2, both
  // textured. The small sphere takes the single queue, the large one (over
  // 100000 faces) fixed blocks in parallel: one thread or two, same mesh.
  for (auto [slices, stacks] : {std::pair{160, 80}, std::pair{400, 140}}) {
    Soup soup = test::uvSphereSoup(1.0f, slices, stacks);
    test::assignMaterial(soup, 1);
    soup.colors.clear();
    for (size_t t = 0; t < soup.triangleCount(); ++t) {
      const bool upper = soup.corner(t, 0)[2] + soup.corner(t, 1)[2] + soup.corner(t, 2)[2] > 0;
      soup.materials[t] = upper ? 1 : 2;
      for (int c = 0; c < 3; ++c)
        soup.colors.insert(soup.colors.end(), {upper ? 1.0f : 0.0f, 0.0f, upper ? 0.0f : 1.0f});
    }
    std::set<test::Point> input;
    for (size_t t = 0; t < soup.triangleCount(); ++t)
      for (int c = 0; c < 3; ++c) input.insert(soup.corner(t, c));
    for (const Routine& r : kRoutines) {
      SCOPED_TRACE(std::string(r.name) + " " + std::to_string(soup.triangleCount()));
      TriMesh mesh = test::buildMesh(soup), one_thread = mesh;
      const double before = enclosedVolume(mesh);
      const int threads = omp_get_max_threads();
      omp_set_num_threads(1);
      r.reduce(one_thread, 0.1, kUnbounded, 0.0, {});
      omp_set_num_threads(2);
      r.reduce(mesh, 0.1, kUnbounded, 0.0, {});
      omp_set_num_threads(threads);
      EXPECT_LT(mesh.faces.size(), soup.triangleCount() / 5);
      expectClosedManifold(mesh);
      EXPECT_NEAR(enclosedVolume(mesh), before, 0.01 * before);

      double drift = 0.0;
      ASSERT_EQ(mesh.faces.size(), one_thread.faces.size());
      for (size_t i = 0; i < mesh.faces.size(); ++i) {
        const Face& f = mesh.faces[i];
        ASSERT_TRUE(f.material == 1 || f.material == 2);
        for (int c = 0; c < 3; ++c) {
          const Vertex& v = mesh.vertices[f.v[c]];
          ASSERT_EQ(v.position, one_thread.vertices[one_thread.faces[i].v[c]].position);
          // Every corner keeps its side's colour: nothing was blended across.
          EXPECT_TRUE(f.colors[c][0] == (f.material == 1) * 255 &&
                      f.colors[c][2] == (f.material == 2) * 255);
          // Faces stay on their side, nothing strays from the sphere, and the
          // fast routine only keeps input vertices (voxel lattices stay exact).
          EXPECT_GT((f.material == 1 ? 1.0f : -1.0f) * v.position[2], -1e-6f);
          EXPECT_TRUE(r.name[0] != 'f' || input.count(v.position));
          EXPECT_NEAR(std::hypot(v.position[0], v.position[1], v.position[2]), 1.0, 0.01);
          // Texture coordinates (u = x + 2y, v = z - y) travel with their
          // corners: drifting a little, never off by about an edge length.
          const TexCoord& uv = mesh.texCoords.at(f.uv[c]);
          const double du = std::fabs(uv.u - (v.position[0] + 2.0 * v.position[1]));
          const double dv = std::fabs(uv.v - (v.position[2] - v.position[1]));
          EXPECT_LT(std::max(du, dv), 0.15);
          drift += du + dv;
        }
      }
      EXPECT_LT(drift / (6.0 * mesh.faces.size()), 0.02);
    }
  }
}

TEST(MeshReducer, BadInputIsRefusedQuietly) {
  const Soup soup = test::uvSphereSoup(1.0f, 24, 12);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    // Nothing to do: NaN or full ratios, NaN or negative bounds.
    for (auto [ratio, error, cosine] :
         {std::tuple{nan, 1.0, 0.0}, std::tuple{1.0, 1.0, 0.0}, std::tuple{0.5, nan, 0.0},
          std::tuple{0.5, -1.0, 0.0}, std::tuple{0.5, 1.0, nan}}) {
      TriMesh mesh = test::buildMesh(soup);
      r.reduce(mesh, ratio, error, cosine, {});
      EXPECT_EQ(mesh.faces.size(), soup.triangleCount());
    }
    // Non-finite positions: those vertices stay, the rest reduces.
    TriMesh odd = test::buildMesh(soup);
    odd.vertices[5].position[0] = std::numeric_limits<float>::quiet_NaN();
    odd.vertices[9].position[2] = std::numeric_limits<float>::infinity();
    r.reduce(odd, 0.2, kUnbounded, 0.0, {});
    EXPECT_LT(odd.faces.size(), soup.triangleCount());
    EXPECT_EQ(test::invariantViolation(odd), "");
    EXPECT_EQ(test::edgeCensus(odd).boundary, 0u);
    // A face naming a vertex that does not exist: the mesh is left as it is.
    TriMesh broken = test::buildMesh(soup);
    broken.faces[3].v[1] = 1 << 30;
    r.reduce(broken, 0.2, kUnbounded, 0.0, {});
    EXPECT_EQ(broken.faces.size(), soup.triangleCount());
  }
}

}  // namespace
}  // namespace vekmesh
