// Model inspection for `vekmesh info` and the before/after lines of `repair`,
// with plain-text and JSON renderings.
#include "cli/model_report.h"

#include <cmath>
#include <cstdio>

#include "mesh/mesh_utils.h"
#include "repair/flaw_detection.h"

namespace vekmesh::cli {
namespace {

double triangleArea(const SubMesh& mesh, const Face& f) {
  const Vec3d u = vertexDifference(mesh.vertices[f.v[0]], mesh.vertices[f.v[1]]);
  const Vec3d w = vertexDifference(mesh.vertices[f.v[0]], mesh.vertices[f.v[2]]);
  const double cx = u[1] * w[2] - u[2] * w[1];
  const double cy = u[2] * w[0] - u[0] * w[2];
  const double cz = u[0] * w[1] - u[1] * w[0];
  return 0.5 * std::sqrt(cx * cx + cy * cy + cz * cz);
}

std::string format(const char* fmt, double a, double b, double c) {
  char buffer[160];
  std::snprintf(buffer, sizeof buffer, fmt, a, b, c);
  return buffer;
}

std::string format(const char* fmt, double a) {
  char buffer[160];
  std::snprintf(buffer, sizeof buffer, fmt, a);
  return buffer;
}

const char* verdict(bool flawed) {
  return flawed ? "flawed" : "ok";
}

}  // namespace

ModelReport inspectModel(const TriMesh& mesh, const CornerAdjacency& adjacency,
                         const RunContext& run) {
  ModelReport r;
  r.vertices = mesh.vertices.size();
  r.shells = mesh.shells.size();
  r.lower = {INFINITY, INFINITY, INFINITY};
  r.upper = {-INFINITY, -INFINITY, -INFINITY};
  // Counts, area, bounds and volume in one pass over the faces.
  VolumeSum volume(mesh);
  for (size_t i = 0; i < mesh.faces.size(); ++i) {
    prefetchCornerPositions(mesh, i + kCornerPrefetchAhead);
    const Face& f = mesh.faces[i];
    if (f.removed) continue;
    ++r.triangles;
    r.area += triangleArea(mesh, f);
    volume.add(mesh, f);
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a) {
        // Most corners move neither bound; fmin and fmax (library calls) run
        // only when one might, so that zeros of either sign and NaN still
        // come out as they always have.
        const float x = mesh.vertices[f.v[c]].position[a];
        if (!(x > r.lower[a])) r.lower[a] = std::fmin(r.lower[a], x);
        if (!(x < r.upper[a])) r.upper[a] = std::fmax(r.upper[a], x);
      }
  }
  if (r.triangles == 0) r.lower = r.upper = {0.0f, 0.0f, 0.0f};
  r.volume = volume.volume();
  // Post-detection would turn inside-out shells outwards; only its counts are
  // wanted here, so nothing is turned.
  const TopologyInspection topology = inspectTopology(mesh, adjacency, run);
  r.flawed = topology.flawed;
  r.counters = topology.counters;
  return r;
}

std::string reportText(const ModelReport& r, const std::string& indent) {
  std::string s;
  s += indent + "triangles      : " + std::to_string(r.triangles) + "\n";
  s += indent + "vertices       : " + std::to_string(r.vertices) + "\n";
  s += indent + "shells         : " + std::to_string(r.shells) + "\n";
  s += indent + format("bounds min     : %.4f %.4f %.4f\n", r.lower[0], r.lower[1], r.lower[2]);
  s += indent + format("bounds max     : %.4f %.4f %.4f\n", r.upper[0], r.upper[1], r.upper[2]);
  s += indent + format("volume         : %.4f\n", r.volume);
  s += indent + format("area           : %.4f\n", r.area);
  s += indent + "flaw test      : strict " + verdict(r.flawed[0]) + ", orientation ignored " +
       verdict(r.flawed[1]) + ", lenient " + verdict(r.flawed[2]) + "\n";
  s += indent + "repeated-vertex faces: " + std::to_string(r.counters[0]) +
       ", open edges: " + std::to_string(r.counters[1]) +
       ", non-manifold edges: " + std::to_string(r.counters[2]) +
       ", faces of inside-out shells: " + std::to_string(r.counters[3]) + "\n";
  return s;
}

std::string reportJson(const ModelReport& r) {
  auto b = [](bool v) { return v ? "true" : "false"; };
  char buffer[1024];
  std::snprintf(buffer, sizeof buffer,
                "{\"triangles\": %zu, \"vertices\": %zu, \"shells\": %zu, "
                "\"bounds\": {\"min\": [%.9g, %.9g, %.9g], \"max\": [%.9g, %.9g, %.9g]}, "
                "\"volume\": %.17g, \"area\": %.17g, "
                "\"flawed\": {\"strict\": %s, \"orientation_ignored\": %s, \"lenient\": %s}, "
                "\"counters\": {\"repeated_vertex_faces\": %d, \"open_edges\": %d, "
                "\"non_manifold_edges\": %d, \"inside_out_shell_faces\": %d}}",
                r.triangles, r.vertices, r.shells, r.lower[0], r.lower[1], r.lower[2], r.upper[0],
                r.upper[1], r.upper[2], r.volume, r.area, b(r.flawed[0]), b(r.flawed[1]),
                b(r.flawed[2]), r.counters[0], r.counters[1], r.counters[2], r.counters[3]);
  return buffer;
}

}  // namespace vekmesh::cli
