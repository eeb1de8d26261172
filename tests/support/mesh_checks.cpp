// The construction invariants and the edge census: the census sorts one key
// per corner rather than hashing, so one routine serves small test meshes and
// million-triangle benchmark outputs alike.
#include "mesh_checks.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace vekmesh::test {

std::string invariantViolation(const SubMesh& mesh) {
  std::ostringstream why;
  // Streams the parts of the message and returns it.
  auto fail = [&why](const auto&... parts) {
    (why << ... << parts);
    return why.str();
  };
  const size_t nv = mesh.vertices.size(), nf = mesh.faces.size(), nt = mesh.texCoords.size();
  for (size_t i = 0; i < nv; ++i)
    if (mesh.vertices[i].index != static_cast<int32_t>(i))
      return fail("vertex ", i, " has index ", mesh.vertices[i].index);
  for (size_t i = 0; i < nt; ++i)
    if (mesh.texCoords[i].index != i)
      return fail("texture coordinate ", i, " has index ", mesh.texCoords[i].index);

  std::vector<int> texture_uses(nt, 0);
  for (size_t f = 0; f < nf; ++f) {
    const Face& face = mesh.faces[f];
    for (int c = 0; c < 3; ++c)
      if (face.v[c] < 0 || size_t(face.v[c]) >= nv)
        return fail("face ", f, " corner ", c, " names vertex ", face.v[c]);
    if (face.v[0] == face.v[1] || face.v[1] == face.v[2] || face.v[0] == face.v[2])
      return fail("face ", f, " repeats a vertex");
    for (int c = 0; c < 3; ++c) {
      if (face.material < 0 && face.uv[c] != kNoTexCoord)
        return fail("untextured face ", f, " has uv ", face.uv[c]);
      if (face.material >= 0 && face.uv[c] >= nt)
        return fail("textured face ", f, " corner ", c, " has uv ", face.uv[c]);
      if (face.material >= 0 && ++texture_uses[face.uv[c]] > 1)
        return fail("texture coordinate ", face.uv[c], " is shared");
    }
  }

  if (mesh.incidentCorners.vertexCount() != nv)
    return fail("incidence lists cover ", mesh.incidentCorners.vertexCount(), " of ", nv,
                " vertices");
  std::vector<int> listed(3 * nf, 0);
  for (size_t i = 0; i < nv; ++i)
    for (const CornerRef& r : mesh.incidentCorners[i]) {
      if (r.face >= nf || r.corner > 2 || mesh.faces[r.face].v[r.corner] != int32_t(i))
        return fail("vertex ", i, " lists (", r.face, ", ", r.corner, ") which does not use it");
      ++listed[3 * r.face + r.corner];
    }
  for (size_t k = 0; k < 3 * nf; ++k)
    if (listed[k] > 1 || (listed[k] == 0 && !mesh.faces[k / 3].removed))
      return fail("corner (", k / 3, ", ", k % 3, ") is listed ", listed[k], " times");
  return "";
}

EdgeCensus edgeCensus(const std::vector<uint32_t>& triangles) {
  // Per corner: its undirected edge (low << 32 | high) and whether it runs
  // high -> low. Sorting brings each edge's uses together, fast enough for the
  // million-triangle outputs of the benchmarks.
  std::vector<std::pair<uint64_t, bool>> uses;
  uses.reserve(triangles.size());
  for (size_t t = 0; t + 2 < triangles.size(); t += 3)
    for (uint32_t c = 0; c < 3; ++c) {
      const uint64_t a = triangles[t + c], b = triangles[t + nextCorner(c)];
      uses.emplace_back(std::min(a, b) << 32 | std::max(a, b), a > b);
    }
  std::sort(uses.begin(), uses.end());
  EdgeCensus census;
  for (size_t i = 0, j; i < uses.size(); i = j) {
    size_t reversed = 0;
    for (j = i; j < uses.size() && uses[j].first == uses[i].first; ++j) reversed += uses[j].second;
    ++census.edges;
    census.boundary += j - i == 1;
    census.nonManifold += j - i > 2;
    census.misoriented += j - i == 2 && reversed != 1;
  }
  return census;
}

EdgeCensus edgeCensus(const SubMesh& mesh) {
  std::vector<uint32_t> triangles;
  triangles.reserve(3 * mesh.faces.size());
  for (const Face& f : mesh.faces)
    if (!f.removed)
      for (int c = 0; c < 3; ++c) triangles.push_back(static_cast<uint32_t>(f.v[c]));
  return edgeCensus(triangles);
}

RunContext RunRecorder::context() {
  return RunContext(ProgressSink{[](int32_t percent, void* self) {
                                   static_cast<RunRecorder*>(self)->percents.push_back(percent);
                                 },
                                 this},
                    LogSink{[](std::string_view text, void* self) {
                              static_cast<RunRecorder*>(self)->log += text;
                            },
                            this});
}

}  // namespace vekmesh::test
