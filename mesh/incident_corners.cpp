// Building and growing the flat incidence lists: a count per vertex, a prefix
// sum into offsets, then one pass over the faces in order that drops each
// corner into its vertex's next free slot, so every list comes out in face
// order without sorting.
#include "mesh/incident_corners.h"

#include <algorithm>

#include "mesh/parallel_loops.h"
#include "mesh/prefetch.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {
namespace {

bool inRange(const int32_t* v, size_t vertex_count) {
  for (int c = 0; c < 3; ++c)
    if (v[c] < 0 || static_cast<size_t>(v[c]) >= vertex_count) return false;
  return true;
}

// Faces past what an entry can name stay out of the lists.
size_t listableFaces(const std::vector<Face>& faces) {
  return std::min(faces.size(), IncidentCorners::kMaxFaces);
}

// How far ahead the scatter prefetches its slots: on a shuffled mesh each
// corner lands in a different cache line.
constexpr size_t kAhead = 8;

}  // namespace

void IncidentCorners::clear() {
  offsets_.clear();
  corners_.clear();
}

void IncidentCorners::shrinkToFit() {
  offsets_.shrink_to_fit();
  corners_.shrink_to_fit();
}

void IncidentCorners::cover(size_t vertex_count) {
  if (offsets_.empty()) offsets_.push_back(0);
  if (vertex_count + 1 > offsets_.size()) offsets_.resize(vertex_count + 1, offsets_.back());
}

void IncidentCorners::rebuild(const std::vector<Face>& faces, size_t vertex_count) {
  const size_t face_count = listableFaces(faces);
  // The faces are split into two halves, counted and scattered by two
  // threads; each list takes the first half's corners before the second's,
  // so the lists are in face order whatever the thread count. Faces out of
  // range keep their place in the numbering but list nothing.
  constexpr int kHalves = 2;
  const size_t half_size = (face_count + 1) / 2;
  std::vector<uint32_t> counts[kHalves];
  // A corner costs little here, so a team pays off only on large meshes; on a
  // busy machine a second thread that is slow to come costs more than it saves.
  [[maybe_unused]] const bool parallel = int64_t(face_count) >= 16 * kParallelMinimum;
#pragma omp parallel for schedule(static) if (parallel)
  for (int h = 0; h < kHalves; ++h) {
    std::vector<uint32_t>& count = counts[h];
    count.assign(vertex_count, 0);
    const size_t last = std::min(face_count, size_t(h + 1) * half_size);
    for (size_t f = size_t(h) * half_size; f < last; ++f) {
      if (!inRange(faces[f].v, vertex_count)) continue;
      for (int c = 0; c < 3; ++c) ++count[faces[f].v[c]];
    }
  }
  // counts[h][v] becomes the first slot of half h's corners in v's list.
  offsets_.resize(vertex_count + 1);
  uint32_t sum = 0;
  for (size_t v = 0; v < vertex_count; ++v) {
    offsets_[v] = sum;
    for (int h = 0; h < kHalves; ++h) {
      const uint32_t c = counts[h][v];
      counts[h][v] = sum;
      sum += c;
    }
  }
  offsets_[vertex_count] = sum;
  corners_.resize(sum);
#pragma omp parallel for schedule(static) if (parallel)
  for (int h = 0; h < kHalves; ++h) {
    std::vector<uint32_t>& next = counts[h];
    const size_t last = std::min(face_count, size_t(h + 1) * half_size);
    for (size_t f = size_t(h) * half_size; f < last; ++f) {
      if (f + kAhead < last && inRange(faces[f + kAhead].v, vertex_count))
        for (int c = 0; c < 3; ++c) prefetchWrite(&corners_[next[faces[f + kAhead].v[c]]]);
      const int32_t* v = faces[f].v;
      if (!inRange(v, vertex_count)) continue;
      for (uint32_t c = 0; c < 3; ++c) corners_[next[v[c]]++] = encode(uint32_t(f), c);
    }
  }
}

void IncidentCorners::appendFaces(const std::vector<Face>& faces, size_t first_face,
                                  size_t vertex_count) {
  const size_t old_count = vertexCount();
  if (vertex_count < old_count) vertex_count = old_count;
  const size_t face_count = listableFaces(faces);
  std::vector<uint32_t> added(vertex_count, 0);
  for (size_t f = first_face; f < face_count; ++f)
    if (inRange(faces[f].v, vertex_count))
      for (int c = 0; c < 3; ++c) ++added[faces[f].v[c]];
  // New slots for each list: its old entries, then room for the added ones.
  std::vector<uint32_t> offsets(vertex_count + 1);
  uint32_t sum = 0;
  for (size_t v = 0; v < vertex_count; ++v) {
    offsets[v] = sum;
    sum += (v < old_count ? offsets_[v + 1] - offsets_[v] : 0) + added[v];
  }
  offsets[vertex_count] = sum;
  WorkingVector<uint32_t> corners(sum);
  std::vector<uint32_t>& next = added;  // reused as each list's next free slot
  for (size_t v = 0; v < vertex_count; ++v) {
    uint32_t slot = offsets[v];
    if (v < old_count)
      for (uint32_t i = offsets_[v]; i < offsets_[v + 1]; ++i) corners[slot++] = corners_[i];
    next[v] = slot;
  }
  for (size_t f = first_face; f < face_count; ++f) {
    if (!inRange(faces[f].v, vertex_count)) continue;
    for (uint32_t c = 0; c < 3; ++c) corners[next[faces[f].v[c]]++] = encode(uint32_t(f), c);
  }
  offsets_.swap(offsets);
  corners_.swap(corners);
}

void IncidentCorners::append(const IncidentCorners& other, uint32_t face_base) {
  if (other.offsets_.empty()) return;
  if (offsets_.empty()) offsets_.push_back(0);
  const uint32_t entry_base = offsets_.back();
  offsets_.pop_back();
  for (const uint32_t o : other.offsets_) offsets_.push_back(entry_base + o);
  corners_.reserve(corners_.size() + other.corners_.size());
  for (const uint32_t e : other.corners_) {
    const CornerRef r = decode(e);
    corners_.push_back(encode(r.face + face_base, r.corner));
  }
}

void IncidentCorners::swapFirstCorners(size_t v, uint32_t face) {
  if (v + 1 >= offsets_.size()) return;
  for (uint32_t i = offsets_[v]; i < offsets_[v + 1]; ++i) {
    const CornerRef r = decode(corners_[i]);
    if (r.face == face && r.corner < 2) corners_[i] = encode(face, 1 - r.corner);
  }
}

}  // namespace vekmesh
