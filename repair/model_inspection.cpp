// The inspection behind the tool's reports and the scripting census: one
// pass for counts and bounds, the census, the shell intersection search and
// the host's flaw test, all from the adjacency the shells came from.
#include "repair/model_inspection.h"

#include <cmath>

#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "mesh/used_vertices.h"
#include "repair/flaw_detection.h"
#include "repair/shell_intersection.h"

namespace vekmesh {
namespace {

// Most values move neither bound, and many equal one (a corner of the
// faces just read): fmin and fmax (library calls) run only for zeros, so
// that zeros of either sign still come out as they always have; a NaN moves
// neither.
void widenLower(float& lower, float x) {
  if (x < lower)
    lower = x;
  else if (x == 0.0f && lower == 0.0f)
    lower = std::fmin(lower, x);
}
void widenUpper(float& upper, float x) {
  if (x > upper)
    upper = x;
  else if (x == 0.0f && upper == 0.0f)
    upper = std::fmax(upper, x);
}

struct Bounds {
  size_t triangles = 0;
  std::array<float, 3> lower{INFINITY, INFINITY, INFINITY};
  std::array<float, 3> upper{-INFINITY, -INFINITY, -INFINITY};
};

// Live faces of [first, end) and the bounds of their corners.
Bounds liveBounds(const TriMesh& mesh, size_t first, size_t end) {
  Bounds b;
  for (size_t i = first; i < end; ++i) {
    if (i + kCornerPrefetchAhead < end) prefetchCornerPositions(mesh, i + kCornerPrefetchAhead);
    const Face& f = mesh.faces[i];
    if (f.removed) continue;
    ++b.triangles;
    for (int c = 0; c < 3; ++c)
      for (int a = 0; a < 3; ++a) {
        const float x = mesh.vertices[f.v[c]].position[a];
        widenLower(b.lower[a], x);
        widenUpper(b.upper[a], x);
      }
  }
  return b;
}

// Zeros seen per axis, by sign: when a bound ends at zero and both signs
// occur, which one it keeps depends on the order the corners come in.
struct ZeroSigns {
  std::array<bool, 3> positive{};
  std::array<bool, 3> negative{};
};

// The bounds of the marked vertices of [first, end).
Bounds usedVertexBounds(const TriMesh& mesh, const VertexMarksByThread& used, size_t first,
                        size_t end, ZeroSigns& zeros) {
  Bounds b;
  for (size_t v = first; v < end; ++v) {
    if (!used.marked(v)) continue;
    for (int a = 0; a < 3; ++a) {
      const float x = mesh.vertices[v].position[a];
      widenLower(b.lower[a], x);
      widenUpper(b.upper[a], x);
      if (x == 0.0f) (std::signbit(x) ? zeros.negative : zeros.positive)[size_t(a)] = true;
    }
  }
  return b;
}

// Bounds and live faces of the whole mesh from parts made on the team and
// merged in order.
template <class PartBounds>
Bounds mergedBounds(int parts, PartBounds&& part) {
  std::vector<Bounds> bounds(static_cast<size_t>(parts));
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1)
  for (int t = 0; t < parts; ++t) bounds[size_t(t)] = part(t);
  Bounds r;
  for (const Bounds& b : bounds) {
    r.triangles += b.triangles;
    for (int a = 0; a < 3; ++a) {
      widenLower(r.lower[a], b.lower[a]);
      widenUpper(r.upper[a], b.upper[a]);
    }
  }
  return r;
}

// The bounds of every live face's corners. Read face by face, a mesh whose
// faces come in no spatial order touches its vertices at random; instead the
// used vertices are marked and their positions read in order. The extremes
// are the same values either way; only a bound of zero with zeros of both
// signs among the corners could come out with another sign, and then the
// corners are read face by face after all.
Bounds liveFaceBounds(const TriMesh& mesh) {
  const size_t face_count = mesh.faces.size();
  const size_t vertex_count = mesh.vertices.size();
  size_t live = 0;
  const VertexMarksByThread used = usedVertexMarks(mesh, &live);
  const int vertex_parts = loopParts(int64_t(vertex_count));
  std::vector<ZeroSigns> zeros(static_cast<size_t>(vertex_parts));
  Bounds b = mergedBounds(vertex_parts, [&](int t) {
    return usedVertexBounds(mesh, used, partStart(vertex_count, t, vertex_parts),
                            partStart(vertex_count, t + 1, vertex_parts), zeros[size_t(t)]);
  });
  b.triangles = live;
  bool both_zeros = false;
  for (int a = 0; a < 3; ++a) {
    bool positive = false, negative = false;
    for (const ZeroSigns& z : zeros) {
      positive = positive || z.positive[size_t(a)];
      negative = negative || z.negative[size_t(a)];
    }
    const bool at_zero = b.lower[a] == 0.0f || b.upper[a] == 0.0f;
    both_zeros = both_zeros || (at_zero && positive && negative);
  }
  if (!both_zeros) return b;
  const int face_parts = loopParts(int64_t(face_count));
  return mergedBounds(face_parts, [&](int t) {
    return liveBounds(mesh, partStart(face_count, t, face_parts),
                      partStart(face_count, t + 1, face_parts));
  });
}

}  // namespace

std::string counted(size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

bool ModelInspection::printable() const {
  return reasons().empty();
}

std::vector<std::string> ModelInspection::reasons() const {
  std::vector<std::string> r;
  const MeshCensus& c = census;
  if (c.faces == 0) r.push_back("no faces");
  if (c.open_edges) r.push_back(counted(c.open_edges, "open edge", "open edges"));
  if (c.non_manifold_edges)
    r.push_back(counted(c.non_manifold_edges, "non-manifold edge", "non-manifold edges"));
  if (c.misoriented_edges)
    r.push_back(counted(c.misoriented_edges, "mis-oriented edge", "mis-oriented edges"));
  if (c.duplicate_faces)
    r.push_back(counted(c.duplicate_faces, "duplicate face", "duplicate faces"));
  if (c.inside_out_shells)
    r.push_back(counted(c.inside_out_shells, "inside-out shell", "inside-out shells"));
  if (c.zero_volume_parts)
    r.push_back(counted(c.zero_volume_parts, "zero-volume part", "zero-volume parts"));
  if (intersecting_pairs > 0)
    r.push_back(
        counted(size_t(intersecting_pairs), "intersecting shell pair", "intersecting shell pairs"));
  return r;
}

ModelInspection inspectModel(const TriMesh& mesh, const CornerAdjacency& adjacency,
                             bool find_intersections, const RunContext& run, CensusEdges* edges) {
  ModelInspection r;
  r.vertices = mesh.vertices.size();
  const Bounds bounds = liveFaceBounds(mesh);
  r.triangles = bounds.triangles;
  r.lower = bounds.lower;
  r.upper = bounds.upper;
  if (r.triangles == 0) r.lower = r.upper = {0.0f, 0.0f, 0.0f};
  r.census = takeCensus(mesh, adjacency, edges);
  for (const ShellCensus& shell : r.census.shell_census)
    r.solids += shell.kind == ShellKind::kSolid;
  if (find_intersections) {
    // Among closed shells that enclose something: an open shell or a part of
    // no volume is a flaw of its own, and a soup of thousands of lone
    // triangles would cost the search much time and memory for nothing.
    std::vector<uint8_t> taken(r.census.shell_census.size());
    for (size_t s = 0; s < taken.size(); ++s) {
      const ShellKind kind = r.census.shell_census[s].kind;
      taken[s] =
          kind == ShellKind::kSolid || kind == ShellKind::kCavity || kind == ShellKind::kInsideOut;
    }
    size_t ends = 0;
    for (const std::vector<int32_t>& others : findIntersectingShells(mesh, {}, &taken).intersecting)
      ends += others.size();
    r.intersecting_pairs = static_cast<int64_t>(ends / 2);
  }
  // Post-detection would turn inside-out shells outwards; only its counts are
  // wanted here, so nothing is turned.
  const TopologyInspection topology = inspectTopology(mesh, adjacency, run);
  r.flawed = topology.flawed;
  r.counters = topology.counters;
  return r;
}

}  // namespace vekmesh
