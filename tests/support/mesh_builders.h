// Meshes built in code for the tests, the benchmarks and the fuzz seeds:
// indexed UV spheres and tori, triangle soups as a host passes them, and
// broken variants of any soup.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh::test {

using Point = std::array<float, 3>;
using Rgb = std::array<float, 3>;

// x, y, z per vertex; three indices per triangle, wound outwards.
struct IndexedMesh {
  std::vector<float> positions;
  std::vector<uint32_t> triangles;
  size_t vertexCount() const { return positions.size() / 3; }
  size_t triangleCount() const { return triangles.size() / 3; }
};

// Latitude-longitude sphere about the origin: `stacks` bands from pole to pole
// (at least 2), `slices` segments around z (at least 3), polar fans; closed,
// 2 * slices * (stacks - 1) triangles. Vertex 0 is the north pole, then ring by
// ring southwards, then the south pole. Triangles: the northern fan, then band
// by band two per slice, then the southern fan.
IndexedMesh uvSphere(uint32_t stacks, uint32_t slices, float radius);

// Ring torus about z: `major_segments` (at least 3) around the axis,
// `minor_segments` (at least 3) around the tube; 2 * major * minor triangles.
IndexedMesh torus(uint32_t major_segments, uint32_t minor_segments, float major_radius,
                  float minor_radius);

// Close to `target_triangles`, cells of roughly equal sides.
IndexedMesh uvSphereNear(size_t target_triangles, float radius);
IndexedMesh torusNear(size_t target_triangles, float major_radius, float minor_radius);

// torusNear with every vertex pushed along the tube's normal by up to 30 % of
// the mean edge length (fixed seed): no two faces coplanar, as in a scan.
IndexedMesh noisyTorusNear(size_t target_triangles, float major_radius, float minor_radius);

// Unindexed copy, 9 floats per triangle; an exact weld recovers the mesh.
std::vector<float> toSoup(const IndexedMesh& mesh);

// Signed volume of the tetrahedra from the origin, in double.
double signedVolume(const IndexedMesh& mesh);

// A triangle soup in the exchange layout. Attribute vectors are either empty
// (the constructor then gets null) or sized for every triangle.
struct Soup {
  std::vector<float> corners;      // 9 per triangle
  std::vector<float> colors;       // empty or 9 per triangle, 0..1
  std::vector<float> uvs;          // empty or 6 per triangle
  std::vector<int32_t> materials;  // empty or 1 per triangle

  uint32_t triangleCount() const { return static_cast<uint32_t>(corners.size() / 9); }
  Point corner(size_t t, int c) const;
  void addTriangle(const Point& a, const Point& b, const Point& c);
};

// The single-precision constructor's mesh; empty attributes are passed as null.
TriMesh buildMesh(const Soup& soup);

// An indexed shape expanded into a soup (shared corners bit-identical).
Soup soupFromIndexed(const std::vector<Point>& points,
                     const std::vector<std::array<int, 3>>& triangles);

enum class Winding { kOutward, kInward };

// Tetrahedron on (0,0,0), (e,0,0), (0,e,0), (0,0,e); volume e^3 / 6.
Soup tetrahedronSoup(float edge = 1.0f, Winding winding = Winding::kOutward);

// Axis-aligned cube [origin, origin + edge]^3: two triangles per side, sides
// in the order -z, +z, -y, +y, -x, +x.
Soup cubeSoup(float edge = 1.0f, Winding winding = Winding::kOutward,
              const Point& origin = {0.0f, 0.0f, 0.0f});

// Two cubes of edge `edge`, the second at (edge, edge, edge) touching the
// first in one vertex.
Soup twoCubesSharingVertexSoup(float edge = 1.0f);

// uvSphere and torus as soups (Euler characteristic 2 and 0, outward wound).
Soup uvSphereSoup(float radius, int slices, int stacks);
Soup torusSoup(float major, float minor, int majorSegments, int minorSegments);

// Copies of `soup` with triangle t removed, reversed, or repeated at the end.
Soup withoutTriangle(const Soup& soup, size_t t);
Soup withTriangleFlipped(const Soup& soup, size_t t);
Soup withTriangleDuplicated(const Soup& soup, size_t t);

// The triangles of `b` appended after those of `a`. Attribute arrays present
// in only one of them are filled for the other (white, no material, uv 0).
Soup concatenate(const Soup& a, const Soup& b);

// One colour on every corner; one material on every triangle with uvs from
// the corner position (u = x + 2y, v = z - y).
void paint(Soup& soup, const Rgb& rgb);
void assignMaterial(Soup& soup, int32_t material);

}  // namespace vekmesh::test
