// Shell separation: shells found to pass through one another (exact shell
// search) are grouped by breadth-first walk, and each group is gathered into
// a soup and welded again into a part of its own.
#include "repair/separation.h"

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "repair/shell_intersection.h"

namespace vekmesh {
namespace {

// Faces of the group's shells, shell by shell in ascending order and each in
// its list order. Colour bytes and double texture coordinates are copied as
// they are, so a part carries exactly the attributes of its faces.
ByteSoup gatherGroup(const TriMesh& mesh, const std::vector<int32_t>& group) {
  size_t count = 0;
  for (int32_t s : group) count += mesh.shells[s].size();
  ByteSoup soup;
  soup.corners.reserve(9 * count);
  soup.colors.reserve(9 * count);
  soup.uvs.reserve(6 * count);
  soup.materials.reserve(count);
  for (int32_t s : group) {
    for (int32_t f : mesh.shells[s]) {
      const Face& face = mesh.faces[f];
      for (int c = 0; c < 3; ++c) {
        const auto& p = mesh.vertices[face.v[c]].position;
        soup.corners.insert(soup.corners.end(), p.begin(), p.end());
        soup.colors.insert(soup.colors.end(), face.colors[c], face.colors[c] + 3);
      }
      for (int c = 0; c < 3; ++c) {
        const bool textured = face.material >= 0 && face.uv[c] < mesh.texCoords.size();
        soup.uvs.push_back(textured ? mesh.texCoords[face.uv[c]].u : 0.0);
        soup.uvs.push_back(textured ? mesh.texCoords[face.uv[c]].v : 0.0);
      }
      soup.materials.push_back(face.material);
    }
  }
  return soup;
}

}  // namespace

void separateShells(TriMesh& mesh, const RunContext& run) {
  OperationLog log(run, "separation");
  mesh.pieces.clear();
  buildShells(mesh);
  log.parameter("shells", mesh.shells.size());
  const ShellIntersections found = findIntersectingShells(mesh);
  mesh.pieces.reserve(found.groups.size());
  for (const std::vector<int32_t>& group : found.groups) {
    SubMesh part;
    buildTriMesh(part, gatherGroup(mesh, group));
    mesh.pieces.push_back(std::move(part));
  }
  log.parameter("parts", mesh.pieces.size());
  log.succeed();
}

}  // namespace vekmesh
