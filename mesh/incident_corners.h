// Every vertex's incident corners in one flat array with offsets (compressed
// rows): the corners of vertex v are entries offsets[v] .. offsets[v + 1].
// One allocation for the whole mesh instead of one per vertex keeps a vertex
// record at 16 bytes and the lists of neighbouring vertices side by side.
// Built by a counting sort of the faces' corners, so each list holds its
// corners in face order, then corner order: the order in which the faces were
// made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {

struct Face;

// One use of a vertex: corner `corner` (0..2) of face `face`.
struct CornerRef {
  uint32_t face;
  uint32_t corner;
};

class IncidentCorners {
 public:
  template <class T>
  struct Range {
    T* first = nullptr;
    T* last = nullptr;
    T* begin() const { return first; }
    T* end() const { return last; }
    T* data() const { return first; }
    size_t size() const { return static_cast<size_t>(last - first); }
    bool empty() const { return first == last; }
    T& operator[](size_t i) const { return first[i]; }
  };

  // The list of vertex v; empty for a vertex the lists do not cover yet.
  Range<const CornerRef> operator[](size_t v) const {
    if (v + 1 >= offsets_.size()) return {};
    const CornerRef* base = corners_.data();
    return {base + offsets_[v], base + offsets_[v + 1]};
  }
  // Entries may be changed in place (a turned face renumbers its corners).
  Range<CornerRef> operator[](size_t v) {
    if (v + 1 >= offsets_.size()) return {};
    CornerRef* base = corners_.data();
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

 private:
  std::vector<uint32_t> offsets_;  // vertexCount() + 1 entries, or none
  std::vector<CornerRef> corners_;
};

}  // namespace vekmesh
