// Shell separation has not landed yet: the whole mesh becomes one part, so
// that the caller gets its model back unchanged.
#include "repair/separation.h"

namespace vekmesh {

void separateShells(TriMesh& mesh) {
  mesh.pieces.clear();
  if (mesh.faces.empty()) return;
  SubMesh whole;
  whole.faces = mesh.faces;
  whole.vertices = mesh.vertices;
  whole.texCoords = mesh.texCoords;
  mesh.pieces.push_back(std::move(whole));
}

}  // namespace vekmesh
