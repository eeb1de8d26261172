// Grouping of intersecting shells (findIntersectingShells on a built TriMesh
// with its shells) set against CGAL's intersecting_meshes on the same shells,
// one surface mesh each, in the same run: two spheres of 500k (or 50k)
// triangles, interpenetrating or nested, plus 50 small disjoint shells.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bench/bench_harness.h"
#include "mesh/mesh_utils.h"
#include "mesh/tri_mesh.h"
#include "mesh_builders.h"
#include "repair/separation.h"
#include "repair/shell_intersection.h"

#ifdef VEKMESH_HAVE_CGAL
#include "bench/separation_cgal_peer.h"
#endif

namespace vekmesh {
namespace bench {
namespace {

constexpr int kSmallShells = 50;
constexpr int kIterations = 5;  // keeps the whole run near half a minute

// What each side's timed span holds, printed with the results.
constexpr const char* kSidesNote =
    "both sides start from the same welded mesh and its shells, built outside the timer\n"
    "  ours: findIntersectingShells on the TriMesh: shell boxes, candidate face pairs of\n"
    "        shells whose boxes overlap, exact triangle tests, then the groups\n"
    "  CGAL: Polygon_mesh_processing::intersecting_meshes, one Surface_mesh per shell: shell\n"
    "        boxes, box pairs, then do_intersect on each pair (face boxes, exact triangle\n"
    "        tests, surfaces only); both sequential, both stop a pair at its first hit\n";

using test::IndexedMesh;

void append(IndexedMesh& to, const IndexedMesh& from, float dx, float dy, float dz) {
  const uint32_t base = static_cast<uint32_t>(to.vertexCount());
  for (size_t i = 0; i < from.positions.size(); i += 3) {
    to.positions.push_back(from.positions[i] + dx);
    to.positions.push_back(from.positions[i + 1] + dy);
    to.positions.push_back(from.positions[i + 2] + dz);
  }
  for (uint32_t v : from.triangles) to.triangles.push_back(base + v);
}

// Sphere A about the origin; sphere B either through it (moved by
// (0.55, 0.35, 0.15)) or inside it (radius 0.9, same centre); then 50 spheres
// of 120 triangles on a grid well away from both and from one another.
IndexedMesh scene(bool nested, size_t big_triangles) {
  IndexedMesh all;
  append(all, test::uvSphereNear(big_triangles, 1.0f), 0, 0, 0);
  if (nested)
    append(all, test::uvSphereNear(big_triangles, 0.9f), 0, 0, 0);
  else
    append(all, test::uvSphereNear(big_triangles, 1.0f), 0.55f, 0.35f, 0.15f);
  const IndexedMesh small = test::uvSphere(6, 12, 0.05f);
  for (int i = 0; i < kSmallShells; ++i)
    append(all, small, -2.0f + 0.3f * (i % 10), 3.0f + 0.3f * (i / 10), 0.0f);
  return all;
}

// What the search must find: A with B (unless nested), every small shell alone.
bool groupsAreRight(const std::vector<std::vector<int32_t>>& groups, bool nested) {
  const size_t shells = 2 + kSmallShells;
  if (groups.size() != (nested ? shells : shells - 1)) return false;
  if (!nested && groups[0] != std::vector<int32_t>{0, 1}) return false;
  for (size_t g = nested ? 0 : 1; g < groups.size(); ++g)
    if (groups[g].size() != 1) return false;
  return true;
}

// Our per-shell lists as pairs, lower shell first, sorted: CGAL's form.
std::vector<std::pair<int32_t, int32_t>> pairsOf(const ShellIntersections& found) {
  std::vector<std::pair<int32_t, int32_t>> pairs;
  for (size_t s = 0; s < found.intersecting.size(); ++s)
    for (int32_t other : found.intersecting[s])
      if (other > static_cast<int32_t>(s)) pairs.emplace_back(static_cast<int32_t>(s), other);
  std::sort(pairs.begin(), pairs.end());
  return pairs;
}

struct Row {
  std::string name;
  size_t triangles = 0;
  double ours_ms = 0.0;
  double peer_ms = 0.0;      // intersecting_meshes, 0 without CGAL
  double ratio = 0.0;        // median of paired ours / peer
  double separate_ms = 0.0;  // whole separateShells, parts included
};
std::vector<Row> g_rows;
bool g_failed = false;

void benchSeparation(benchmark::State& state, const std::string& name, bool nested,
                     size_t big_triangles) {
  const IndexedMesh indexed = scene(nested, big_triangles);
  const std::vector<float> soup = test::toSoup(indexed);
  TriMesh mesh;
  buildTriMesh(mesh, static_cast<uint32_t>(indexed.triangleCount()), soup.data(), nullptr, nullptr,
               nullptr);
  buildShells(mesh);
  const ShellIntersections expected = findIntersectingShells(mesh);
  if (mesh.shells.size() != 2 + kSmallShells || !groupsAreRight(expected.groups, nested)) {
    skipCase(state, "the shells were not grouped as built");
    g_failed = true;
    return;
  }

#ifdef VEKMESH_HAVE_CGAL
  // The peer gets the welded mesh itself, shell by shell: same vertices, same
  // faces, same shells.
  std::vector<float> positions;
  positions.reserve(3 * mesh.vertices.size());
  for (const Vertex& v : mesh.vertices)
    positions.insert(positions.end(), v.position.begin(), v.position.end());
  std::vector<uint32_t> triangles;
  triangles.reserve(3 * mesh.faces.size());
  for (const Face& f : mesh.faces)
    for (int c = 0; c < 3; ++c) triangles.push_back(static_cast<uint32_t>(f.v[c]));
  const CgalShellsPtr peer = makeCgalShells(positions, triangles, mesh.shells);
  if (cgalFaceCount(*peer) != mesh.faces.size() ||
      cgalIntersectingShells(*peer) != pairsOf(expected)) {
    skipCase(state, "CGAL's shells or answer differ from ours");
    g_failed = true;
    return;
  }
#endif

  const auto time_ours = [&] {
    ShellIntersections found;
    const double s = timed([&] { found = findIntersectingShells(mesh); });
    if (!groupsAreRight(found.groups, nested)) g_failed = true;
    return s;
  };
#ifdef VEKMESH_HAVE_CGAL
  const PairedTimes times = runPaired(state, time_ours, [&] {
    std::vector<std::pair<int32_t, int32_t>> pairs;
    const double s = timed([&] { pairs = cgalIntersectingShells(*peer); });
    if (pairs.size() != (nested ? 0u : 1u)) g_failed = true;
    return s;
  });
#else
  const PairedTimes times = runPaired(state, time_ours);
#endif

  Row row;
  row.name = name;
  row.triangles = mesh.faces.size();
  row.ours_ms = times.oursMs();
  {
    TriMesh copy = mesh;  // separation rebuilds shells and adds the parts
    row.separate_ms = 1e3 * timed([&] { separateShells(copy); });
    if (copy.pieces.size() != (nested ? 2u : 1u) + kSmallShells) g_failed = true;
  }
  state.counters["triangles"] = static_cast<double>(row.triangles);
  state.counters["ours_ms"] = row.ours_ms;
  state.counters["separate_ms"] = row.separate_ms;
#ifdef VEKMESH_HAVE_CGAL
  row.peer_ms = times.theirsMs();
  row.ratio = times.ratio();
  state.counters["cgal_ms"] = row.peer_ms;
  state.counters["ratio"] = row.ratio;
#endif
  g_rows.push_back(row);
}

void printTable() {
  std::printf(
      "\nShell grouping summary (medians; ratio = median of paired ours / CGAL "
      "intersecting_meshes)\n%s",
      kSidesNote);
  std::printf("%-36s %10s %9s %9s %7s %13s\n", "case", "triangles", "ours ms", "CGAL ms", "ratio",
              "separate ms");
  for (const Row& row : g_rows) {
    const bool slow = row.peer_ms > 0.0 && row.ratio >= 1.0;
    if (row.peer_ms > 0.0)
      std::printf("%-36s %10zu %9.1f %9.1f %7.3f %13.1f%s\n", row.name.c_str(), row.triangles,
                  row.ours_ms, row.peer_ms, row.ratio, row.separate_ms,
                  slow ? "  not faster than CGAL" : "");
    else
      std::printf("%-36s %10zu %9.1f %9s %7s %13.1f\n", row.name.c_str(), row.triangles,
                  row.ours_ms, "-", "-", row.separate_ms);
  }
  std::printf(
      "separate ms: our whole separateShells once (shells, search, parts), no peer\n"
      "target: ours faster than CGAL's search (ratio below 1)\n");
}

}  // namespace

bool summarize() {
  if (!g_rows.empty()) printTable();
  return !g_failed;
}

void registerCases() {
  // 500k per big sphere is the measured size; 50k checks the case quickly.
  for (const auto& [label, big] : {std::pair<const char*, size_t>{"2x500k", 500000},
                                   std::pair<const char*, size_t>{"2x50k", 50000}})
    for (bool nested : {false, true}) {
      const std::string name =
          std::string("ShellGrouping/") + (nested ? "nested/" : "interpenetrating/") + label;
      const size_t big_triangles = big;
      registerCase(name, kIterations, [name, nested, big_triangles](benchmark::State& state) {
        benchSeparation(state, name, nested, big_triangles);
      });
    }
}

}  // namespace bench
}  // namespace vekmesh
