// formSurface: the exposed faces of the grid, linked across their edges into
// components by union-find, and the rule that keeps the outward skin: a
// component survives when its first face (lowest face id) is a -x face or
// sits on a voxel whose -x face it holds, and when it has enough faces. The
// first voxel of a cavity wall lies below the cavity and shows it only its
// +z face, so cavity walls fail the test.
// Choices (also in voxel_grid.h): across each edge a face links to the
// concave neighbour first, then the flat one, then its own voxel's face; the
// first face is the lowest face id, which is what a walk in key order meets
// first; kept components are listed in ascending face id.
#include <algorithm>
#include <bitset>
#include <limits>
#include <numeric>

#include "design/voxel_grid.h"
#include "mesh/operation_log.h"

namespace vekmesh {
namespace {

constexpr int kMinusX = 4;

uint32_t findRoot(std::vector<uint32_t>& parent, uint32_t f) {
  while (parent[f] != f) {
    parent[f] = parent[parent[f]];
    f = parent[f];
  }
  return f;
}

void unite(std::vector<uint32_t>& parent, uint32_t a, uint32_t b) {
  a = findRoot(parent, a);
  b = findRoot(parent, b);
  if (a < b) parent[b] = a;
  if (b < a) parent[a] = b;
}

uint32_t popcount(unsigned bits) {
  return static_cast<uint32_t>(std::bitset<8>(bits).count());
}

}  // namespace

void formSurface(VoxelGrid& grid, std::vector<std::vector<int64_t>>* out_components,
                 size_t min_component_faces, const RunContext& run) {
  const int32_t start = logClock();
  KeyTable<Voxel>& table = grid.voxels;
  VoxelKey offset[kFaceDirections];
  for (int k = 0; k < kFaceDirections; ++k) offset[k] = grid.faceOffset(k);

  // Exposed bits from the neighbours present, and each voxel's first face
  // number (its faces follow in direction order).
  const size_t slots = table.slotCount();
  std::vector<uint32_t> base(slots, 0);
  for (size_t s = 0; s < slots; ++s) {
    if (!table.occupied(s)) continue;
    uint8_t flags = 0;
    for (int k = 0; k < kFaceDirections; ++k)
      if (!table.contains(table.keyAt(s) + offset[k])) flags |= uint8_t(1u << k);
    table.valueAt(s).faceFlags = flags;
  }
  uint32_t faces = 0;
  for (size_t s = 0; s < slots; ++s) {
    if (!table.occupied(s)) continue;
    base[s] = faces;
    faces += popcount(table.valueAt(s).faceFlags);
  }
  auto face_index = [&](size_t s, int k) {
    return base[s] + popcount(table.valueAt(s).faceFlags & ((1u << k) - 1u));
  };

  // Each face has one partner across each of its four edges: the face of the
  // voxel diagonally across the edge (concave), else the same face of the
  // voxel beside it (flat), else the voxel's own face around the edge.
  std::vector<uint32_t> parent(faces);
  std::iota(parent.begin(), parent.end(), 0u);
  for (size_t s = 0; s < slots; ++s) {
    if (!table.occupied(s)) continue;
    const VoxelKey key = table.keyAt(s);
    const uint8_t flags = table.valueAt(s).faceFlags;
    for (int k = 0; k < kFaceDirections; ++k) {
      if (!(flags & (1u << k))) continue;
      const uint32_t f = face_index(s, k);
      for (int d = 0; d < kFaceDirections; ++d) {
        if (kFaceAxis[d] == kFaceAxis[k]) continue;
        const size_t across = table.findSlot(key + offset[k] + offset[d]);
        if (across != KeyTable<Voxel>::kNoSlot) {
          unite(parent, f, face_index(across, oppositeFace(d)));
          continue;
        }
        const size_t beside = table.findSlot(key + offset[d]);
        unite(parent, f,
              beside != KeyTable<Voxel>::kNoSlot ? face_index(beside, k) : face_index(s, d));
      }
    }
  }

  // Per component: its first face id and its size.
  std::vector<int64_t> first(faces, std::numeric_limits<int64_t>::max());
  std::vector<uint32_t> size(faces, 0);
  for (size_t s = 0; s < slots; ++s) {
    if (!table.occupied(s)) continue;
    const uint8_t flags = table.valueAt(s).faceFlags;
    for (int k = 0; k < kFaceDirections; ++k) {
      if (!(flags & (1u << k))) continue;
      const uint32_t r = findRoot(parent, face_index(s, k));
      first[r] = std::min(first[r], faceId(table.keyAt(s), k));
      ++size[r];
    }
  }
  std::vector<uint8_t> keep(faces, 0);
  for (uint32_t f = 0; f < faces; ++f) {
    if (parent[f] != f || size[f] < min_component_faces) continue;
    bool outward = faceDirectionOf(first[f]) == kMinusX;
    if (!outward) {
      const size_t s = table.findSlot(faceVoxelKey(first[f]));
      outward = (table.valueAt(s).faceFlags & (1u << kMinusX)) &&
                findRoot(parent, face_index(s, kMinusX)) == f;
    }
    keep[f] = outward;
  }

  std::vector<uint32_t> component_of_root;
  const size_t listed_before = out_components ? out_components->size() : 0;
  if (out_components) {
    std::vector<uint32_t> roots;
    for (uint32_t f = 0; f < faces; ++f)
      if (keep[f]) roots.push_back(f);
    std::sort(roots.begin(), roots.end(),
              [&](uint32_t a, uint32_t b) { return first[a] < first[b]; });
    component_of_root.assign(faces, 0);
    const size_t before = listed_before;
    for (size_t i = 0; i < roots.size(); ++i) {
      component_of_root[roots[i]] = static_cast<uint32_t>(before + i);
      out_components->emplace_back();
      (*out_components)[before + i].reserve(size[roots[i]]);
    }
  }
  // Bits of dropped components are cleared; a voxel's face numbers come from
  // its flags as they were, so its new flags are written after its faces.
  for (size_t s = 0; s < slots; ++s) {
    if (!table.occupied(s)) continue;
    Voxel& v = table.valueAt(s);
    uint8_t flags = v.faceFlags;
    for (int k = 0; k < kFaceDirections; ++k) {
      if (!(v.faceFlags & (1u << k))) continue;
      const uint32_t r = findRoot(parent, face_index(s, k));
      if (!keep[r])
        flags &= uint8_t(~(1u << k));
      else if (out_components)
        (*out_components)[component_of_root[r]].push_back(faceId(table.keyAt(s), k));
    }
    v.faceFlags = flags;
  }
  if (out_components)
    for (size_t i = listed_before; i < out_components->size(); ++i)
      std::sort((*out_components)[i].begin(), (*out_components)[i].end());
  run.log(timingLine("form  surface", elapsedSeconds(start, logClock())));
}

}  // namespace vekmesh
