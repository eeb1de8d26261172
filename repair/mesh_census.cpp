// The census in two steps: one pass over the faces in index order (cache
// friendly, whatever the shells' order) counts edges, repeated-vertex faces,
// volume and area per shell; then the shells are classified, and only closed
// shells of negative volume are looked for inside the solids.
#include "repair/mesh_census.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"
#include "repair/shell_nesting.h"

namespace vekmesh {

const char* shellKindName(ShellKind kind) {
  switch (kind) {
    case ShellKind::kSolid:
      return "solid";
    case ShellKind::kCavity:
      return "cavity";
    case ShellKind::kInsideOut:
      return "inside out";
    case ShellKind::kZeroVolume:
      return "zero volume";
    case ShellKind::kOpen:
      return "open";
  }
  return "open";
}

namespace {

inline double triangleArea(const SubMesh& mesh, const Face& f) {
  const Vec3d u = vertexDifference(mesh.vertices[f.v[0]], mesh.vertices[f.v[1]]);
  const Vec3d w = vertexDifference(mesh.vertices[f.v[0]], mesh.vertices[f.v[2]]);
  return 0.5 * length(cross(u, w));
}

// How the faces without a repeated vertex use the edge of corner c of face f
// (itself one of them), read from the incidence list of the edge's start.
struct EdgeUses {
  uint32_t faces = 1;
  bool same_direction = false;
  bool f_is_lowest = true;  // no other user has a lower index
};

EdgeUses walkEdge(const SubMesh& mesh, const FaceBits& repeated, uint32_t f, uint32_t c) {
  const Face& face = mesh.faces[f];
  const int32_t x = face.v[c];
  const int32_t y = face.v[nextCorner(c)];
  EdgeUses uses;
  for (const CornerRef& r : mesh.incidentCorners[x]) {
    if (r.face == f) continue;
    const Face& g = mesh.faces[r.face];
    if (g.removed || repeated.test(r.face)) continue;
    // A face without a repeated vertex runs the edge at most once, one way.
    if (g.v[prevCorner(r.corner)] == y) {
    } else if (g.v[nextCorner(r.corner)] == y) {
      uses.same_direction = true;
    } else {
      continue;
    }
    ++uses.faces;
    uses.f_is_lowest = uses.f_is_lowest && r.face > f;
  }
  return uses;
}

// How the census counts the edge of a corner: at most one of its faces adds
// it to its shell's counts.
enum class EdgeCount : uint8_t { kNone, kOpen, kNonManifold, kMisoriented };

// The count the edge of corner c of face f (which has no repeated vertex)
// adds, each edge once: an edge of two faces at the lower one, an edge of
// more at the lowest of its faces. Reads only, so the team can ask.
EdgeCount countedEdge(const SubMesh& mesh, const CornerAdjacency& adjacency,
                      const FaceBits& repeated, bool any_repeated, uint32_t f, uint32_t c) {
  const size_t slot = size_t(f) * 3 + c;
  const int32_t across = adjacency.across[slot];
  if (across == CornerAdjacency::kOpen) return EdgeCount::kOpen;
  // One other listing of a face without a repeated vertex is the whole story.
  // Whether the face across comes later follows no pattern when triangles
  // start at any corner: both conditions are taken without a branch.
  if (across >= 0 && !(any_repeated && repeated.test(size_t(across))))
    return (uint32_t(across) > f) & (adjacency.same_direction[slot] != 0) ? EdgeCount::kMisoriented
                                                                          : EdgeCount::kNone;
  const EdgeUses uses = walkEdge(mesh, repeated, f, c);
  if (uses.faces == 1) return EdgeCount::kOpen;
  if (!uses.f_is_lowest) return EdgeCount::kNone;
  if (uses.faces > 2) return EdgeCount::kNonManifold;
  return uses.same_direction ? EdgeCount::kMisoriented : EdgeCount::kNone;
}

// Adds an edge's count to its shell; with `edges`, an open or non-manifold
// edge is listed there as well.
void addEdge(const SubMesh& mesh, uint32_t f, uint32_t c, EdgeCount count, ShellCensus& shell,
             CensusEdges* edges) {
  auto edge = [&]() -> std::array<int32_t, 2> {
    const Face& face = mesh.faces[f];
    return {face.v[c], face.v[nextCorner(c)]};
  };
  switch (count) {
    case EdgeCount::kNone:
      return;
    case EdgeCount::kOpen:
      ++shell.open_edges;
      if (edges) edges->open.push_back(edge());
      return;
    case EdgeCount::kNonManifold:
      ++shell.non_manifold_edges;
      if (edges) edges->non_manifold.push_back(edge());
      return;
    case EdgeCount::kMisoriented:
      ++shell.misoriented_edges;
      return;
  }
}

// Whether live face f (no repeated vertex) is a copy of a lower live face
// without a repeated vertex: the same three vertices in the same cyclic order.
// (Two faces on the same vertices wound against each other are a closed
// double-sided sheet, which the shells judge.) A face alone with its copy on
// all three edges is such a pair; otherwise only a face with an edge of
// several other faces can be one, and the incidence list of its first
// vertex tells.
bool isDuplicate(const SubMesh& mesh, const CornerAdjacency& adjacency, const FaceBits& repeated,
                 uint32_t f) {
  const size_t slot = 3 * size_t(f);
  const int32_t* across = adjacency.across.data() + slot;
  if (across[0] >= 0 && across[0] == across[1] && across[1] == across[2])
    return uint32_t(across[0]) < f && !repeated.test(size_t(across[0])) &&
           adjacency.same_direction[slot] && adjacency.same_direction[slot + 1] &&
           adjacency.same_direction[slot + 2];
  if (across[0] != CornerAdjacency::kSeveral && across[1] != CornerAdjacency::kSeveral &&
      across[2] != CornerAdjacency::kSeveral)
    return false;
  const Face& face = mesh.faces[f];
  for (const CornerRef& r : mesh.incidentCorners[size_t(face.v[0])]) {
    if (r.face >= f) continue;
    const Face& g = mesh.faces[r.face];
    if (g.removed || repeated.test(r.face)) continue;
    if (g.v[nextCorner(r.corner)] == face.v[1] && g.v[prevCorner(r.corner)] == face.v[2])
      return true;
  }
  return false;
}

struct Box {
  std::array<float, 3> lo{INFINITY, INFINITY, INFINITY};
  std::array<float, 3> hi{-INFINITY, -INFINITY, -INFINITY};
  // The first vertex reaching each least and greatest coordinate.
  std::array<int32_t, 6> extremes{-1, -1, -1, -1, -1, -1};

  void add(const std::array<float, 3>& p, int32_t index) {
    for (int a = 0; a < 3; ++a) {
      if (p[a] < lo[a]) lo[a] = p[a], extremes[a] = index;
      if (p[a] > hi[a]) hi[a] = p[a], extremes[3 + a] = index;
    }
  }
  void widen(const Box& other) {
    for (int a = 0; a < 3; ++a) {
      if (other.lo[a] < lo[a]) lo[a] = other.lo[a], extremes[a] = other.extremes[a];
      if (other.hi[a] > hi[a]) hi[a] = other.hi[a], extremes[3 + a] = other.extremes[3 + a];
    }
  }
  bool strictlyHolds(const Box& inner) const {
    for (int a = 0; a < 3; ++a)
      if (!(lo[a] < inner.lo[a] && inner.hi[a] < hi[a])) return false;
    return true;
  }
};

Box shellBox(const SubMesh& mesh, const std::vector<int32_t>& shell) {
  Box box;
  for (const int32_t f : shell)
    for (int c = 0; c < 3; ++c) {
      const int32_t v = mesh.faces[size_t(f)].v[c];
      box.add(mesh.vertices[size_t(v)].position, v);
    }
  return box;
}

// Whether every extreme vertex of `inner` lies inside the shell `outer`; adds
// the faces tested to `work`.
bool liesInside(const SubMesh& mesh, const Box& inner, const std::vector<int32_t>& outer,
                uint64_t& work) {
  for (const int32_t v : inner.extremes) {
    if (v < 0) return false;
    const auto& p = mesh.vertices[size_t(v)].position;
    work += outer.size();
    if (windingNumber(mesh, outer, {double(p[0]), double(p[1]), double(p[2])}) < 1) return false;
  }
  return true;
}

// Cavity or inside out, for every closed shell of negative volume.
void judgeNegativeShells(const SubMesh& mesh, MeshCensus& census) {
  std::vector<size_t> negative, solids;
  for (size_t s = 0; s < census.shell_census.size(); ++s) {
    const ShellKind kind = census.shell_census[s].kind;
    if (kind == ShellKind::kInsideOut) negative.push_back(s);
    if (kind == ShellKind::kSolid) solids.push_back(s);
  }
  if (negative.empty() || solids.empty()) return;
  std::vector<Box> solid_boxes;
  solid_boxes.reserve(solids.size());
  for (const size_t s : solids) solid_boxes.push_back(shellBox(mesh, mesh.shells[s]));
  uint64_t work = 0;
  for (const size_t s : negative) {
    if (work > kMaxNestingWork) {
      census.nesting_complete = false;
      break;
    }
    const Box box = shellBox(mesh, mesh.shells[s]);
    for (size_t i = 0; i < solids.size() && work <= kMaxNestingWork; ++i) {
      ++work;
      if (!solid_boxes[i].strictlyHolds(box)) continue;
      if (liesInside(mesh, box, mesh.shells[solids[i]], work)) {
        census.shell_census[s].kind = ShellKind::kCavity;
        break;
      }
    }
  }
}

ShellKind closedShellKind(const ShellCensus& shell, double diagonal) {
  const double tolerance = kZeroVolumeThickness * shell.area * diagonal;
  if (std::fabs(shell.signed_volume) <= tolerance) return ShellKind::kZeroVolume;
  // A NaN volume is no evidence of being inside out.
  return shell.signed_volume < 0.0 ? ShellKind::kInsideOut : ShellKind::kSolid;
}

}  // namespace

MeshCensus takeCensus(const SubMesh& mesh, const CornerAdjacency& adjacency, CensusEdges* edges) {
  MeshCensus census;
  const size_t face_count = mesh.faces.size();
  census.shells = mesh.shells.size();
  census.shell_census.resize(mesh.shells.size());
  // Shell of every face (-1: removed), so that the pass can run in face order.
  // The usual single shell of every live face needs no map: its breadth-first
  // order would make filling one a million scattered writes.
  const bool one_shell = mesh.shells.size() == 1 && (mesh.shells[0].size() == face_count ||
                                                     mesh.shells[0].size() == liveFaceCount(mesh));
  std::vector<int32_t> shell_of(one_shell ? 0 : face_count, -1);
  if (!one_shell)
    for (size_t s = 0; s < mesh.shells.size(); ++s)
      for (const int32_t f : mesh.shells[s]) shell_of[size_t(f)] = static_cast<int32_t>(s);
  auto shellOf = [&](size_t f) { return one_shell ? 0 : shell_of[f]; };

  // Faces set aside: those with a repeated vertex, and copies of a lower live
  // face. Their edges are left out, so removing one changes no edge count.
  // Both sets are filled by the team.
  FaceBits repeated = faceBitsWhere(
      face_count, [&](size_t f) { return !mesh.faces[f].removed && repeatsVertex(mesh.faces[f]); });
  const FaceBits duplicate = faceBitsWhere(face_count, [&](size_t f) {
    return !mesh.faces[f].removed && !repeated.test(f) &&
           isDuplicate(mesh, adjacency, repeated, uint32_t(f));
  });
  census.duplicate_faces = duplicate.count();
  bool any_repeated = false;
  // From here on, duplicates are set aside with the repeated-vertex faces.
  for (size_t w = 0; w < repeated.wordCount(); ++w) {
    repeated.setWord(w, repeated.word(w) | duplicate.word(w));
    any_repeated = any_repeated || repeated.word(w) != 0;
  }

  // Reading each face's corners and edges is where a shuffled mesh misses
  // the cache, so the team does it; the sums are taken in face order as one
  // thread takes them.
  // The box is kept only for its extents, which come out the same in any
  // order: each thread widens its own, and the records stay small.
  // The sum reads only these records, not the faces.
  enum class FaceKind : uint8_t { kRemoved, kCounted, kRepeatedVertex, kDuplicate };
  struct FaceMeasure {
    double term, area;
    EdgeCount edges[3];
    FaceKind kind;
  };
  struct alignas(64) ThreadBox {
    Box box;
  };
  std::vector<ThreadBox> boxes(static_cast<size_t>(teamSize()));
  const VolumeSum reference(mesh);
  double sixfold_volume = 0.0;
  auto measure = [&](size_t f, FaceMeasure& m) {
    prefetchCornerPositions(mesh, f + kCornerPrefetchAhead);
    const Face& face = mesh.faces[f];
    m.kind = FaceKind::kRemoved;
    if (face.removed) return;
    Box& box = boxes[static_cast<size_t>(threadIndex())].box;
    for (int c = 0; c < 3; ++c) box.add(mesh.vertices[size_t(face.v[c])].position, face.v[c]);
    m.term = reference.sixfoldTerm(mesh, face);
    m.area = triangleArea(mesh, face);
    if (repeated.test(f)) {
      m.kind = duplicate.test(f) ? FaceKind::kDuplicate : FaceKind::kRepeatedVertex;
      return;
    }
    m.kind = FaceKind::kCounted;
    for (uint32_t c = 0; c < 3; ++c)
      m.edges[c] = countedEdge(mesh, adjacency, repeated, any_repeated, uint32_t(f), c);
  };
  // The running totals are locals (the single shell's too), which the
  // compiler keeps in registers; in the census itself every sum would go
  // through memory, as the shells' records might overlap it.
  size_t faces = 0, repeated_vertex_faces = 0;
  double area = 0.0;
  ShellCensus only_shell;
  ShellCensus* shells = one_shell ? &only_shell : census.shell_census.data();
  ShellCensus unshelled;  // faces outside every shell (stale shells)
  auto sum = [&](size_t f, const FaceMeasure& m) {
    if (m.kind == FaceKind::kRemoved) return;
    ++faces;
    sixfold_volume += m.term;
    area += m.area;
    const int32_t shell_index = shellOf(f);
    ShellCensus& shell = shell_index >= 0 ? shells[shell_index] : unshelled;
    // Six times the volume until the pass ends.
    shell.signed_volume += m.term;
    ++shell.faces;
    shell.area += m.area;
    if (m.kind != FaceKind::kCounted) {
      repeated_vertex_faces += m.kind == FaceKind::kRepeatedVertex;
      return;
    }
    for (uint32_t c = 0; c < 3; ++c) addEdge(mesh, uint32_t(f), c, m.edges[c], shell, edges);
  };
  measureThenSumInOrder<FaceMeasure>(face_count, measure, sum);
  if (one_shell) census.shell_census[0] = only_shell;
  census.faces = faces;
  census.area = area;
  census.repeated_vertex_faces = repeated_vertex_faces;
  census.open_edges = unshelled.open_edges;
  census.non_manifold_edges = unshelled.non_manifold_edges;
  census.misoriented_edges = unshelled.misoriented_edges;
  Box box;
  for (const ThreadBox& part : boxes) box.widen(part.box);
  census.signed_volume = sixfold_volume / 6.0;
  if (census.faces > 0) {
    double squared = 0.0;
    for (int a = 0; a < 3; ++a) {
      const double extent = double(box.hi[a]) - double(box.lo[a]);
      squared += extent * extent;
    }
    census.diagonal = std::sqrt(squared);
  }

  for (size_t s = 0; s < census.shell_census.size(); ++s) {
    ShellCensus& shell = census.shell_census[s];
    shell.signed_volume /= 6.0;
    census.open_edges += shell.open_edges;
    census.non_manifold_edges += shell.non_manifold_edges;
    census.misoriented_edges += shell.misoriented_edges;
    if (shell.faces == 1)
      shell.kind = ShellKind::kZeroVolume;
    else if (shell.open_edges > 0)
      shell.kind = ShellKind::kOpen;
    else
      shell.kind = closedShellKind(shell, census.diagonal);
  }
  judgeNegativeShells(mesh, census);
  for (const ShellCensus& shell : census.shell_census) {
    census.closed_shells += shell.open_edges == 0 && shell.faces > 1;
    census.inside_out_shells += shell.kind == ShellKind::kInsideOut;
    census.cavities += shell.kind == ShellKind::kCavity;
    census.zero_volume_parts += shell.kind == ShellKind::kZeroVolume;
  }
  return census;
}

std::vector<std::string> flawsAdded(const MeshCensus& before, const MeshCensus& after) {
  std::vector<std::string> added;
  auto check = [&](size_t b, size_t a, const char* one, const char* many) {
    if (a > b) added.push_back(std::to_string(a - b) + " more " + (a - b == 1 ? one : many));
  };
  check(before.open_edges, after.open_edges, "open edge", "open edges");
  check(before.non_manifold_edges, after.non_manifold_edges, "non-manifold edge",
        "non-manifold edges");
  check(before.misoriented_edges, after.misoriented_edges, "mis-oriented edge",
        "mis-oriented edges");
  check(before.repeated_vertex_faces, after.repeated_vertex_faces, "repeated-vertex face",
        "repeated-vertex faces");
  check(before.duplicate_faces, after.duplicate_faces, "duplicate face", "duplicate faces");
  check(before.inside_out_shells, after.inside_out_shells, "inside-out shell", "inside-out shells");
  return added;
}

}  // namespace vekmesh
