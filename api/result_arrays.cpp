// Single-model and multi-piece conversion of a TriMesh into result arrays.
#include "api/result_arrays.h"

#include <cstdlib>
#include <stdexcept>

namespace vekmesh {
namespace {

// One block per array; at least one byte so that an empty result is still a
// real, freeable allocation distinct from "nothing returned".
template <class T>
T* allocateArray(size_t elements) {
  const size_t bytes = elements * sizeof(T);
  return static_cast<T*>(std::malloc(bytes ? bytes : 1));
}

ModelArrays allocateModel(size_t triangles, unsigned arrays) {
  ModelArrays a;
  a.count = static_cast<uint32_t>(triangles);
  if (arrays & kCornerArray) a.corners = allocateArray<float>(9 * triangles);
  if (arrays & kColorArray) a.colors = allocateArray<float>(9 * triangles);
  if (arrays & kUvArray) a.uvs = allocateArray<float>(6 * triangles);
  if (arrays & kMaterialArray) a.materials = allocateArray<int32_t>(triangles);
  return a;
}

// Writes face `f` of `mesh` as triangle k of the arrays `out` has.
void writeFace(const SubMesh& mesh, const Face& f, size_t k, ModelArrays& out) {
  if (out.materials) out.materials[k] = f.material;
  const bool textured = !mesh.texCoords.empty() && f.material >= 0;
  for (int c = 0; c < 3; ++c) {
    const auto& p = mesh.vertices.at(static_cast<size_t>(static_cast<uint32_t>(f.v[c]))).position;
    for (int i = 0; i < 3; ++i) {
      if (out.corners) out.corners[9 * k + 3 * c + i] = p[i];
      if (out.colors) out.colors[9 * k + 3 * c + i] = static_cast<float>(f.colors[c][i] / 255.0);
    }
    if (!out.uvs) continue;
    if (textured) {
      const TexCoord& t = mesh.texCoords.at(f.uv[c]);
      out.uvs[6 * k + 2 * c] = static_cast<float>(t.u);
      out.uvs[6 * k + 2 * c + 1] = static_cast<float>(t.v);
    } else {
      out.uvs[6 * k + 2 * c] = 0.0f;
      out.uvs[6 * k + 2 * c + 1] = 0.0f;
    }
  }
}

}  // namespace

void freeModelArrays(ModelArrays& a) {
  std::free(a.corners);
  std::free(a.colors);
  std::free(a.uvs);
  std::free(a.materials);
  a = ModelArrays{};
}

ModelArrays convertSingleModel(const SubMesh& mesh, unsigned arrays) {
  size_t live = 0;
  for (const Face& f : mesh.faces) live += f.removed == 0;
  ModelArrays out = allocateModel(live, arrays);
  try {
    size_t k = 0;
    for (const Face& f : mesh.faces)
      if (f.removed == 0) writeFace(mesh, f, k++, out);
  } catch (...) {
    freeModelArrays(out);
    throw;
  }
  return out;
}

MultiModelArrays convertMultiShell(const TriMesh& mesh) {
  MultiModelArrays out;
  out.pieceCount = static_cast<uint32_t>(mesh.pieces.size());
  out.pieceCounts = allocateArray<uint32_t>(mesh.pieces.size());
  size_t total = 0;
  for (size_t i = 0; i < mesh.pieces.size(); ++i) {
    out.pieceCounts[i] = static_cast<uint32_t>(mesh.pieces[i].faces.size());
    total += mesh.pieces[i].faces.size();
  }
  out.model = allocateModel(total, kAllArrays);
  try {
    size_t k = 0;
    for (const SubMesh& piece : mesh.pieces)
      for (const Face& f : piece.faces) writeFace(piece, f, k++, out.model);
  } catch (...) {
    freeModelArrays(out.model);
    std::free(out.pieceCounts);
    throw;
  }
  return out;
}

}  // namespace vekmesh
