// Deterministic test shapes for the benchmarks: UV spheres and tori as indexed
// meshes and as triangle soups (9 floats per triangle, every corner repeated per
// triangle, as a host passes them), sized to land near a requested triangle count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vekmesh {
namespace bench {

// Shared vertices: x, y, z per vertex; three indices per triangle, wound so that
// the normals point out of the solid.
struct IndexedMesh {
  std::vector<float> positions;
  std::vector<uint32_t> triangles;
  size_t vertexCount() const { return positions.size() / 3; }
  size_t triangleCount() const { return triangles.size() / 3; }
};

// Latitude-longitude sphere about the origin: `stacks` bands from pole to pole
// (at least 2) and `slices` segments around the z axis (at least 3). The bands at
// the poles are triangle fans around one pole vertex, so the mesh is closed with
// 2 * slices * (stacks - 1) triangles and slices * (stacks - 1) + 2 vertices.
IndexedMesh uvSphere(uint32_t stacks, uint32_t slices, float radius);

// Ring torus about the z axis: `major_segments` (at least 3) steps around the
// axis, `minor_segments` (at least 3) around the tube; 2 * major * minor
// triangles and major * minor vertices.
IndexedMesh torus(uint32_t major_segments, uint32_t minor_segments, float major_radius,
                  float minor_radius);

// Segment counts that give close to `target_triangles` with cells of roughly equal
// sides (about twice as many slices as stacks; major segments about three times
// the minor ones, matching the default radius ratio).
IndexedMesh uvSphereNear(size_t target_triangles, float radius);
IndexedMesh torusNear(size_t target_triangles, float major_radius, float minor_radius);

// Unindexed copy: corner k of triangle t at floats 9t + 3k .. 9t + 3k + 2. Corners
// that share a vertex get bit-identical coordinates, so an exact weld recovers
// the indexed mesh.
std::vector<float> toSoup(const IndexedMesh& mesh);

std::vector<float> sphereSoup(size_t target_triangles, float radius = 1.0f);
std::vector<float> torusSoup(size_t target_triangles, float major_radius = 1.0f,
                             float minor_radius = 0.3f);

inline size_t soupTriangleCount(const std::vector<float>& soup) {
  return soup.size() / 9;
}

// The sizes the benchmarks sweep: about 10k, 100k, 1M and 4M triangles.
constexpr size_t kSize10k = 10000;
constexpr size_t kSize100k = 100000;
constexpr size_t kSize1M = 1000000;
constexpr size_t kSize4M = 4000000;

}  // namespace bench
}  // namespace vekmesh
