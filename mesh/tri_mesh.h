// The indexed triangle mesh every operation works on: faces with per-corner
// colours, a material and texture-coordinate references, welded vertices that
// know their incident corners, and the per-call side data (shells, weak-section
// records, separated pieces).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "mesh/incident_corners.h"

namespace vekmesh {

// "No texture coordinate" in Face::uv.
constexpr uint32_t kNoTexCoord = 0xFFFFFFFFu;
// "No material" in Face::material.
constexpr int16_t kNoMaterial = -1;

struct Face {
  uint8_t colors[3][3];  // R, G, B of corner 0, 1, 2
  uint8_t removed;       // non-zero: deleted, waiting for compaction
  int16_t material;      // -1 = none
  int32_t v[3];          // vertex indices in winding order
  uint32_t uv[3];        // texCoords indices, kNoTexCoord = none
};

// Whether a face (or its three vertex numbers) names a vertex twice: welding
// drops such a face, and it shares no edge as a triangle does.
inline bool repeatsVertex(const int32_t v[3]) {
  return v[0] == v[1] || v[1] == v[2] || v[0] == v[2];
}
inline bool repeatsVertex(const Face& f) {
  return repeatsVertex(f.v);
}

struct Vertex {
  std::array<float, 3> position;
  int32_t index;  // own position in `vertices`; -1 for a free-standing point
};

struct TexCoord {
  double u;
  double v;
  uint64_t index;  // own position in `texCoords` (a 32-bit value)
};

// A weak cross-section found by sectional analysis.
struct AnalysisRecord {
  using Polygon = std::vector<std::array<float, 3>>;
  std::vector<std::vector<Polygon>> outlineGroups;
  float score = 0.0f;
  std::array<double, 3> direction{};
};

// The six members shared by a mesh and each of its separated pieces.
struct SubMesh {
  std::vector<Face> faces;
  std::vector<Vertex> vertices;
  // The corners of live faces that use each vertex, in face order (removed
  // faces stay listed until compaction).
  IncidentCorners incidentCorners;
  std::vector<TexCoord> texCoords;
  std::vector<std::vector<int32_t>> shells;  // face indices per edge-connected component
  std::vector<AnalysisRecord> analysisRecords;
  const SubMesh* tag = nullptr;  // set by entry points to the mesh itself
};

// Members are destroyed in reverse declaration order, which gives the release
// order pieces, analysisRecords, shells, texCoords, incidence lists, vertices,
// faces.
struct TriMesh : SubMesh {
  std::vector<SubMesh> pieces;
};

// Corner arithmetic is modulo 3: the edge of corner c runs from v[c] to v[next(c)].
// Written as remainders rather than comparisons, which a compiler may turn into
// branches: corners come in no pattern once a file's triangles start at any
// corner, and a mispredicted branch per corner read is most of what a pass
// over such a file costs more.
constexpr uint32_t nextCorner(uint32_t c) {
  return (c + 1) % 3;
}
constexpr uint32_t prevCorner(uint32_t c) {
  return (c + 2) % 3;
}

// --- construction -------------------------------------------------------------

// Builds `mesh` from a single-precision soup of `count` triangles: 9 floats of
// corners per triangle, optional 9 colour floats (0..1), 6 texture floats (read
// for triangles whose material is 0 or more) and one material per triangle.
// Corners weld when their bit patterns agree; triangles that collapse are dropped.
// Clears faces, vertices and texCoords first; leaves the other members alone.
void buildTriMesh(SubMesh& mesh, uint32_t count, const float* corners, const float* colors,
                  const float* uvs, const int32_t* materials);

// The same for a reader that hands its corners over: they are released as soon
// as the faces are made, before the incidence lists are built, which lowers
// the peak of loading a large file.
void buildTriMesh(SubMesh& mesh, uint32_t count, std::unique_ptr<float[]> corners);

// The same from doubles; corners weld when they agree to about 1e-6 units.
void buildTriMeshDouble(SubMesh& mesh, uint32_t count, const double* corners, const double* colors,
                        const double* uvs, const int32_t* materials);

// A soup whose colours are already bytes, as compaction produces it; welds like
// buildTriMesh and keeps the colour bytes and the double texture coordinates as
// they are, so that rebuilding a mesh never changes its attributes.
struct ByteSoup {
  std::vector<float> corners;      // 9 per triangle
  std::vector<uint8_t> colors;     // 9 per triangle
  std::vector<double> uvs;         // 6 per triangle, or none when no face is textured
  std::vector<int16_t> materials;  // 1 per triangle
  uint32_t triangleCount() const { return static_cast<uint32_t>(materials.size()); }
};
void buildTriMesh(SubMesh& mesh, const ByteSoup& soup);

}  // namespace vekmesh
