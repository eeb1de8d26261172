// glTF 2.0 export of a mesh with per-corner colours, texture coordinates and
// the images of its materials. The extension picks the container: ".glb" (in
// any case) writes one binary file with the images embedded; any other name
// writes JSON with a ".bin" of the same stem beside it and refers to the
// images by URIs relative to the output's folder.
//
// What goes in, beyond "a valid glTF 2.0 asset":
// - one scene, one node, one mesh; one primitive per material group, by
//   ascending material, the faces without a material in their own primitive
//   (which has no material and so the format's default);
// - vertices are split only where position, colour or texture coordinate
//   differ, so a smooth, plainly coloured part keeps its shared vertices;
// - POSITION as floats with min/max; indices 16-bit when the primitive has at
//   most 65535 vertices (the largest 16-bit value is reserved), 32-bit
//   otherwise;
// - COLOR_0 (normalised unsigned bytes, RGBA with opaque alpha, the colour
//   bytes exactly) only when some corner is not white;
// - TEXCOORD_0 in textured primitives, with v flipped to 1 - v: glTF puts the
//   image's top row at v = 0, the exchange arrays its bottom row;
// - one material per material index 0..largest used, named "material_<m>"
//   unless the caller names it,
//   not metallic (metallicFactor 0: printed plastic, not the format's default
//   metal), with a baseColorTexture when image_paths[m] is not empty and its
//   primitive has texture coordinates;
// - a .glb embeds an image whose file is a PNG or JPEG (by its first bytes);
//   an image that cannot be read or is neither stays a relative URI, as in a
//   .gltf, which still names the file;
// - faces with a non-finite corner are left out.
// Both files are written beside their targets and renamed into place only
// when everything is on disk: a failure leaves no new or partial file.
#pragma once

#include <string>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Writes the live faces to `path`; `image_paths[m]` is the image of material
// m ("" for none), `material_names[m]` its name ("" or missing: the name
// "material_<m>"). Returns whether every file was written.
bool writeGltf(const SubMesh& mesh, const char* path, const std::vector<std::string>& image_paths,
               const std::vector<std::string>& material_names = {});

// The URI under which a file at `target` is referred to from a glTF at
// `from`: relative to the folder of `from`, with '/' separators and every byte
// outside the unreserved set percent-encoded.
std::string relativeUri(const std::string& target, const std::string& from);

}  // namespace vekmesh
