// The census of the scripting API: the exact flaw counts of repair/mesh_census,
// the printable verdict with its reasons, intersecting shell pairs, and the
// host flaw test with its counters, read from one corner adjacency.
#include <cmath>
#include <string>
#include <vector>

#include "include/vekmesh/script.h"
#include "mesh/corner_adjacency.h"
#include "repair/flaw_detection.h"
#include "repair/mesh_census.h"
#include "repair/shell_intersection.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

namespace {

// "1 open edge", "3 open edges".
std::string counted(uint64_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

// The reasons a model is not printable, in the tool's words and order.
std::vector<std::string> reasons(const vkm_census& c) {
  std::vector<std::string> r;
  if (c.triangles == 0) r.push_back("no faces");
  const auto add = [&](uint64_t n, const char* one, const char* many) {
    if (n) r.push_back(counted(n, one, many));
  };
  add(c.open_edges, "open edge", "open edges");
  add(c.non_manifold_edges, "non-manifold edge", "non-manifold edges");
  add(c.misoriented_edges, "mis-oriented edge", "mis-oriented edges");
  add(c.duplicate_faces, "duplicate face", "duplicate faces");
  add(c.inside_out_shells, "inside-out shell", "inside-out shells");
  add(c.zero_volume_parts, "zero-volume part", "zero-volume parts");
  if (c.intersecting_pairs > 0)
    add(uint64_t(c.intersecting_pairs), "intersecting shell pair", "intersecting shell pairs");
  return r;
}

// Pairs of closed shells of some volume that pass through one another: open
// shells and parts of no volume are flaws of their own, and a soup of lone
// triangles would cost the search much for nothing.
int64_t intersectingPairs(const SubMesh& mesh, const MeshCensus& census) {
  std::vector<uint8_t> taken(census.shell_census.size());
  for (size_t s = 0; s < taken.size(); ++s) {
    const ShellKind kind = census.shell_census[s].kind;
    taken[s] =
        kind == ShellKind::kSolid || kind == ShellKind::kCavity || kind == ShellKind::kInsideOut;
  }
  size_t ends = 0;
  for (const std::vector<int32_t>& others : findIntersectingShells(mesh, {}, &taken).intersecting)
    ends += others.size();
  return static_cast<int64_t>(ends / 2);
}

void bounds(const SubMesh& mesh, vkm_census& c) {
  for (int a = 0; a < 3; ++a) c.lower[a] = INFINITY, c.upper[a] = -INFINITY;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (int corner = 0; corner < 3; ++corner)
      for (int a = 0; a < 3; ++a) {
        const float x = mesh.vertices[f.v[corner]].position[a];
        c.lower[a] = std::fmin(c.lower[a], x);
        c.upper[a] = std::fmax(c.upper[a], x);
      }
  }
  if (c.triangles == 0)
    for (int a = 0; a < 3; ++a) c.lower[a] = c.upper[a] = 0.0f;
}

}  // namespace

extern "C" {

VKM_API void vkm_census_defaults(vkm_census_options* options) {
  if (options) options->find_intersections = 1;
}

VKM_API int32_t vkm_census_take(const vkm_mesh* handle, const vkm_census_options* options,
                                vkm_run* run, vkm_census* out) {
  return runCall(run, [&](const RunContext& context) {
    require(handle && out, "null mesh or out pointer");
    vkm_census_options o;
    vkm_census_defaults(&o);
    if (options) o = *options;
    const SubMesh& mesh = currentMesh(*handle);
    context.report(0.0);
    // The handle's shells are current and came from this adjacency.
    const CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, true);
    const MeshCensus census = takeCensus(mesh, adjacency);
    context.report(0.4);
    vkm_census c{};
    c.triangles = census.faces;
    c.vertices = mesh.vertices.size();
    c.open_edges = census.open_edges;
    c.non_manifold_edges = census.non_manifold_edges;
    c.misoriented_edges = census.misoriented_edges;
    c.repeated_vertex_faces = census.repeated_vertex_faces;
    c.duplicate_faces = census.duplicate_faces;
    c.shells = census.shells;
    c.closed_shells = census.closed_shells;
    for (const ShellCensus& shell : census.shell_census)
      c.solids += shell.kind == ShellKind::kSolid;
    c.cavities = census.cavities;
    c.inside_out_shells = census.inside_out_shells;
    c.zero_volume_parts = census.zero_volume_parts;
    c.volume = census.signed_volume;
    c.area = census.area;
    c.watertight = census.watertight();
    bounds(mesh, c);
    c.intersecting_pairs = o.find_intersections ? intersectingPairs(mesh, census) : -1;
    context.report(0.8);
    const TopologyInspection host = inspectTopology(mesh, adjacency);
    for (int m = 0; m < 3; ++m) c.host_flawed[m] = host.flawed[m];
    for (int k = 0; k < 4; ++k) c.host_counters[k] = host.counters[k];
    const std::vector<std::string> why = reasons(c);
    c.printable = why.empty();
    std::string verdict = why.empty() ? "printable" : "not printable: ";
    for (size_t i = 0; i < why.size(); ++i) verdict += (i ? ", " : "") + why[i];
    verdict.resize(std::min(verdict.size(), sizeof c.verdict - 1));
    std::copy(verdict.begin(), verdict.end(), c.verdict);
    context.report(1.0);
    *out = c;
  });
}

}  // extern "C"
