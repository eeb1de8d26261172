// Loading a mesh into the reducer's flat working arrays (corner rings built in
// face order) and writing the reduced mesh back with compacted faces,
// vertices and texture coordinates.
#include "remesh/reducer_state.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vekmesh::reducer {

bool ReducerState::load(SubMesh& m) {
  mesh = &m;
  const size_t nv = m.vertices.size();
  const size_t nf = m.faces.size();
  // Corners are numbered 3 f + c in 32 bits, with kNone kept free.
  if (nv >= kNone || nf >= (kNone - 3) / 3) return false;
  for (const Face& f : m.faces) {
    if (f.removed) continue;
    for (int c = 0; c < 3; ++c)
      if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= nv) return false;
  }

  // Centre of the finite positions: quadrics are far better conditioned about
  // the model than about a distant origin.
  double lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
  for (const Vertex& v : m.vertices)
    for (int k = 0; k < 3; ++k)
      if (std::isfinite(v.position[k])) {
        lo[k] = std::min(lo[k], static_cast<double>(v.position[k]));
        hi[k] = std::max(hi[k], static_cast<double>(v.position[k]));
      }
  for (int k = 0; k < 3; ++k) origin[k] = lo[k] <= hi[k] ? 0.5 * (lo[k] + hi[k]) : 0.0;

  vertex.assign(nv, VertexRecord{});
  for (size_t i = 0; i < nv; ++i)
    for (int k = 0; k < 3; ++k) vertex[i].position[k] = m.vertices[i].position[k] - origin[k];

  face.resize(nf);
  live_faces = 0;
  for (size_t f = 0; f < nf; ++f) {
    const Face& src = m.faces[f];
    FaceRecord& r = face[f];
    for (int c = 0; c < 3; ++c) {
      r.v[c] = src.v[c];
      r.next[c] = r.prev[c] = kNone;
    }
    r.dead = src.removed ? 1 : 0;
    if (src.removed) continue;
    ++live_faces;
    // Appended at the ring's tail, so each ring lists its faces in face order.
    for (int c = 0; c < 3; ++c) {
      const uint32_t k = static_cast<uint32_t>(3 * f + c);
      VertexRecord& vr = vertex[static_cast<uint32_t>(src.v[c])];
      const uint32_t h = vr.head;
      if (h == kNone) {
        vr.head = r.next[c] = r.prev[c] = k;
      } else {
        const uint32_t t = ringPrev(h);
        ringNext(t) = k, r.prev[c] = t;
        r.next[c] = h, ringPrev(h) = k;
      }
      ++vr.valence;
    }
  }
  mark.assign(nv, 0);
  version.assign(nv, 0);
  collapses = 0;
  uniform_attributes = m.texCoords.empty();
  for (size_t f = 0; f < nf && uniform_attributes; ++f) {
    const Face& a = m.faces[f];
    const Face& b = m.faces[0];
    uniform_attributes = a.material == b.material &&
                         std::memcmp(a.colors[0], b.colors[0], 3) == 0 &&
                         std::memcmp(a.colors[1], b.colors[0], 3) == 0 &&
                         std::memcmp(a.colors[2], b.colors[0], 3) == 0;
  }
  return true;
}

void ReducerState::store() const {
  SubMesh& m = *mesh;
  const size_t nf = face.size();
  const size_t nv = vertex.size();

  std::vector<int32_t> new_index(nv, -1);
  int32_t used = 0;
  for (size_t f = 0; f < nf; ++f) {
    if (face[f].dead) continue;
    for (int c = 0; c < 3; ++c) new_index[face[f].v[c]] = 0;
  }
  // Vertices keep their relative order.
  for (size_t v = 0; v < nv; ++v)
    if (new_index[v] == 0) new_index[v] = used++;

  std::vector<Vertex> vertices(static_cast<size_t>(used));
  for (size_t v = 0; v < nv; ++v) {
    if (new_index[v] < 0) continue;
    Vertex& out = vertices[static_cast<size_t>(new_index[v])];
    out.index = new_index[v];
    if (version[v] == 0) {  // never moved
      out.position = m.vertices[v].position;
    } else {
      for (int k = 0; k < 3; ++k)
        out.position[k] = static_cast<float>(vertex[v].position[k] + origin[k]);
    }
    out.incidentCorners.reserve(vertex[v].valence);
  }

  std::vector<Face> faces;
  faces.reserve(live_faces);
  std::vector<TexCoord> tex;
  for (size_t f = 0; f < nf; ++f) {
    if (face[f].dead) continue;
    Face out = m.faces[f];
    const uint32_t fi = static_cast<uint32_t>(faces.size());
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t v = new_index[face[f].v[c]];
      out.v[c] = v;
      vertices[static_cast<size_t>(v)].incidentCorners.push_back({fi, c});
      if (out.uv[c] != kNoTexCoord && out.uv[c] < m.texCoords.size()) {
        const TexCoord& t = m.texCoords[out.uv[c]];
        out.uv[c] = static_cast<uint32_t>(tex.size());
        tex.push_back({t.u, t.v, tex.size()});
      } else {
        out.uv[c] = kNoTexCoord;
      }
    }
    faces.push_back(out);
  }
  m.faces = std::move(faces);
  m.vertices = std::move(vertices);
  m.texCoords = std::move(tex);
}

}  // namespace vekmesh::reducer
