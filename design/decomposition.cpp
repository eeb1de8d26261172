// Decomposition has not landed yet: nothing is cut, the output step hands the
// whole mesh back as one piece, and the previews show no cut.
#include "design/decomposition.h"

namespace vekmesh {

void decomposeUniform(TriMesh&, int32_t, int32_t, int32_t) {}

void decomposeAuto(TriMesh&, int32_t, int32_t) {}

void decompositionOutput(TriMesh& mesh, double, float) {
  mesh.pieces.clear();
  if (mesh.faces.empty()) return;
  SubMesh whole;
  whole.faces = mesh.faces;
  whole.vertices = mesh.vertices;
  whole.incidentCorners = mesh.incidentCorners;
  whole.texCoords = mesh.texCoords;
  mesh.pieces.push_back(std::move(whole));
}

void previewUniformDecomposition(SubMesh&, int32_t, PolygonOutlines& outlines) {
  outlines = PolygonOutlines{};
  outlines.produced = true;
}

void previewAutoDecomposition(SubMesh&, PolygonOutlines& outlines) {
  outlines = PolygonOutlines{};
  outlines.produced = true;
}

}  // namespace vekmesh
