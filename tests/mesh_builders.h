// Test meshes built in code: triangle soups (as a host passes them) for the
// tetrahedron, cube, glued cubes, UV sphere and torus, broken variants, and
// checks of the TriMesh invariants and of edge topology shared by the suites.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh::test {

using Point = std::array<float, 3>;
using Rgb = std::array<float, 3>;

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

// Builds a mesh with the single-precision constructor; empty attribute
// vectors are passed as null.
TriMesh buildMesh(const Soup& soup);

// An indexed shape expanded into a soup: shared corners are bit-identical
// because every triangle copies them from the same point.
Soup soupFromIndexed(const std::vector<Point>& points,
                     const std::vector<std::array<int, 3>>& triangles);

enum class Winding { kOutward, kInward };

// Tetrahedron on (0,0,0), (e,0,0), (0,e,0), (0,0,e); 4 vertices, 4 faces,
// volume e^3 / 6.
Soup tetrahedronSoup(float edge = 1.0f, Winding winding = Winding::kOutward);

// Axis-aligned cube [origin, origin + edge]^3 in 12 triangles; two triangles
// per side, side order -z, +z, -y, +y, -x, +x.
Soup cubeSoup(float edge = 1.0f, Winding winding = Winding::kOutward,
              const Point& origin = {0.0f, 0.0f, 0.0f});

// Two unit-ish cubes of edge `edge`; the second sits at (edge, edge, edge) and
// touches the first in the single vertex (edge, edge, edge).
Soup twoCubesSharingVertexSoup(float edge = 1.0f);

// The second cube sits at (edge, edge, 0) and shares the edge from
// (edge, edge, 0) to (edge, edge, edge) with the first.
Soup twoCubesSharingEdgeSoup(float edge = 1.0f);

// Sphere about the origin: `slices` around z, `stacks` from pole to pole,
// closed (Euler characteristic 2), outward wound.
Soup uvSphereSoup(float radius, int slices, int stacks);

// Torus about the z axis with tube radius `minor`; closed (Euler
// characteristic 0), outward wound.
Soup torusSoup(float major, float minor, int majorSegments, int minorSegments);

// Broken variants: copies of `soup` with triangle t removed (a hole), with its
// winding reversed, or with a second copy of it appended at the end.
// Attributes follow their triangle.
Soup withoutTriangle(const Soup& soup, size_t t);
Soup withTriangleFlipped(const Soup& soup, size_t t);
Soup withTriangleDuplicated(const Soup& soup, size_t t);

// The triangles of `b` appended after those of `a`. Attribute arrays present
// in only one of them are filled for the other (white, no material, uv 0).
Soup concatenate(const Soup& a, const Soup& b);

// Attribute helpers: one colour on every corner; one material on every
// triangle with per-corner uvs derived from the corner position (u = x + 2y,
// v = z - y) so that round trips can be checked.
void paint(Soup& soup, const Rgb& rgb);
void assignMaterial(Soup& soup, int32_t material);

// The first broken construction invariant of `mesh`, or "" when it holds them
// all: distinct in-range vertices per face, every live corner listed exactly
// once in its vertex's incidentCorners (and nothing else listed), own indices
// equal to positions, untextured faces with no uv, textured faces with three
// texture coordinates used by no other corner.
std::string invariantViolation(const SubMesh& mesh);

// Undirected edges of the live faces, classified by how they are used.
struct EdgeCensus {
  size_t edges = 0;        // distinct undirected edges
  size_t boundary = 0;     // used by one face corner
  size_t nonManifold = 0;  // used more than twice
  size_t misoriented = 0;  // used twice in the same direction
};
EdgeCensus edgeCensus(const SubMesh& mesh);

// Number of live faces.
size_t liveFaceCount(const SubMesh& mesh);

// Keeps what operations report and log through the contexts it makes.
struct RunRecorder {
  std::vector<int32_t> percents;
  std::string log;
  RunContext context();
};

}  // namespace vekmesh::test
