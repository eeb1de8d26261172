// Tests of the two mesh reduction routines: closed meshes stay closed, manifold
// and outward with their volume; flat sides reduce to nearly nothing at zero
// error while curved ones do not move; boundaries, material and colour seams
// and texture coordinates survive; bad input is refused quietly.
#include "remesh/mesh_reducer.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <utility>

#include "remesh/large_model_cap.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "repair/flaw_detection.h"

namespace vekmesh {
namespace {

using test::Point;
using test::Soup;

using Reducer = std::function<void(SubMesh&, double, double, double)>;

struct Routine {
  const char* name;
  Reducer reduce;
};
const Routine kRoutines[] = {
    {"quality", [](SubMesh& m, double r, double e, double c) { reduceMesh(m, r, e, c); }},
    {"fast", [](SubMesh& m, double r, double e, double c) { reduceMeshFast(m, r, e, c); }}};

constexpr double kUnbounded = std::numeric_limits<double>::infinity();

// Closed box [0, edge]^3 whose six sides are n x n grids of squares, two
// triangles each, wound outwards: 12 n^2 triangles.
Soup griddedBox(int n, float edge = 1.0f) {
  std::map<std::array<int, 3>, int> index;
  std::vector<Point> points;
  auto point = [&](std::array<int, 3> l) {
    auto [it, fresh] = index.emplace(l, static_cast<int>(points.size()));
    if (fresh) points.push_back({edge * l[0] / n, edge * l[1] / n, edge * l[2] / n});
    return it->second;
  };
  std::vector<std::array<int, 3>> triangles;
  for (int axis = 0; axis < 3; ++axis)
    for (int side = 0; side < 2; ++side)
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          const int b = (axis + 1) % 3, c = (axis + 2) % 3;
          auto at = [&](int di, int dj) {
            std::array<int, 3> l{};
            l[axis] = side * n, l[b] = i + di, l[c] = j + dj;
            return point(l);
          };
          const int p00 = at(0, 0), p10 = at(1, 0), p11 = at(1, 1), p01 = at(0, 1);
          if (side == 1) {
            triangles.push_back({p00, p10, p11});
            triangles.push_back({p00, p11, p01});
          } else {
            triangles.push_back({p00, p11, p10});
            triangles.push_back({p00, p01, p11});
          }
        }
  return test::soupFromIndexed(points, triangles);
}

// Flat square [0, 1]^2 at z = 0 as an n x n grid, facing +z: an open sheet.
Soup squareSheet(int n) {
  std::vector<Point> points;
  for (int j = 0; j <= n; ++j)
    for (int i = 0; i <= n; ++i)
      points.push_back({static_cast<float>(i) / n, static_cast<float>(j) / n, 0.0f});
  std::vector<std::array<int, 3>> triangles;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const int a = j * (n + 1) + i;
      triangles.push_back({a, a + 1, a + n + 2});
      triangles.push_back({a, a + n + 2, a + n + 1});
    }
  return test::soupFromIndexed(points, triangles);
}

// The mesh is sound as a printable solid: construction invariants, no open,
// over-used or same-direction edge, and (once flaw detection is in) the
// strict flaw test.
void expectClosedManifold(const SubMesh& mesh) {
  EXPECT_EQ(test::invariantViolation(mesh), "");
  const test::EdgeCensus census = test::edgeCensus(mesh);
  EXPECT_EQ(census.boundary, 0u);
  EXPECT_EQ(census.nonManifold, 0u);
  EXPECT_EQ(census.misoriented, 0u);
  EXPECT_FALSE(detectFlaws(mesh, 0));
}

TriMesh reduced(const Soup& soup, const Routine& r, double ratio, double error, double cosine) {
  TriMesh mesh = test::buildMesh(soup);
  r.reduce(mesh, ratio, error, cosine);
  return mesh;
}

TEST(MeshReducer, FlatSidedBoxReducesToAHandfulAtZeroError) {
  const Soup soup = griddedBox(91);  // 99372 triangles
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    const TriMesh mesh = reduced(soup, r, 0.0, 0.0, 0.99);
    expectClosedManifold(mesh);
    EXPECT_LE(mesh.faces.size(), 24u);
    EXPECT_NEAR(enclosedVolume(mesh), 1.0, 1e-6);
    // Every vertex is still on the surface of the box: one coordinate at 0 or 1.
    for (const Vertex& v : mesh.vertices) {
      bool on_side = false;
      for (float x : v.position) {
        EXPECT_GE(x, 0.0f);
        EXPECT_LE(x, 1.0f);
        on_side = on_side || x == 0.0f || x == 1.0f;
      }
      EXPECT_TRUE(on_side);
    }
  }
}

TEST(MeshReducer, ErrorAndNormalBoundsLimitTheReduction) {
  const Soup soup = test::uvSphereSoup(10.0f, 120, 60);
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    // Ratios of 0 and below keep only the bounds; a tighter bound removes less.
    TriMesh loose = test::buildMesh(soup), tight = test::buildMesh(soup);
    TriMesh steep = test::buildMesh(soup);
    r.reduce(loose, -0.657142857, 0.05, 0.985);
    r.reduce(tight, 0.0, 0.002, 0.985);
    r.reduce(steep, -1.0, 0.05, 0.9999);
    EXPECT_LT(tight.faces.size(), soup.triangleCount());
    EXPECT_LT(loose.faces.size(), tight.faces.size());
    EXPECT_LT(loose.faces.size(), steep.faces.size());
    for (const TriMesh* m : {&loose, &tight, &steep}) expectClosedManifold(*m);
    // The bound is on the mean distance to the planes a vertex stands for, so
    // single vertices may stray a little further from the sphere, not far.
    for (auto [m, bound] : {std::pair{&loose, 0.05}, std::pair{&tight, 0.002}}) {
      double sum = 0.0, worst = 0.0;
      for (const Vertex& v : m->vertices) {
        const double d = std::fabs(std::hypot(v.position[0], v.position[1], v.position[2]) - 10.0);
        sum += d;
        worst = std::max(worst, d);
      }
      EXPECT_LT(sum / static_cast<double>(m->vertices.size()), bound);
      EXPECT_LT(worst, 2.0 * bound);
    }
  }
}

TEST(MeshReducer, ClosedSphereKeepsItsShapeSeamsAndAttributes) {
  // Upper half of a sphere red with material 1, lower half blue with
  // material 2; both textured by position. The small one takes the single
  // queue, the large one (over 100000 faces) the slabs in parallel.
  for (auto [slices, stacks] : {std::pair{160, 80}, std::pair{400, 140}}) {
    Soup soup = test::uvSphereSoup(1.0f, slices, stacks);
    test::assignMaterial(soup, 1);
    soup.colors.clear();
    for (size_t t = 0; t < soup.triangleCount(); ++t) {
      const float z = soup.corner(t, 0)[2] + soup.corner(t, 1)[2] + soup.corner(t, 2)[2];
      const bool upper = z > 0.0f;
      soup.materials[t] = upper ? 1 : 2;
      const test::Rgb rgb = {upper ? 1.0f : 0.0f, 0.0f, upper ? 0.0f : 1.0f};
      for (int c = 0; c < 3; ++c) soup.colors.insert(soup.colors.end(), rgb.begin(), rgb.end());
    }
    for (const Routine& r : kRoutines) {
      SCOPED_TRACE(std::string(r.name) + " " + std::to_string(soup.triangleCount()));
      TriMesh mesh = test::buildMesh(soup);
      const double before = enclosedVolume(mesh);
      r.reduce(mesh, 0.1, kUnbounded, 0.0);
      EXPECT_LT(mesh.faces.size(), soup.triangleCount() / 5);
      expectClosedManifold(mesh);
      EXPECT_NEAR(enclosedVolume(mesh), before, 0.01 * before);

      size_t upper = 0, lower = 0, corners = 0;
      double drift = 0.0;
      for (const Face& f : mesh.faces) {
        ASSERT_TRUE(f.material == 1 || f.material == 2);
        const uint8_t red = f.material == 1 ? 255 : 0;
        // Every corner keeps its side's colour: nothing was blended across.
        for (int c = 0; c < 3; ++c) {
          EXPECT_EQ(f.colors[c][0], red);
          EXPECT_EQ(f.colors[c][2], 255 - red);
        }
        // Faces stay on their side, and nothing strays from the sphere.
        for (int c = 0; c < 3; ++c) {
          const auto& p = mesh.vertices[f.v[c]].position;
          EXPECT_GT((f.material == 1 ? 1.0f : -1.0f) * p[2], -1e-6f);
          EXPECT_NEAR(std::hypot(p[0], p[1], p[2]), 1.0, 0.01);
        }
        (f.material == 1 ? upper : lower)++;
        // Texture coordinates travel with their corners: still close to the
        // position's own coordinates (u = x + 2y, v = z - y). Blending along
        // the edge while the vertex moves off it drifts a little; a corner given
        // another corner's coordinates would be off by about an edge length.
        for (int c = 0; c < 3; ++c) {
          const auto& p = mesh.vertices[f.v[c]].position;
          const TexCoord& uv = mesh.texCoords.at(f.uv[c]);
          const double du = std::fabs(uv.u - (p[0] + 2.0 * p[1]));
          const double dv = std::fabs(uv.v - (p[2] - p[1]));
          EXPECT_LT(du, 0.15);
          EXPECT_LT(dv, 0.15);
          drift += du + dv;
          ++corners;
        }
      }
      EXPECT_LT(drift / static_cast<double>(2 * corners), 0.02);
      EXPECT_GT(upper, 10u);
      EXPECT_GT(lower, 10u);
    }
  }
}

TEST(MeshReducer, OpenBoundaryStaysInPlace) {
  const Soup soup = squareSheet(40);  // 3200 triangles
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    const TriMesh mesh = reduced(soup, r, 0.0, 0.0, 0.99);
    EXPECT_EQ(test::invariantViolation(mesh), "");
    const test::EdgeCensus census = test::edgeCensus(mesh);
    EXPECT_EQ(census.nonManifold, 0u);
    EXPECT_EQ(census.misoriented, 0u);
    // The square's outline is all that is left: its four corners.
    EXPECT_EQ(mesh.faces.size(), 2u);
    EXPECT_EQ(census.boundary, 4u);
    for (const Vertex& v : mesh.vertices) {
      EXPECT_TRUE(v.position[0] == 0.0f || v.position[0] == 1.0f);
      EXPECT_TRUE(v.position[1] == 0.0f || v.position[1] == 1.0f);
    }
  }
}

TEST(MeshReducer, NonManifoldEdgesAreLeftAlone) {
  // Two finely gridded boxes sharing one edge (four faces on it).
  Soup second = griddedBox(8);
  for (size_t i = 0; i < second.corners.size(); i += 3) {
    second.corners[i] += 1.0f;
    second.corners[i + 1] += 1.0f;
  }
  const Soup soup = test::concatenate(griddedBox(8), second);
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    TriMesh mesh = test::buildMesh(soup);
    const test::EdgeCensus before = test::edgeCensus(mesh);
    ASSERT_GT(before.nonManifold, 0u);
    r.reduce(mesh, 0.0, 0.0, 0.99);
    EXPECT_LT(mesh.faces.size(), soup.triangleCount() / 4);
    EXPECT_EQ(test::invariantViolation(mesh), "");
    const test::EdgeCensus after = test::edgeCensus(mesh);
    EXPECT_EQ(after.nonManifold, before.nonManifold);
    EXPECT_EQ(after.boundary, 0u);
    EXPECT_EQ(after.misoriented, 0u);
    EXPECT_NEAR(enclosedVolume(mesh), 2.0, 1e-6);
  }
}

TEST(MeshReducer, FastRoutineKeepsVoxelLattice) {
  // A box on the integer lattice, as the voxel meshes the fast routine
  // serves: every coordinate of the result must still be an integer.
  TriMesh mesh = test::buildMesh(griddedBox(20, 20.0f));
  reduceMeshFast(mesh, 0.0, 0.05, 0.9);
  expectClosedManifold(mesh);
  EXPECT_LE(mesh.faces.size(), 24u);
  for (const Vertex& v : mesh.vertices)
    for (float x : v.position) EXPECT_EQ(x, std::round(x));
}

TEST(MeshReducer, BadInputIsRefusedQuietly) {
  const Soup soup = test::uvSphereSoup(1.0f, 24, 12);
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    // Nothing to do: NaN or full ratios, NaN or negative bounds, no faces.
    for (auto [ratio, error, cosine] :
         {std::tuple{nan, 1.0, 0.0}, std::tuple{1.0, 1.0, 0.0}, std::tuple{0.5, nan, 0.0},
          std::tuple{0.5, -1.0, 0.0}, std::tuple{0.5, 1.0, nan}}) {
      TriMesh mesh = test::buildMesh(soup);
      const size_t faces = mesh.faces.size();
      r.reduce(mesh, ratio, error, cosine);
      EXPECT_EQ(mesh.faces.size(), faces);
    }
    // Non-finite positions: the vertices are never moved nor merged, the rest
    // reduces and nothing crashes.
    TriMesh odd = test::buildMesh(soup);
    odd.vertices[5].position[0] = std::numeric_limits<float>::quiet_NaN();
    odd.vertices[9].position[2] = std::numeric_limits<float>::infinity();
    r.reduce(odd, 0.2, kUnbounded, 0.0);
    EXPECT_LT(odd.faces.size(), soup.triangleCount());
    EXPECT_EQ(test::invariantViolation(odd), "");
    EXPECT_EQ(test::edgeCensus(odd).boundary, 0u);

    // A face naming a vertex that does not exist: the mesh is left as it is.
    TriMesh broken = test::buildMesh(soup);
    broken.faces[3].v[1] = 1 << 30;
    r.reduce(broken, 0.2, kUnbounded, 0.0);
    EXPECT_EQ(broken.faces.size(), soup.triangleCount());
  }
}

TEST(MeshReducer, ResultDoesNotDependOnTheThreadCount) {
  // Over 100000 faces both routines work block by block in parallel; the
  // blocks are fixed, so one thread and two give the same mesh.
  const Soup soup = test::uvSphereSoup(1.0f, 400, 140);
  for (const Routine& r : kRoutines) {
    SCOPED_TRACE(r.name);
    std::vector<std::vector<float>> results;
    for (int threads : {1, 2}) {
      const int before = omp_get_max_threads();
      omp_set_num_threads(threads);
      TriMesh mesh = test::buildMesh(soup);
      r.reduce(mesh, 0.2, kUnbounded, 0.0);
      omp_set_num_threads(before);
      std::vector<float> corners;
      for (const Face& f : mesh.faces)
        for (int c = 0; c < 3; ++c) {
          const auto& p = mesh.vertices[f.v[c]].position;
          corners.insert(corners.end(), p.begin(), p.end());
        }
      results.push_back(std::move(corners));
    }
    EXPECT_FALSE(results[0].empty());
    EXPECT_TRUE(results[0] == results[1]);
  }
}

}  // namespace
}  // namespace vekmesh
