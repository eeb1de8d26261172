// Tests of isotropic remeshing on spheres, boxes and broken variants built in
// code: a selected patch changes nothing outside it and gets even, better
// shaped triangles; whole models stay closed, outward and sharp; bad indices,
// NaN, open and non-manifold input give defined results; and the export.
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <utility>
#include <vector>

#include "face_list.h"
#include "geometry/vectors.h"
#include "include/vekmesh.h"
#include "mesh/mesh_utils.h"
#include "mesh_builders.h"
#include "mesh_checks.h"
#include "remesh/isotropic_remeshing.h"
#include "remesh/remesher.h"
#include "remesh/selection_patch.h"

namespace vekmesh {
namespace {

using test::Soup;

TriMesh meshOf(const test::IndexedMesh& m) {
  const std::vector<float> soup = test::toSoup(m);
  TriMesh mesh;
  buildTriMesh(mesh, static_cast<uint32_t>(m.triangleCount()), soup.data(), nullptr, nullptr,
               nullptr);
  return mesh;
}

using Corners = std::array<std::array<float, 3>, 3>;

Corners cornersOf(const SubMesh& m, const Face& f) {
  Corners c;
  for (int k = 0; k < 3; ++k) c[k] = m.vertices[size_t(f.v[k])].position;
  std::rotate(c.begin(), std::min_element(c.begin(), c.end()), c.end());
  return c;
}

double smallestAngle(const Corners& c) {
  double smallest = 180.0;
  for (int k = 0; k < 3; ++k) {
    Vec3d u, w;
    for (int i = 0; i < 3; ++i) {
      u[i] = double(c[(k + 1) % 3][i]) - c[k][i];
      w[i] = double(c[(k + 2) % 3][i]) - c[k][i];
    }
    const double cosine = dot(u, w) / (length(u) * length(w));
    smallest = std::min(smallest, std::acos(std::clamp(cosine, -1.0, 1.0)) * 180.0 / kPi);
  }
  return smallest;
}

// The mesh after remeshing and compaction, as the export and the tool see it.
RemeshReport remeshAndCompact(TriMesh& mesh, const std::vector<int32_t>& indices) {
  const RemeshReport r = remeshMesh(mesh, indices.empty() ? nullptr : indices.data(),
                                    static_cast<uint32_t>(indices.size()));
  rebuildTopology(mesh);
  return r;
}

TEST(Remeshing, SelectedPatchImprovesAndLeavesTheRestBitIdentical) {
  TriMesh mesh = meshOf(test::uvSphereNear(6000, 1.0f));
  const double volume = enclosedVolume(mesh);
  std::vector<int32_t> cap;
  std::multiset<Corners> outside;
  double worst_before = 180.0;
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    const Corners c = cornersOf(mesh, mesh.faces[f]);
    if (c[0][2] + c[1][2] + c[2][2] > 1.5f) {  // the northern cap, pole included
      cap.push_back(int32_t(f));
      worst_before = std::min(worst_before, smallestAngle(c));
    } else {
      outside.insert(c);
    }
  }
  const RemeshReport report = remeshAndCompact(mesh, cap);
  EXPECT_EQ(report.selected_faces, cap.size());
  EXPECT_EQ(test::invariantViolation(mesh), "");
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_NEAR(enclosedVolume(mesh), volume, 2e-3 * volume);

  // Every face outside the cap is still there, corner for corner; the rest
  // is the patch.
  std::multiset<Corners> left = outside;
  std::vector<Corners> patch;
  for (const Face& f : mesh.faces) {
    const Corners c = cornersOf(mesh, f);
    auto it = left.find(c);
    if (it != left.end())
      left.erase(it);
    else
      patch.push_back(c);
  }
  EXPECT_TRUE(left.empty()) << left.size() << " faces outside the selection changed";
  ASSERT_FALSE(patch.empty());

  size_t edges = 0, even = 0;
  double worst_after = 180.0;
  for (const Corners& c : patch) {
    worst_after = std::min(worst_after, smallestAngle(c));
    for (int k = 0; k < 3; ++k) {
      Vec3d d;
      for (int i = 0; i < 3; ++i) d[i] = double(c[k][i]) - c[(k + 1) % 3][i];
      const double ratio = length(d) / report.target_length;
      ++edges;
      even += ratio >= 0.8 && ratio <= 4.0 / 3.0;
    }
  }
  EXPECT_GE(double(even), 0.95 * double(edges)) << even << " of " << edges;
  EXPECT_GT(worst_after, worst_before);
  // The patch stays on the sphere.
  for (const Corners& c : patch)
    for (const auto& p : c)
      EXPECT_NEAR(std::sqrt(double(p[0]) * p[0] + double(p[1]) * p[1] + double(p[2]) * p[2]), 1.0,
                  2e-3);
}

TEST(Remeshing, WholeModelsStayClosedOutwardAndThreadCountFree) {
  const std::pair<test::IndexedMesh, long> shapes[] = {{test::uvSphereNear(40000, 2.0f), 2},
                                                       {test::noisyTorusNear(3000, 2.0f, 0.7f), 0}};
  for (const auto& [shape, euler_characteristic] : shapes) {
    TriMesh mesh = meshOf(shape);
    const double volume = enclosedVolume(mesh);
    omp_set_num_threads(1);
    TriMesh single = mesh;
    remeshAndCompact(single, {});
    omp_set_num_threads(2);
    remeshAndCompact(mesh, {});
    EXPECT_EQ(test::faceList(mesh), test::faceList(single));
    EXPECT_EQ(test::invariantViolation(mesh), "");
    EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
    EXPECT_NEAR(enclosedVolume(mesh), volume, 0.01 * volume);  // outward: inward would be 0
    buildShells(mesh);
    EXPECT_EQ(mesh.shells.size(), 1u);
    const test::EdgeCensus census = test::edgeCensus(mesh);
    EXPECT_EQ(long(mesh.vertices.size()) - long(census.edges) + long(mesh.faces.size()),
              euler_characteristic);
  }
}

// The box [0, 1] x [0, 1] x [0, 3], each side a grid of n x n cells (long,
// thin ones on the four tall sides), wound outwards.
Soup tallBox(int n) {
  const float size[3] = {1.0f, 1.0f, 3.0f};
  Soup soup;
  for (int axis = 0; axis < 3; ++axis)
    for (int high = 0; high < 2; ++high)
      for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
          const int u = (axis + 1) % 3, w = (axis + 2) % 3;
          auto at = [&](int di, int dj) {
            test::Point p{};
            p[axis] = high * size[axis];
            p[u] = size[u] * float(i + di) / float(n);
            p[w] = size[w] * float(j + dj) / float(n);
            return p;
          };
          if (high)
            soup.addTriangle(at(0, 0), at(1, 0), at(1, 1)),
                soup.addTriangle(at(0, 0), at(1, 1), at(0, 1));
          else
            soup.addTriangle(at(0, 0), at(1, 1), at(1, 0)),
                soup.addTriangle(at(0, 0), at(0, 1), at(1, 1));
        }
  return soup;
}

TEST(Remeshing, BoxKeepsFlatSidesSharpEdgesAndVolume) {
  TriMesh mesh = test::buildMesh(tallBox(4));
  const RemeshReport report = remeshAndCompact(mesh, {});
  EXPECT_GT(report.splits, 0u);
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  EXPECT_NEAR(enclosedVolume(mesh), 3.0, 1e-6);
  const float size[3] = {1.0f, 1.0f, 3.0f};
  // Every face lies in one side: no face cuts a corner off an edge.
  for (const Face& f : mesh.faces) {
    bool in_one_side = false;
    for (int axis = 0; axis < 3; ++axis)
      for (float side : {0.0f, size[axis]}) {
        bool all = true;
        for (int c = 0; c < 3; ++c)
          all = all && mesh.vertices[size_t(f.v[c])].position[axis] == side;
        in_one_side = in_one_side || all;
      }
    ASSERT_TRUE(in_one_side);
  }
  // The eight corners are still vertices.
  std::set<std::array<float, 3>> points;
  for (const Vertex& v : mesh.vertices) points.insert(v.position);
  for (int corner = 0; corner < 8; ++corner)
    EXPECT_TRUE(points.count(
        {size[0] * (corner & 1), size[1] * (corner >> 1 & 1), size[2] * (corner >> 2)}));
}

// A torus with noise of up to a third of an edge folds by more than 30
// degrees at many edges; none of that is a feature line. Whole and in part,
// remeshing must not make its worst triangle worse and must raise the mean.
TEST(Remeshing, NoiseIsNoFeatureAndTheWorstAngleDoesNotDrop) {
  const TriMesh noisy = meshOf(test::noisyTorusNear(8000, 2.0f, 0.7f));
  remeshing::SelectionPatch selection;
  remeshing::buildPatch(noisy, remeshing::selectFaces(noisy, nullptr, 0), selection);
  size_t constrained = 0;
  for (uint8_t flag : selection.patch.flags) constrained += flag != 0;
  EXPECT_LT(constrained, selection.patch.flags.size() / 200);

  std::vector<int32_t> band;  // the outer half of the ring
  for (size_t f = 0; f < noisy.faces.size(); ++f)
    if (cornersOf(noisy, noisy.faces[f])[0][0] > 0.5f) band.push_back(int32_t(f));
  for (const std::vector<int32_t>& indices : {std::vector<int32_t>{}, band}) {
    TriMesh mesh = noisy;
    auto worstAndMean = [&](const TriMesh& m, bool in_band) {
      double worst = 180.0, sum = 0.0;
      size_t n = 0;
      for (const Face& f : m.faces) {
        const Corners c = cornersOf(m, f);
        if (in_band && c[0][0] <= 0.5f) continue;
        const double a = smallestAngle(c);
        worst = std::min(worst, a), sum += a, ++n;
      }
      return std::make_pair(worst, sum / double(std::max<size_t>(n, 1)));
    };
    const auto before = worstAndMean(mesh, !indices.empty());
    remeshAndCompact(mesh, indices);
    EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
    const auto after = worstAndMean(mesh, !indices.empty());
    EXPECT_GE(after.first, before.first) << indices.size() << " faces selected";
    EXPECT_GT(after.second, before.second + 3.0) << indices.size() << " faces selected";
  }

  // The box's edges are all still found, also with every corner moved by up
  // to 3 % of a cell (the same move for a point wherever it occurs).
  Soup rough = tallBox(3);
  for (size_t i = 0; i < rough.corners.size(); i += 3) {
    const float* x = &rough.corners[i];
    const float seed = 12.9898f * x[0] + 78.233f * x[1] + 37.719f * x[2];
    for (int k = 0; k < 3; ++k)
      rough.corners[i + size_t(k)] += 0.01f * std::sin(seed * float(k + 1));
  }
  for (const Soup& soup : {tallBox(3), rough}) {
    const TriMesh box = test::buildMesh(soup);
    remeshing::buildPatch(box, remeshing::selectFaces(box, nullptr, 0), selection);
    constrained = 0;
    for (uint8_t flag : selection.patch.flags) constrained += flag != 0;
    EXPECT_EQ(constrained, 2u * 4 * (3 + 3 + 3));  // 12 box edges of 3 patch edges, 2 halves
  }
}

// The half-edge patch after every round, on a box (feature lines) and on a
// sphere with a fin (non-manifold edge, split fans): twins, outgoing
// half-edges and valences agree with the faces.
TEST(Remeshing, PatchConnectivityStaysSoundRoundByRound) {
  Soup fin = test::uvSphereSoup(1.0f, 24, 12);
  fin.addTriangle(fin.corner(50, 0), fin.corner(50, 1), {3.0f, 3.0f, 3.0f});
  for (const Soup& soup : {tallBox(3), fin}) {
    const TriMesh mesh = test::buildMesh(soup);
    remeshing::SelectionPatch selection;
    remeshing::buildPatch(mesh, remeshing::selectFaces(mesh, nullptr, 0), selection);
    EXPECT_EQ(selection.patch.inconsistency(), "");
    const remeshing::SurfaceProjector surface(selection.reference, selection.mean_edge);
    for (int round = 0; round < 4; ++round) {
      remeshing::remeshIsotropic(selection.patch, surface, {selection.mean_edge, 1, 100000});
      EXPECT_EQ(selection.patch.inconsistency(), "") << "round " << round;
    }
  }
}

TEST(Remeshing, BadIndicesAndBrokenInputGiveDefinedResults) {
  const test::IndexedMesh sphere = test::uvSphere(12, 24, 1.0f);
  const TriMesh original = meshOf(sphere);
  const int32_t n = int32_t(original.faces.size());

  // Invalid entries are skipped; nothing valid left means the whole mesh.
  TriMesh whole = original, invalid = original, picked = original, clean = original;
  remeshAndCompact(whole, {});
  remeshAndCompact(invalid, {-1, n, n + 1000, -7});
  EXPECT_EQ(test::faceList(invalid), test::faceList(whole));
  std::vector<int32_t> noisy = {5, -3, 6, 5, n, 7, 6};
  noisy.resize(size_t(3 * n), 7);  // longer than the face count
  remeshAndCompact(picked, noisy);
  remeshAndCompact(clean, {5, 6, 7});
  EXPECT_EQ(test::faceList(picked), test::faceList(clean));
  EXPECT_TRUE(test::edgeCensus(clean).closedManifoldOriented());

  // A NaN corner: its faces stay as they are, the rest is remeshed, closed.
  TriMesh nan_mesh = original;
  nan_mesh.vertices[30].position[1] = std::nanf("");
  size_t nan_faces = 0;
  for (const Face& f : nan_mesh.faces) nan_faces += f.v[0] == 30 || f.v[1] == 30 || f.v[2] == 30;
  const RemeshReport r = remeshMesh(nan_mesh, nullptr, 0);
  EXPECT_EQ(r.selected_faces, original.faces.size() - nan_faces);
  rebuildTopology(nan_mesh);
  EXPECT_TRUE(test::edgeCensus(nan_mesh).closedManifoldOriented());
  size_t nan_after = 0;
  for (const Vertex& v : nan_mesh.vertices) nan_after += std::isnan(v.position[1]);
  EXPECT_EQ(nan_after, 1u);

  // An open sphere keeps one hole with the same rim.
  TriMesh open = test::buildMesh(test::withoutTriangle(test::uvSphereSoup(1.0f, 24, 12), 100));
  remeshAndCompact(open, {});
  const test::EdgeCensus census = test::edgeCensus(open);
  EXPECT_EQ(census.nonManifold + census.misoriented, 0u);
  EXPECT_GE(census.boundary, 3u);

  // A fin on one edge of a sphere (three faces on the edge) and two cubes on
  // one vertex: the non-manifold parts stay, nothing crashes.
  Soup fin = test::uvSphereSoup(1.0f, 24, 12);
  fin.addTriangle(fin.corner(50, 0), fin.corner(50, 1), {3.0f, 3.0f, 3.0f});
  for (const Soup& soup : {fin, test::twoCubesSharingVertexSoup()}) {
    TriMesh broken = test::buildMesh(soup);
    const size_t non_manifold = test::edgeCensus(broken).nonManifold;
    const size_t vertices = broken.vertices.size();
    remeshAndCompact(broken, {});
    EXPECT_EQ(test::invariantViolation(broken), "");
    EXPECT_EQ(test::edgeCensus(broken).nonManifold, non_manifold);
    EXPECT_EQ(test::edgeCensus(broken).misoriented, 0u);
    EXPECT_GT(broken.vertices.size(), vertices / 2);
  }

  TriMesh empty;
  EXPECT_EQ(remeshMesh(empty, nullptr, 0).selected_faces, 0u);
}

TEST(Remeshing, ExportRemeshesTheSelectionItIsGiven) {
  const Soup soup = test::uvSphereSoup(1.0f, 32, 16);
  float* corners = const_cast<float*>(soup.corners.data());
  const uint32_t count = soup.triangleCount();
  std::vector<int32_t> indices = {40, 41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, 52};
  int32_t* index_array = indices.data();
  const uint32_t index_count = uint32_t(indices.size());
  float* out = nullptr;
  uint32_t out_count = 0;
  remeshFromData64(&corners, &count, &out, &out_count, &index_array, &index_count);
  ASSERT_NE(out, nullptr);
  ASSERT_GT(out_count, 0u);
  Soup result;
  result.corners.assign(out, out + 9 * size_t(out_count));
  freeAllArray();
  TriMesh mesh = test::buildMesh(result);
  EXPECT_TRUE(test::edgeCensus(mesh).closedManifoldOriented());
  // Faces far from the selection come back as they went in.
  const TriMesh before = test::buildMesh(soup);
  std::set<Corners> after_faces;
  for (const Face& f : mesh.faces) after_faces.insert(cornersOf(mesh, f));
  for (size_t f = 200; f < 300; ++f)
    EXPECT_TRUE(after_faces.count(cornersOf(before, before.faces[f])));

  // No model: nothing written.
  out_count = 7;
  remeshFromData64(nullptr, &count, &out, &out_count, &index_array, &index_count);
  EXPECT_EQ(out_count, 0u);
  freeAllArray();
}

}  // namespace
}  // namespace vekmesh
