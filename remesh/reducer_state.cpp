// Loading a mesh into the reducer's working records, block by block (corner
// rings linked in corner order), and writing the reduced mesh back with
// compacted faces, vertices and texture coordinates.
#include "remesh/reducer_state.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace vekmesh::reducer {

// Block of every vertex of `m` (in the mesh's order): on each axis, 0 to
// per_axis - 1 by quantiles of the vertices' coordinates, estimated from an evenly
// strided sample of at most about 65536 vertices (blocks need not hold equal
// counts, only comparable ones); vertices without a finite coordinate count
// as below every cut. The same pass widens `lo` and `hi` to the finite
// coordinates.
void ReducerState::assignBlocks(const SubMesh& m, int per_axis, double lo[3], double hi[3]) {
  const size_t nv = m.vertices.size();
  const size_t stride = std::max<size_t>(1, nv / 65536);
  std::vector<float> coordinate;
  coordinate.reserve(nv / stride + 1);
  float cuts[3][kMaxBlocksPerAxis - 1];
  int count[3] = {0, 0, 0};
  for (int axis = 0; axis < 3; ++axis) {
    coordinate.clear();
    for (size_t i = 0; i < nv; i += stride) {
      const float x = m.vertices[i].position[axis];
      if (std::isfinite(x)) coordinate.push_back(x);
    }
    for (int r = 1; r < per_axis && !coordinate.empty(); ++r) {
      auto at = coordinate.begin() +
                static_cast<ptrdiff_t>(coordinate.size() * static_cast<size_t>(r) / per_axis);
      std::nth_element(coordinate.begin(), at, coordinate.end());
      cuts[axis][count[axis]++] = *at;
    }
  }
  block.resize(nv);
  for (size_t i = 0; i < nv; ++i) {
    int b = 0;
    for (int axis = 0, scale = 1; axis < 3; ++axis, scale *= per_axis) {
      const float x = m.vertices[i].position[axis];
      if (!std::isfinite(x)) continue;
      // The cuts at or below x, counted without a search's branches.
      int below = 0;
      for (int j = 0; j < count[axis]; ++j) below += cuts[axis][j] <= x;
      b += scale * below;
      lo[axis] = std::min(lo[axis], static_cast<double>(x));
      hi[axis] = std::max(hi[axis], static_cast<double>(x));
    }
    block[i] = static_cast<uint8_t>(b);
  }
}

bool ReducerState::load(SubMesh& m, int blocks_per_axis, CancelWatch* watch) {
  auto checkpoint = [watch] {
    if (watch) watch->checkpoint();
  };
  mesh = &m;
  blocks_per_axis = std::clamp(blocks_per_axis, 1, kMaxBlocksPerAxis);
  block_count = blocks_per_axis * blocks_per_axis * blocks_per_axis;
  const size_t nv = m.vertices.size();
  const size_t nf = m.faces.size();
  // Corners are numbered 3 f + c in 32 bits, with kNone kept free.
  if (nv >= kNone || nf >= (kNone - 3) / 3) return false;
  // One pass over the faces checks their vertices and whether every face
  // has the same material and colours.
  uniform_attributes = m.texCoords.empty();
  for (const Face& f : m.faces) {
    uniform_attributes = uniform_attributes && f.material == m.faces[0].material &&
                         std::memcmp(f.colors[0], m.faces[0].colors[0], 3) == 0 &&
                         std::memcmp(f.colors[1], m.faces[0].colors[0], 3) == 0 &&
                         std::memcmp(f.colors[2], m.faces[0].colors[0], 3) == 0;
    if (f.removed) continue;
    for (int c = 0; c < 3; ++c)
      if (f.v[c] < 0 || static_cast<size_t>(f.v[c]) >= nv) return false;
  }

  // Centre of the finite positions: quadrics are far better conditioned about
  // the model than about a distant origin.
  double lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
  checkpoint();
  assignBlocks(m, blocks_per_axis, lo, hi);
  for (int k = 0; k < 3; ++k) origin[k] = lo[k] <= hi[k] ? 0.5 * (lo[k] + hi[k]) : 0.0;
  checkpoint();

  // Vertices block by block, each block in the mesh's order.
  std::vector<uint32_t> working(nv);
  std::vector<uint8_t> mesh_block;  // the blocks in the mesh's vertex order
  {
    size_t start[kMaxBlockCount + 1] = {};
    for (uint8_t x : block) ++start[x + 1];
    for (int r = 0; r < block_count; ++r) start[r + 1] += start[r];
    source_vertex.resize(nv);
    for (size_t i = 0; i < nv; ++i) {
      const size_t w = start[block[i]]++;
      source_vertex[w] = static_cast<uint32_t>(i);
      working[i] = static_cast<uint32_t>(w);
    }
    std::vector<uint8_t> by_working(nv);
    for (size_t w = 0; w < nv; ++w) by_working[w] = block[source_vertex[w]];
    block.swap(by_working);
    mesh_block.swap(by_working);
  }

  checkpoint();
  // Faces grouped by the block of their first vertex, each group in order.
  {
    size_t start[kMaxBlockCount + 1] = {};
    std::vector<uint8_t> group(nf);
    for (size_t f = 0; f < nf; ++f) {
      const Face& face = m.faces[f];
      group[f] = face.removed ? 0 : mesh_block[static_cast<size_t>(face.v[0])];
      ++start[group[f] + 1];
    }
    std::vector<uint8_t>().swap(mesh_block);
    for (int r = 0; r < block_count; ++r) start[r + 1] += start[r];
    std::copy(start, start + block_count + 1, block_faces);
    source_face.resize(nf);
    for (size_t f = 0; f < nf; ++f) source_face[start[group[f]]++] = static_cast<uint32_t>(f);
  }
  checkpoint();
  corner.allocate(3 * nf);
  ring_prev.allocate(3 * nf);
  face_dead.allocate(nf);
  live_faces = 0;
#pragma omp parallel for schedule(static) reduction(+ : live_faces)
  for (int64_t f = 0; f < static_cast<int64_t>(nf); ++f) {
    const Face& src = m.faces[source_face[static_cast<size_t>(f)]];
    for (size_t c = 0; c < 3; ++c) {
      const size_t k = 3 * static_cast<size_t>(f) + c;
      corner[k].vertex = src.removed ? -1 : static_cast<int32_t>(working[src.v[c]]);
      corner[k].next = ring_prev[k] = kNone;
    }
    face_dead[static_cast<size_t>(f)] = src.removed ? 1 : 0;
    live_faces += src.removed ? 0 : 1;
  }

  // Corner rings, each in corner order: one pass in corner order links every
  // corner after the last one met at its vertex (on most meshes a corner met
  // a moment ago, still in cache), and the vertex pass closes each ring as it
  // makes the vertex records. No list of every vertex's corners is gathered
  // first.
  struct RingEnds {
    uint32_t first = kNone, last = kNone, count = 0;
  };
  checkpoint();
  std::vector<RingEnds> ends(nv);
  for (size_t k = 0; k < 3 * nf; ++k) {
    if ((k & 0xFFFFF) == 0xFFFFF) checkpoint();  // a long serial pass on large meshes
    const int32_t v = corner[k].vertex;
    if (v < 0) continue;
    RingEnds& e = ends[static_cast<size_t>(v)];
    if (e.first == kNone) {
      e.first = static_cast<uint32_t>(k);
    } else {
      corner[e.last].next = static_cast<uint32_t>(k);
      ring_prev[k] = e.last;
    }
    e.last = static_cast<uint32_t>(k);
    ++e.count;
  }
  checkpoint();
  vertex.allocate(nv);
  version.allocate(nv);
  mark.allocate(nv);
#pragma omp parallel for schedule(static)
  for (int64_t v = 0; v < static_cast<int64_t>(nv); ++v) {
    VertexRecord& r = *new (&vertex[static_cast<size_t>(v)]) VertexRecord{};
    for (int k = 0; k < 3; ++k)
      r.position[k] = m.vertices[source_vertex[static_cast<size_t>(v)]].position[k] - origin[k];
    version[static_cast<size_t>(v)] = 0;
    mark[static_cast<size_t>(v)] = 0;
    const RingEnds& e = ends[static_cast<size_t>(v)];
    r.valence = e.count;
    if (e.count == 0) continue;
    r.head = e.first;
    ringNext(e.last) = e.first;
    ringPrev(e.first) = e.last;
  }
  collapses = 0;
  return true;
}

void ReducerState::store() const {
  SubMesh& m = *mesh;
  const size_t nf = faceCount();
  const size_t nv = vertex.size();
  std::vector<uint32_t> working_face(nf);
  for (size_t f = 0; f < nf; ++f) working_face[source_face[f]] = static_cast<uint32_t>(f);

  // New numbers in the mesh's vertex order, for the vertices live faces use.
  std::vector<int32_t> new_index(nv, -1);
  for (size_t f = 0; f < nf; ++f) {
    if (face_dead[f]) continue;
    for (size_t k = 3 * f; k < 3 * f + 3; ++k) new_index[source_vertex[corner[k].vertex]] = 0;
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
  }

  std::vector<Face> faces;
  faces.reserve(live_faces);
  std::vector<TexCoord> tex;
  for (size_t i = 0; i < nf; ++i) {
    const uint32_t f = working_face[i];
    if (face_dead[f]) continue;
    Face out = m.faces[i];
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t v = new_index[source_vertex[corner[3 * f + c].vertex]];
      out.v[c] = v;
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
  m.incidentCorners.rebuild(m.faces, m.vertices.size());
}

}  // namespace vekmesh::reducer
