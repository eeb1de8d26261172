// What the tool's model carries beside its TriMesh: the name and texture image
// of each face material, and the object or group names of an OBJ file with the
// group of every face.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vekmesh {

// Material m of the faces (Face::material == m). An empty name is a material
// the file did not name: the faces an OBJ gives texture coordinates without a
// "usemtl", or a scene's texture. `image` is a path the process can open
// (resolved against the folder of the file that named it), "" for none.
struct MaterialName {
  std::string name;
  std::string image;
};

constexpr uint32_t kNoGroup = 0xFFFFFFFFu;

struct ModelNames {
  std::vector<MaterialName> materials;
  // "o" and "g" names in the order they first appear.
  std::vector<std::string> groups;
  // The group of face f (kNoGroup before the first name); empty when the
  // faces are not those the groups were read with. Operations that remake
  // faces leave it behind, so it is only handed on with the faces it names.
  std::vector<uint32_t> faceGroups;
};

}  // namespace vekmesh
