// Building the remeshing patch: selected faces become patch faces, edges pair
// up by sorted vertex keys, each vertex's fans are counted (a vertex with two
// or more is split into fixed copies, one per fan, so that the patch is a
// manifold with boundary), then sharp edges are found (remesh/feature_edges.h)
// and every vertex gets its role. Writing back maps the copies to their
// vertex again.
#include "remesh/selection_patch.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "geometry/vectors.h"
#include "remesh/feature_edges.h"

namespace vekmesh::remeshing {
namespace {

bool selectable(const SubMesh& mesh, const Face& f) {
  if (f.removed) return false;
  const size_t nv = mesh.vertices.size();
  for (int c = 0; c < 3; ++c) {
    if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= nv) return false;
    for (float x : mesh.vertices[static_cast<size_t>(f.v[c])].position)
      if (!std::isfinite(x)) return false;
  }
  return f.v[0] != f.v[1] && f.v[1] != f.v[2] && f.v[2] != f.v[0];
}

// Does a live face outside the selection use the edge (a, b) of the mesh?
bool sharedOutside(const SubMesh& mesh, const std::vector<uint8_t>& selected, uint32_t a,
                   uint32_t b) {
  if (a >= mesh.incidentCorners.vertexCount()) return true;  // unknown: assume it is
  for (const CornerRef r : mesh.incidentCorners[a]) {
    if (r.face >= mesh.faces.size() || selected[r.face]) continue;
    const Face& f = mesh.faces[r.face];
    if (f.removed) continue;
    if (f.v[0] == int32_t(b) || f.v[1] == int32_t(b) || f.v[2] == int32_t(b)) return true;
  }
  return false;
}

// Pairs the half-edges of each undirected edge: two running opposite ways
// become twins; every other edge is a constrained boundary, locked when
// splitting or collapsing it would open a crack or a T-junction (shared with
// faces outside the patch, three or more faces, or two running the same way).
void pairEdges(const SubMesh& mesh, const std::vector<uint8_t>& selected,
               const std::vector<uint8_t>& border, PatchMesh& p) {
  const size_t nh = p.origin.size();
  std::vector<std::pair<uint64_t, uint32_t>> keys(nh);
  for (uint32_t h = 0; h < nh; ++h) {
    const uint64_t a = p.origin[h], b = p.target(h);
    keys[h] = {std::min(a, b) << 32 | std::max(a, b), h};
  }
  std::sort(keys.begin(), keys.end());
  for (size_t i = 0; i < nh;) {
    size_t j = i + 1;
    while (j < nh && keys[j].first == keys[i].first) ++j;
    const uint32_t h0 = keys[i].second;
    const uint32_t a = p.source[p.origin[h0]], b = p.source[p.target(h0)];
    const bool outside = border[a] && border[b] && sharedOutside(mesh, selected, a, b);
    const size_t n = j - i;
    if (n == 2 && !outside && p.origin[h0] == p.target(keys[i + 1].second)) {
      p.twin[h0] = keys[i + 1].second;
      p.twin[keys[i + 1].second] = h0;
    } else {
      const uint8_t flags = kConstrained | (n == 1 && !outside ? 0 : kLocked);
      for (size_t k = i; k < j; ++k) p.flags[keys[k].second] = flags;
    }
    i = j;
  }
}

// Gives every fan of a vertex after its first a fixed copy of the vertex.
void splitFans(PatchMesh& p) {
  const size_t nh = p.origin.size();
  std::vector<uint8_t> visited(nh, 0), seen(p.vertexCount(), 0);
  std::vector<uint32_t> fan;
  for (uint32_t h = 0; h < nh; ++h) {
    if (visited[h]) continue;
    fan.clear();
    for (uint32_t e = h; e != kNoHalfedge && !visited[e]; e = p.twin[PatchMesh::prev(e)]) {
      visited[e] = 1;
      fan.push_back(e);
    }
    for (uint32_t e = h; p.twin[e] != kNoHalfedge;) {
      e = PatchMesh::next(p.twin[e]);
      if (visited[e]) break;
      visited[e] = 1;
      fan.push_back(e);
    }
    const uint32_t v = p.origin[h];
    if (!seen[v]) {
      seen[v] = 1;
      p.out[v] = h;
      continue;
    }
    p.role[v] = kFixed;
    const uint32_t copy = p.addVertex(p.position[v], kFixed, p.source[v]);
    for (uint32_t e : fan) p.origin[e] = copy;
    p.out[copy] = h;
    seen.push_back(1);
  }
}

}  // namespace

std::vector<uint32_t> selectFaces(const SubMesh& mesh, const int32_t* indices, uint32_t count) {
  const size_t nf = mesh.faces.size();
  std::vector<uint8_t> chosen(nf, 0);
  size_t n = 0;
  for (uint32_t i = 0; indices && i < count; ++i) {
    const int32_t f = indices[i];
    if (f < 0 || static_cast<size_t>(f) >= nf || chosen[size_t(f)]) continue;
    if (!selectable(mesh, mesh.faces[size_t(f)])) continue;
    chosen[size_t(f)] = 1;
    ++n;
  }
  std::vector<uint32_t> faces;
  for (size_t f = 0; f < nf; ++f)
    if (n ? chosen[f] != 0 : selectable(mesh, mesh.faces[f])) faces.push_back(uint32_t(f));
  return faces;
}

void buildPatch(const SubMesh& mesh, std::vector<uint32_t> faces, SelectionPatch& out) {
  out = SelectionPatch{};
  out.faces = std::move(faces);
  PatchMesh& p = out.patch;
  const size_t nv = mesh.vertices.size();
  std::vector<uint8_t> selected(mesh.faces.size(), 0), border(nv, 0);
  for (uint32_t f : out.faces) selected[f] = 1;
  for (size_t f = 0; f < mesh.faces.size(); ++f) {
    const Face& face = mesh.faces[f];
    if (selected[f] || face.removed) continue;
    for (int c = 0; c < 3; ++c)
      if (face.v[c] >= 0 && static_cast<size_t>(face.v[c]) < nv) border[size_t(face.v[c])] = 1;
  }

  std::vector<uint32_t> local(nv, kNoVertex);
  out.reference.reserve(3 * out.faces.size());
  p.origin.reserve(3 * out.faces.size() + out.faces.size() / 2);
  for (uint32_t i = 0; i < out.faces.size(); ++i) {
    const Face& face = mesh.faces[out.faces[i]];
    uint32_t corner[3];
    for (int c = 0; c < 3; ++c) {
      const uint32_t v = static_cast<uint32_t>(face.v[c]);
      const auto& x = mesh.vertices[v].position;
      const Vec3d position{x[0], x[1], x[2]};
      if (local[v] == kNoVertex) local[v] = p.addVertex(position, kFree, v);
      corner[c] = local[v];
      out.reference.push_back(position);
    }
    p.addFace(corner[0], corner[1], corner[2], i);
    for (uint32_t v : corner) p.hint[v] = i;
  }
  pairEdges(mesh, selected, border, p);
  splitFans(p);
  markSharpEdges(p, kFeatureAngleDegrees);

  const size_t nh = p.origin.size();
  const double feature_cosine = std::cos(kFeatureAngleDegrees * kPi / 180.0);
  std::vector<uint8_t> constrained_edges(p.vertexCount(), 0);
  std::vector<uint32_t> line_neighbour(2 * p.vertexCount(), kNoVertex);
  double sum = 0.0;
  size_t edges = 0;
  for (uint32_t h = 0; h < nh; ++h) {
    const uint32_t t = p.twin[h];
    if (t == kNoHalfedge) p.on_boundary[p.origin[h]] = p.on_boundary[p.target(h)] = 1;
    if (t != kNoHalfedge && t < h) continue;
    const uint32_t a = p.origin[h], b = p.target(h);
    sum += length(sub(p.position[a], p.position[b]));
    ++edges;
    if (p.flags[h] & kLocked) p.role[a] = p.role[b] = kFixed;
    if (p.flags[h] & kConstrained) {
      for (uint32_t e : {a, b}) {
        if (constrained_edges[e] < 2) line_neighbour[2 * e + constrained_edges[e]] = a ^ b ^ e;
        constrained_edges[e] = uint8_t(std::min(constrained_edges[e] + 1, 3));
      }
    }
  }
  out.mean_edge = edges ? sum / double(edges) : 0.0;
  // A line that bends by more than the feature angle at v has a corner
  // there, which must stay (a boundary loop would lose its shape).
  auto turns = [&](uint32_t v) {
    const Vec3d in = sub(p.position[v], p.position[line_neighbour[2 * v]]);
    const Vec3d onward = sub(p.position[line_neighbour[2 * v + 1]], p.position[v]);
    return !(dot(in, onward) > feature_cosine * length(in) * length(onward));
  };
  std::vector<uint32_t> ring;
  std::vector<uint32_t> counted(p.vertexCount(), kNoVertex);
  for (uint32_t v = 0; v < p.vertexCount(); ++v) {
    // Distinct neighbours: a fan cut open along one edge (a non-manifold or
    // mis-oriented one) meets the same neighbour at both ends.
    p.outgoing(v, ring);
    for (uint32_t e : ring)
      for (uint32_t n : {p.target(e), p.origin[PatchMesh::prev(e)]})
        if (counted[n] != v) counted[n] = v, ++p.valence[v];
    // The border to the rest of the model stays as it is; a vertex on one
    // feature line may only lose its place to a neighbour on the line; ends
    // and crossings of feature lines stay.
    if (p.source[v] != kNoVertex && border[p.source[v]]) p.role[v] = kFixed;
    if (p.role[v] == kFree && constrained_edges[v] != 0)
      p.role[v] = constrained_edges[v] == 2 && !turns(v) ? kFeature : kFixed;
  }
}

void writeBack(SubMesh& mesh, const SelectionPatch& selection) {
  const PatchMesh& p = selection.patch;
  for (uint32_t f : selection.faces) mesh.faces[f].removed = 1;
  std::vector<int32_t> index(p.vertexCount(), -1);
  for (uint32_t v = 0; v < p.vertexCount(); ++v) {
    if (p.out[v] == kNoHalfedge) continue;
    const std::array<float, 3> x{static_cast<float>(p.position[v][0]),
                                 static_cast<float>(p.position[v][1]),
                                 static_cast<float>(p.position[v][2])};
    if (p.source[v] != kNoVertex) {
      index[v] = static_cast<int32_t>(p.source[v]);
      if (p.role[v] != kFixed) mesh.vertices[p.source[v]].position = x;
    } else {
      index[v] = static_cast<int32_t>(mesh.vertices.size());
      mesh.vertices.push_back({x, index[v]});
    }
  }
  mesh.faces.reserve(mesh.faces.size() + p.liveFaceCount());
  for (uint32_t f = 0; f < p.faceCount(); ++f) {
    if (p.face_dead[f]) continue;
    Face face = mesh.faces[selection.faces[p.face_source[f]]];
    face.removed = 0;
    for (int c = 0; c < 3; ++c) {
      face.v[c] = index[p.origin[3 * f + uint32_t(c)]];
      face.uv[c] = kNoTexCoord;
      for (int k = 0; k < 3; ++k) face.colors[c][k] = face.colors[0][k];
    }
    mesh.faces.push_back(face);
  }
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
}

}  // namespace vekmesh::remeshing
