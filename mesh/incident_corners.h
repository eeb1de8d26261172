// Every vertex's incident corners in one flat array with offsets (compressed
// rows): the corners of vertex v are entries offsets[v] .. offsets[v + 1],
// each (face, corner) packed in 32 bits. One allocation for the whole mesh
// instead of one per vertex keeps a vertex record at 16 bytes, an entry at 4
// and the lists of neighbouring vertices side by side.
// Built by a counting sort of the faces' corners, so each list holds its
// corners in face order, then corner order: the order in which the faces were
// made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/huge_pages.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {

struct Face;

// One use of a vertex: corner `corner` (0..2) of face `face`.
struct CornerRef {
  uint32_t face;
  uint32_t corner;
};

class IncidentCorners {
 public:
  // Entries are stored as 3 face + corner in 32 bits, so lists can cover
  // meshes of up to this many faces; corners of later faces are not listed.
  static constexpr size_t kMaxFaces = 0xFFFFFFFFu / 3;

  static constexpr CornerRef decode(uint32_t entry) { return {entry / 3, entry % 3}; }
  static constexpr uint32_t encode(uint32_t face, uint32_t corner) { return 3 * face + corner; }

  // Reads entries as CornerRef values.
  class Iterator {
   public:
    explicit Iterator(const uint32_t* p) : p_(p) {}
    CornerRef operator*() const { return decode(*p_); }
    Iterator& operator++() {
      ++p_;
      return *this;
    }
    bool operator!=(const Iterator& o) const { return p_ != o.p_; }
    bool operator==(const Iterator& o) const { return p_ == o.p_; }

   private:
    const uint32_t* p_;
  };

  struct Range {
    const uint32_t* first = nullptr;
    const uint32_t* last = nullptr;
    Iterator begin() const { return Iterator(first); }
    Iterator end() const { return Iterator(last); }
    const uint32_t* data() const { return first; }
    size_t size() const { return static_cast<size_t>(last - first); }
    bool empty() const { return first == last; }
    CornerRef operator[](size_t i) const { return decode(first[i]); }
  };

  // The list of vertex v; empty for a vertex the lists do not cover yet.
  Range operator[](size_t v) const {
    if (v + 1 >= offsets_.size()) return {};
    const uint32_t* base = corners_.data();
    return {base + offsets_[v], base + offsets_[v + 1]};
  }

  // Vertices covered, and entries over all of them.
  size_t vertexCount() const { return offsets_.empty() ? 0 : offsets_.size() - 1; }
  size_t entryCount() const { return corners_.size(); }

  void clear();
  // Hands the storage back as well.
  void shrinkToFit();

  // Empty lists for the vertices up to `vertex_count` that have none yet.
  void cover(size_t vertex_count);

  // Lists for `vertex_count` vertices holding every corner of `faces` (live or
  // removed). A face naming a vertex out of range is left out.
  void rebuild(const std::vector<Face>& faces, size_t vertex_count);

  // Adds the corners of faces[first_face ...] at the ends of the lists,
  // covering `vertex_count` vertices (more than before when faces bring new
  // vertices). Lists stay in face order when the new faces come last.
  void appendFaces(const std::vector<Face>& faces, size_t first_face, size_t vertex_count);

  // Appends the lists of `other` as those of the next vertices, its face
  // numbers raised by `face_base`.
  void append(const IncidentCorners& other, uint32_t face_base);

  // Swaps corners 0 and 1 of the entries of `face` in vertex v's list.
  void swapFirstCorners(size_t v, uint32_t face);

  // Swaps corners 0 and 1 of every entry whose face `turned(face)` selects,
  // as turning those faces over (swapping their first two vertices) needs.
  // On the team: `turned` must be safe to call from several threads.
  template <class Turned>
  void swapFirstCorners(Turned&& turned) {
    const int64_t n = static_cast<int64_t>(corners_.size());
    uint32_t* entries = corners_.data();
#pragma omp parallel for schedule(static) if (n >= 3 * kParallelMinimum)
    for (int64_t i = 0; i < n; ++i) {
      const CornerRef r = decode(entries[i]);
      if (r.corner < 2 && turned(r.face)) entries[i] = encode(r.face, 1 - r.corner);
    }
  }

 private:
  std::vector<uint32_t> offsets_;    // vertexCount() + 1 entries, or none
  WorkingVector<uint32_t> corners_;  // encode(face, corner)
};

}  // namespace vekmesh
