// The sparse voxel grid: the surface voxels of a mesh keyed by a signed 64-bit
// lattice key, their exposed faces, the layer operations (fill, peel, grow,
// thin-skin revision) and the closed mesh of the exposed faces. Log lines go
// through the run context in the lighter sub-step frame ("[start
// voxelization]", "[start export voxel]").
//
// Choices of this library beyond the grid's fixed contract:
// - Storage is a hash table (design/voxel_table.h); operations whose result
//   depends on key order sort the keys they walk, so results equal those of
//   an ordered map.
// - formVoxels inserts each candidate as it is found instead of listing them
//   first (the same voxels: candidates keep their order, the last one for a
//   key wins), and walks each triangle's lattice box only where the plane
//   test can pass (the axis the normal leans on most is searched by range).
// - Bounded work: a grid never holds more than kMaxVoxels voxels, and a
//   voxelisation whose lattice walk would exceed kMaxCandidateWalk points is
//   refused before it starts. Either sets `overflow`, logs
//   "\n[Caution] too many voxels!\n" and leaves the grid empty. A voxel size
//   that is not a finite positive number leaves the grid empty with the
//   caution "\n[Caution] voxel size invalid!\n". Triangles with a corner that
//   is not finite are passed over.
// - formSurface links the exposed faces of one edge by preferring the concave
//   neighbour (the face of the voxel diagonally across the edge), then the
//   flat one (the same face of the voxel beside it), then the voxel's own
//   face around the edge: each face has one partner across each edge, so a
//   component is a closed surface; two voxels touching along an edge join the
//   same component. Component face lists come in ascending face id, the
//   components by their first face.
// - peelLayers also ends when a pass finds no skin voxel, so a negative count
//   on a grid whose voxels are no longer skin cannot loop for ever.
// - offsetVoxelLayers works on the voxels present when a pass starts: a pass
//   grows or peels exactly one layer. Its modes choose the neighbourhood:
//   1 the six faces, 2 faces and the twelve edges, 3 faces, edges and the
//   eight corners, 4 the four side faces (x and y: growth within each
//   slice), 5 the sides and the four diagonals within the slice, 6 up and
//   down only (+z and -z). A diagonal direction counts as exposed when any
//   face it crosses is exposed and as covered when none is. Growing outward
//   (layers >= 0) the new voxels carry exposed bits for their free sides and
//   the bits toward them are cleared; without an output list the voxel grown
//   from loses its flags, with one the new voxels are appended to it.
//   Growing inward (layers < 0) the new voxels have no flags.
// - reviseThinSkin revises, besides the voxels with more than three exposed
//   faces and the overhang corners, every voxel exposed on two opposite
//   sides (also with only those two), and fills every empty cell of the 26
//   around a revised voxel with a voxel of its colour; a new voxel's exposed
//   bits are its free sides, and bits toward new voxels are cleared. After
//   one pass no voxel shows exposed bits on two opposite sides.
// - The tilt map is filled only when `recordTilt` is set; voxelize and
//   hollowing leave it off.
// - The model size and centre lines close with ")".
// - exportVoxel refuses more than kMaxExportFacets triangles (see below) and
//   uses h = s / 2 when the rounding to 1/10000 would give 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "design/voxel_table.h"
#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// A grid never holds more voxels than this. A table slot is 28 bytes and a
// voxel takes two to four slots, so a full grid holds at most about 1.9 GB,
// some 2.8 GB while its table doubles.
constexpr size_t kMaxVoxels = 20000000;
// A voxelisation whose triangles' lattice walks add up to more points than
// this is refused before it starts.
constexpr double kMaxCandidateWalk = 4.0e8;

// exportVoxel writes at most this many triangles (two arrays of 36 bytes
// each per triangle before welding).
constexpr uint64_t kMaxExportFacets = 40000000;

// The smallest number of exposed faces of a component that voxelisation and
// hollowing keep.
constexpr size_t kMinComponentFaces = 20;

struct Voxel {
  float spare = 0.0f;
  float x = 0.0f, y = 0.0f, z = 0.0f;  // lattice point, relative to modelCentre
  uint8_t red = 255, green = 255, blue = 255;
  uint8_t faceFlags = 0;  // bit k: face k exposed; 64: just uncovered by a peel
};

using VoxelKey = int64_t;

// Face directions k = 0..5: +z, +x, +y, -z, -x, -y (bit value 1 << k).
constexpr int kFaceDirections = 6;
constexpr uint8_t kExposedMask = 63;
constexpr uint8_t kUncoveredBit = 64;
constexpr int kFaceAxis[kFaceDirections] = {2, 0, 1, 2, 0, 1};
constexpr int kFaceSign[kFaceDirections] = {1, 1, 1, -1, -1, -1};
constexpr int oppositeFace(int k) {
  return k < 3 ? k + 3 : k - 3;
}

struct VoxelGrid {
  KeyTable<Voxel> voxels;
  uint64_t voxelCount = 0;  // kept equal to voxels.size() by every operation
  int32_t rowStride = 800;
  int32_t columnStride = 800;
  int32_t layerStride = 800;
  int32_t sliceStride = 640000;
  int32_t centreZEnabled = 0;
  std::array<float, 3> voxelSize{1.0f, 1.0f, 1.0f};
  std::array<float, 3> modelSize{};
  std::array<float, 3> modelCentre{};
  // Per voxel the smallest tilt (whole degrees) of the triangles that
  // produced it; filled by formVoxels only when recordTilt is set.
  bool recordTilt = false;
  KeyTable<int8_t> tilt;
  // Set when a limit stopped an operation; the grid is then empty.
  bool overflow = false;

  explicit VoxelGrid(float size = 1.0f) { voxelSize = {size, size, size}; }

  VoxelKey keyOf(double x, double y, double z) const;
  VoxelKey keyOf(const Voxel& v) const { return keyOf(v.x, v.y, v.z); }
  // Key offset of the neighbour across face k.
  VoxelKey faceOffset(int k) const;
  // Key offset of the lattice step (dx, dy, dz).
  VoxelKey stepOffset(int dx, int dy, int dz) const;
  // Inserts or overwrites; returns false (and changes nothing) when the grid
  // is full.
  bool put(VoxelKey key, const Voxel& v);
  void erase(VoxelKey key);
  // Empties both maps and hands their storage back.
  void release();
};

// Face ids: 6 key + k; k is the non-negative remainder, so negative keys work.
int64_t faceId(VoxelKey key, int k);
int faceDirectionOf(int64_t face_id);
VoxelKey faceVoxelKey(int64_t face_id);

// The whole voxelisation on a grid whose voxelSize is set: formVoxels,
// formSurface (no list, 20), erase the voxels with no exposed face,
// offsetVoxelLayers(-3, 1), peelLayers(2), then the timing and size lines.
// Returns 0, or 2 when a limit stopped it (the grid is then empty).
int voxelizeMesh(VoxelGrid& grid, const SubMesh& mesh, const std::vector<Vertex>& vertices,
                 const RunContext& run = {});

// The surface voxels (steps 1 to 4 of voxelisation); see the choices above.
void formVoxels(VoxelGrid& grid, const SubMesh& mesh, const std::vector<Vertex>& vertices,
                const RunContext& run = {});

// Sets every voxel's exposed bits, then drops the components that face into
// a cavity (their first face is neither a -x face nor on a voxel whose -x
// face they hold) or have fewer than `min_component_faces` faces: their bits
// are cleared. Kept components go to `out_components` as face-id lists.
void formSurface(VoxelGrid& grid, std::vector<std::vector<int64_t>>* out_components,
                 size_t min_component_faces, const RunContext& run = {});

// Fills each x row between a voxel whose +x face is not exposed and the next
// voxel in key order; new voxels are white, or with `blend_colours` step by
// step from the colour before the gap toward the one after it.
void fillInterior(VoxelGrid& grid, bool blend_colours);

// Removes the skin `layers` times (a negative count: until the grid is
// empty); the layer behind becomes the skin with its newly exposed faces
// flagged. Removed voxels go to `out_voxels` when given (flags kept in the
// first pass only).
void peelLayers(VoxelGrid& grid, int32_t layers, std::vector<Voxel>* out_voxels);

// Grows (layers >= 0: from exposed faces) or fills inward (layers < 0: from
// covered faces) |layers| layers in the neighbourhood of `mode` (1 to 6,
// others do nothing); see the choices above.
void offsetVoxelLayers(VoxelGrid& grid, int32_t layers, int mode, std::vector<Voxel>* out_voxels);

// Thickens thin skin `passes` times; see the choices above.
void reviseThinSkin(VoxelGrid& grid, int passes);

// Replaces `mesh` by the exposed faces (two triangles each, outward, coloured
// like their voxel, corners on the half-voxel lattice). Returns 0, or 1 with
// the mesh untouched when no face is exposed, or 2 with the mesh emptied and
// the caution "\n[Caution] too many voxel faces!\n" when more than
// kMaxExportFacets triangles would be written.
int exportVoxel(SubMesh& mesh, const VoxelGrid& grid, const RunContext& run = {});

// The `voxelize` operation: a grid of `voxel_size`, voxelizeMesh, exportVoxel.
// Returns exportVoxel's answer (1: no exposed face, the mesh untouched), or 2
// when the size is invalid or a limit was reached: the mesh is then emptied
// and a caution logged.
int voxelizeToSurface(SubMesh& mesh, float voxel_size, const RunContext& run = {});

}  // namespace vekmesh
