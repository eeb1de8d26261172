// The census of the scripting API: the tool's inspection (the exact flaw
// counts, the printable verdict with its reasons, intersecting shell pairs,
// the host flaw test with its counters) from one corner adjacency.
#include <algorithm>
#include <string>
#include <vector>

#include "include/vekmesh/script.h"
#include "mesh/corner_adjacency.h"
#include "repair/model_inspection.h"
#include "script/script_frame.h"

using namespace vekmesh;
using namespace vekmesh::script;

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
    const TriMesh& mesh = currentMesh(*handle);
    context.report(0.0);
    // The handle's shells are current and came from this adjacency.
    const CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, true);
    context.report(0.3);
    const ModelInspection r = inspectModel(mesh, adjacency, o.find_intersections != 0);
    const MeshCensus& census = r.census;
    vkm_census c{};
    c.triangles = r.triangles;
    c.vertices = r.vertices;
    c.open_edges = census.open_edges;
    c.non_manifold_edges = census.non_manifold_edges;
    c.misoriented_edges = census.misoriented_edges;
    c.repeated_vertex_faces = census.repeated_vertex_faces;
    c.duplicate_faces = census.duplicate_faces;
    c.shells = census.shells;
    c.closed_shells = census.closed_shells;
    c.solids = r.solids;
    c.cavities = census.cavities;
    c.inside_out_shells = census.inside_out_shells;
    c.zero_volume_parts = census.zero_volume_parts;
    c.volume = census.signed_volume;
    c.area = census.area;
    c.watertight = census.watertight();
    for (int a = 0; a < 3; ++a) c.lower[a] = r.lower[a], c.upper[a] = r.upper[a];
    c.intersecting_pairs = r.intersecting_pairs;
    for (int m = 0; m < 3; ++m) c.host_flawed[m] = r.flawed[m];
    for (int k = 0; k < 4; ++k) c.host_counters[k] = r.counters[k];
    const std::vector<std::string> why = r.reasons();
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
