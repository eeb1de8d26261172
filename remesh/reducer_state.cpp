// Loading a mesh into the reducer's flat working arrays (corner rings built in
// face order) and writing the reduced mesh back with compacted faces,
// vertices and texture coordinates.
#include "remesh/reducer_state.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace vekmesh::reducer {

// Slab of every vertex of `m` (in the mesh's order) across the longest axis
// of the box lo..hi, cut at quantiles of the vertices' coordinates; vertices
// without a finite coordinate go to slab 0.
void ReducerState::assignSlabs(const SubMesh& m, const double lo[3], const double hi[3]) {
  int axis = 0;
  for (int k = 1; k < 3; ++k)
    if (hi[k] - lo[k] > hi[axis] - lo[axis]) axis = k;
  std::vector<float> coordinate;
  coordinate.reserve(m.vertices.size());
  for (const Vertex& v : m.vertices)
    if (std::isfinite(v.position[axis])) coordinate.push_back(v.position[axis]);
  std::vector<float> cuts;
  for (int r = 1; r < kSlabCount && !coordinate.empty(); ++r) {
    auto at = coordinate.begin() + static_cast<ptrdiff_t>(coordinate.size() * r / kSlabCount);
    std::nth_element(coordinate.begin(), at, coordinate.end());
    cuts.push_back(*at);
  }
  std::sort(cuts.begin(), cuts.end());
  slab.assign(m.vertices.size(), 0);
  for (size_t i = 0; i < m.vertices.size(); ++i) {
    const float x = m.vertices[i].position[axis];
    if (std::isfinite(x))
      slab[i] = static_cast<uint8_t>(std::upper_bound(cuts.begin(), cuts.end(), x) - cuts.begin());
  }
}

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

  assignSlabs(m, lo, hi);

  // Vertices slab by slab, each slab in the mesh's order.
  std::vector<uint32_t> working(nv);
  {
    size_t start[kSlabCount + 1] = {};
    for (uint8_t x : slab) ++start[x + 1];
    for (int r = 0; r < kSlabCount; ++r) start[r + 1] += start[r];
    source_vertex.resize(nv);
    for (size_t i = 0; i < nv; ++i) {
      const size_t w = start[slab[i]]++;
      source_vertex[w] = static_cast<uint32_t>(i);
      working[i] = static_cast<uint32_t>(w);
    }
    std::vector<uint8_t> by_working(nv);
    for (size_t w = 0; w < nv; ++w) by_working[w] = slab[source_vertex[w]];
    slab.swap(by_working);
  }
  vertex.assign(nv, VertexRecord{});
  for (size_t w = 0; w < nv; ++w)
    for (int k = 0; k < 3; ++k)
      vertex[w].position[k] = m.vertices[source_vertex[w]].position[k] - origin[k];

  // Faces grouped by the slab of their first vertex, each group in order.
  {
    size_t start[kSlabCount + 1] = {};
    auto group = [&](const Face& f) { return f.removed ? 0 : slab[working[f.v[0]]]; };
    for (const Face& f : m.faces) ++start[group(f) + 1];
    for (int r = 0; r < kSlabCount; ++r) start[r + 1] += start[r];
    std::copy(start, start + kSlabCount + 1, slab_faces);
    source_face.resize(nf);
    for (size_t f = 0; f < nf; ++f)
      source_face[start[group(m.faces[f])]++] = static_cast<uint32_t>(f);
  }
  face.resize(nf);
  live_faces = 0;
  for (size_t f = 0; f < nf; ++f) {
    const Face& src = m.faces[source_face[f]];
    FaceRecord& r = face[f];
    for (int c = 0; c < 3; ++c) {
      r.v[c] = src.removed ? -1 : static_cast<int32_t>(working[src.v[c]]);
      r.next[c] = r.prev[c] = kNone;
    }
    r.dead = src.removed ? 1 : 0;
    if (src.removed) continue;
    ++live_faces;
    // Appended at the ring's tail, so each ring lists its faces in order.
    for (int c = 0; c < 3; ++c) {
      const uint32_t k = static_cast<uint32_t>(3 * f + c);
      VertexRecord& vr = vertex[static_cast<uint32_t>(r.v[c])];
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
  std::vector<uint32_t> working_face(nf);
  for (size_t f = 0; f < nf; ++f) working_face[source_face[f]] = static_cast<uint32_t>(f);

  // New numbers in the mesh's vertex order, for the vertices live faces use.
  std::vector<int32_t> new_index(nv, -1);
  for (size_t f = 0; f < nf; ++f) {
    if (face[f].dead) continue;
    for (int c = 0; c < 3; ++c) new_index[source_vertex[face[f].v[c]]] = 0;
  }
  int32_t used = 0;
  for (size_t i = 0; i < nv; ++i)
    if (new_index[i] == 0) new_index[i] = used++;

  std::vector<Vertex> vertices(static_cast<size_t>(used));
  for (size_t w = 0; w < nv; ++w) {
    const uint32_t i = source_vertex[w];
    if (new_index[i] < 0) continue;
    Vertex& out = vertices[static_cast<size_t>(new_index[i])];
    out.index = new_index[i];
    if (version[w] == 0) {  // never moved
      out.position = m.vertices[i].position;
    } else {
      for (int k = 0; k < 3; ++k)
        out.position[k] = static_cast<float>(vertex[w].position[k] + origin[k]);
    }
    out.incidentCorners.reserve(vertex[w].valence);
  }

  std::vector<Face> faces;
  faces.reserve(live_faces);
  std::vector<TexCoord> tex;
  for (size_t i = 0; i < nf; ++i) {
    const uint32_t f = working_face[i];
    if (face[f].dead) continue;
    Face out = m.faces[i];
    const uint32_t fi = static_cast<uint32_t>(faces.size());
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t v = new_index[source_vertex[face[f].v[c]]];
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
