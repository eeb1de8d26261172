// The half-edge operations of the remeshing patch. Each rewrites the corner
// table in place (faces keep their numbers, new faces are appended) and mends
// the twins, the outgoing half-edges and the valences it touches, so that no
// pass ever has to rebuild the connectivity.
#include "remesh/patch_mesh.h"

namespace vekmesh::remeshing {

size_t PatchMesh::liveFaceCount() const {
  size_t n = 0;
  for (uint8_t dead : face_dead) n += dead == 0;
  return n;
}

uint32_t PatchMesh::addVertex(const Vec3d& p, uint8_t vertex_role, uint32_t source_vertex) {
  position.push_back(p);
  out.push_back(kNoHalfedge);
  valence.push_back(0);
  role.push_back(vertex_role);
  on_boundary.push_back(0);
  hint.push_back(0);
  source.push_back(source_vertex);
  return static_cast<uint32_t>(position.size() - 1);
}

uint32_t PatchMesh::addFace(uint32_t a, uint32_t b, uint32_t c, uint32_t source_face) {
  if (!free_faces_.empty()) {
    const uint32_t f = free_faces_.back();
    free_faces_.pop_back();
    const uint32_t corners[3] = {a, b, c};
    for (uint32_t i = 0; i < 3; ++i) {
      origin[3 * f + i] = corners[i];
      twin[3 * f + i] = kNoHalfedge;
      flags[3 * f + i] = 0;
    }
    face_source[f] = source_face;
    face_dead[f] = 0;
    return f;
  }
  for (uint32_t v : {a, b, c}) {
    origin.push_back(v);
    twin.push_back(kNoHalfedge);
    flags.push_back(0);
  }
  face_source.push_back(source_face);
  face_dead.push_back(0);
  return static_cast<uint32_t>(face_dead.size() - 1);
}

bool PatchMesh::outgoing(uint32_t v, std::vector<uint32_t>& ring, size_t limit) const {
  ring.clear();
  const uint32_t start = out[v];
  if (start == kNoHalfedge) return true;
  // Forward: the previous half-edge of a face ends at v; its twin leaves v in
  // the next face around.
  uint32_t h = start;
  for (;;) {
    ring.push_back(h);
    if (ring.size() > limit) return false;
    const uint32_t t = twin[prev(h)];
    if (t == start) return true;
    if (t == kNoHalfedge) break;
    h = t;
  }
  // A boundary fan: the faces on the other side of the start.
  for (h = start; twin[h] != kNoHalfedge;) {
    h = next(twin[h]);
    ring.push_back(h);
    if (ring.size() > limit) return false;
  }
  return true;
}

Vec3d PatchMesh::faceNormal(uint32_t h, uint32_t moved, const Vec3d& p) const {
  const uint32_t f = 3 * (h / 3);
  const Vec3d& a = origin[f] == moved ? p : position[origin[f]];
  const Vec3d& b = origin[f + 1] == moved ? p : position[origin[f + 1]];
  const Vec3d& c = origin[f + 2] == moved ? p : position[origin[f + 2]];
  return cross(sub(b, a), sub(c, a));
}

uint32_t PatchMesh::splitEdge(uint32_t h, const Vec3d& p, uint8_t new_role) {
  // Face f = (a, b, c) becomes (a, m, c) and a new face (m, b, c); across the
  // edge, g = (b, a, d) becomes (m, a, d) and a new face (b, m, d).
  const uint32_t a = origin[h], b = target(h);
  const uint32_t h1 = next(h), h2 = prev(h);
  const uint32_t c = origin[h2];
  const uint32_t t = twin[h];
  const uint8_t edge_flags = flags[h];
  const uint8_t h1_flags = flags[h1];
  const uint32_t h1_twin = twin[h1];

  const uint32_t m = addVertex(p, new_role, kNoVertex);
  hint[m] = hint[a];
  on_boundary[m] = t == kNoHalfedge;
  const uint32_t big_f = 3 * addFace(m, b, c, face_source[h / 3]);
  origin[h1] = m;
  link(big_f + 1, h1_twin);
  flags[big_f + 1] = h1_flags;
  link(h1, big_f + 2);
  flags[h1] = 0;
  flags[big_f] = edge_flags;
  if (out[b] == h1) out[b] = big_f + 1;
  out[m] = h1;
  valence[m] = 3;
  ++valence[c];

  if (t != kNoHalfedge) {
    const uint32_t t2 = prev(t);
    const uint32_t d = origin[t2];
    const uint8_t t2_flags = flags[t2];
    const uint32_t t2_twin = twin[t2];
    const uint32_t big_g = 3 * addFace(b, m, d, face_source[t / 3]);
    origin[t] = m;
    link(t, h);
    link(big_g, big_f);
    flags[big_g] = edge_flags;
    link(t2, big_g + 1);
    flags[t2] = 0;
    link(big_g + 2, t2_twin);
    flags[big_g + 2] = t2_flags;
    if (out[b] == t) out[b] = big_g;
    ++valence[m];
    ++valence[d];
  }
  return m;
}

void PatchMesh::collapseEdge(uint32_t h, uint32_t removed, const Vec3d& p) {
  const uint32_t keep = origin[h] == removed ? target(h) : origin[h];
  std::vector<uint32_t>& ring_removed = scratch_[0];
  std::vector<uint32_t>& ring_keep = scratch_[1];
  outgoing(removed, ring_removed);
  outgoing(keep, ring_keep);
  const uint32_t edge[2] = {h, twin[h]};
  int faces = 0;
  for (uint32_t e : edge) {
    if (e == kNoHalfedge) continue;
    ++faces;
    face_dead[e / 3] = 1;
    free_faces_.push_back(e / 3);
    // The opposite vertex leaves through another face: the twin of the
    // half-edge ending at it, or the one after the twin of the one leaving it.
    const uint32_t n = next(e), q = prev(e);
    const uint32_t o = origin[q];
    if (out[o] / 3 == e / 3)
      out[o] =
          twin[n] != kNoHalfedge ? twin[n] : (twin[q] != kNoHalfedge ? next(twin[q]) : kNoHalfedge);
    --valence[o];
  }
  for (uint32_t e : edge) {
    if (e == kNoHalfedge) continue;
    // The two other sides of the dead face become one edge.
    const uint32_t n = next(e), q = prev(e);
    const uint32_t tn = twin[n], tq = twin[q];
    const uint8_t merged = flags[n] | flags[q];
    link(tn, tq);  // a missing side leaves the other a boundary
    if (tn != kNoHalfedge) flags[tn] = merged;
    if (tq != kNoHalfedge) flags[tq] = merged;
  }
  for (uint32_t e : ring_removed)
    if (!face_dead[e / 3]) origin[e] = keep;
  if (face_dead[out[keep] / 3]) {
    out[keep] = kNoHalfedge;
    for (const std::vector<uint32_t>* ring : {&ring_keep, &ring_removed})
      for (uint32_t e : *ring)
        if (out[keep] == kNoHalfedge && !face_dead[e / 3]) out[keep] = e;
  }
  valence[keep] = valence[keep] + valence[removed] - 2 - static_cast<uint32_t>(faces);
  position[keep] = p;
  on_boundary[keep] |= on_boundary[removed];
  out[removed] = kNoHalfedge;
  valence[removed] = 0;
}

void PatchMesh::flipEdge(uint32_t h) {
  // Faces (a, b, c) and (b, a, d) become (d, c, a) and (c, d, b): each
  // half-edge takes over the side of the quad it now runs along.
  const uint32_t t = twin[h];
  const uint32_t h1 = next(h), h2 = prev(h), t1 = next(t), t2 = prev(t);
  const uint32_t a = origin[h], b = origin[h1], c = origin[h2], d = origin[t2];
  const uint32_t tw_h1 = twin[h1], tw_h2 = twin[h2], tw_t1 = twin[t1], tw_t2 = twin[t2];
  const uint8_t fl_h1 = flags[h1], fl_h2 = flags[h2], fl_t1 = flags[t1], fl_t2 = flags[t2];
  origin[h] = d, origin[h1] = c, origin[h2] = a;
  origin[t] = c, origin[t1] = d, origin[t2] = b;
  link(h1, tw_h2), flags[h1] = fl_h2;
  link(h2, tw_t1), flags[h2] = fl_t1;
  link(t1, tw_t2), flags[t1] = fl_t2;
  link(t2, tw_h1), flags[t2] = fl_h1;
  out[a] = h2, out[b] = t2, out[c] = h1, out[d] = t1;
  --valence[a], --valence[b], ++valence[c], ++valence[d];
}

std::string PatchMesh::inconsistency() const {
  for (uint32_t h = 0; h < origin.size(); ++h) {
    if (face_dead[h / 3]) continue;
    const uint32_t t = twin[h];
    if (t == kNoHalfedge) continue;
    if (t >= origin.size() || face_dead[t / 3] || twin[t] != h)
      return "half-edge " + std::to_string(h) + ": twin does not point back";
    if (origin[t] != target(h) || target(t) != origin[h])
      return "half-edge " + std::to_string(h) + ": twin does not run the other way";
  }
  std::vector<uint32_t> ring;
  std::vector<uint32_t> seen(vertexCount(), 0);
  for (uint32_t v = 0; v < vertexCount(); ++v) {
    if (out[v] == kNoHalfedge) continue;
    if (face_dead[out[v] / 3] || origin[out[v]] != v)
      return "vertex " + std::to_string(v) + ": outgoing half-edge does not leave it";
    outgoing(v, ring);
    uint32_t neighbours = 0;
    for (uint32_t e : ring)
      for (uint32_t n : {target(e), origin[prev(e)]})
        if (seen[n] != v + 1) seen[n] = v + 1, ++neighbours;
    if (neighbours != valence[v])
      return "vertex " + std::to_string(v) + ": valence " + std::to_string(valence[v]) + ", ring " +
             std::to_string(neighbours);
  }
  return "";
}

}  // namespace vekmesh::remeshing
