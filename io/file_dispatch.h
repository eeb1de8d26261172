// File formats by extension: the part of the path after its last "." picks the
// reader (stl, obj, wrl, x3d, igs/iges, stp/step) or the writer (stl, obj).
// The exports compare exactly and case-sensitively, so a host sees the same
// choice on every platform; the tool asks for a case-insensitive match.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// How a path's extension picks its reader: exactly as the exports' dispatch
// table spells it, in any case, or in any case with the tool's extra names
// (.wrz and .x3dz, gzip-compressed scenes; .ply; .3mf; .gltf and .glb, which the
// tool writes through the glTF writer and does not read), reading .obj with
// the tool's own reader (obj_tool.h).
enum class ExtensionMatch { kExact, kIgnoreCase, kToolNames };

enum class ModelFormat { kUnknown, kStl, kObj, kVrml, kX3d, kIges, kStep, kPly, k3mf, kGltf, kGlb };

// "" when the path has no ".".
std::string_view fileExtension(std::string_view path);

ModelFormat modelFormatOf(std::string_view path, ExtensionMatch match = ExtensionMatch::kExact);

// Whether writeModel can write the format (glTF is written by writeGltf,
// which needs the final name to name its buffer file).
bool isWritableFormat(ModelFormat format);

// Whether importByExtension has a reader for the format.
bool isReadableFormat(ModelFormat format);

// Reads the file with the reader of its extension; an unknown extension leaves
// the mesh empty. Names collected by the VRML/X3D reader go to `names` when
// given. Sets the mesh's tag to the mesh itself on every branch. `run` goes to
// the reader (the STL loader and the CAD import report progress through it). Returns how many
// triangles the reader handed to the mesh constructor (which drops those that
// collapse when welded); for readers that do not tell, the faces built.
size_t importByExtension(const char* path, SubMesh& mesh, std::vector<std::string>* names = nullptr,
                         ExtensionMatch match = ExtensionMatch::kExact, const RunContext& run = {});

// Writes the live faces in `format` (the format is passed, not taken from the
// path, so that a temporary name can stand in for the target). False when the
// format is not writable or the file was not fully written.
bool writeModel(const char* path, const SubMesh& mesh, ModelFormat format);

}  // namespace vekmesh
