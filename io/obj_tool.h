// The command-line tool's own OBJ reader and writer, beside those the exports
// keep (obj.h): material names and texture images through .mtl files, "o"
// and "g" names, colours and texture coordinates together, relative face
// numbers, and positions written so that they read back to the same floats.
//
// Reading (statements: v, vt, f, o, g, usemtl, mtllib; vn, l, p, s and
// unknown statements are skipped):
// - "v x y z [w]" or "v x y z r g b": colours in 0..1 (clamped), rounded to
//   the nearest byte; a vertex without one is white. A non-finite or
//   out-of-range colour leaves the vertex white with a warning.
// - "f" corners "a", "a/b", "a/b/c", "a//c"; negative numbers count back
//   from the last vertex or texture coordinate read so far. A polygon loses
//   consecutive repeated points, then a convex one is fanned from its first
//   corner and any other goes through the planar triangulation.
// - Materials are numbered by their distinct "usemtl" names in the order
//   they first appear; the faces before any "usemtl" that have texture
//   coordinates get one material without a name (so that the coordinates
//   are kept), the others none. An empty "usemtl" ends the current material.
// - "o" and "g" set the group of the faces that follow (the rest of the line
//   is the name); an empty one ends it.
// - Faults are errors naming the line: a face number of 0 or past what has
//   been read, a non-finite or out-of-range coordinate, a number that does
//   not parse, a control character (binary data), a line longer than 16 MiB,
//   more than 32767 materials or 2^31 - 1 triangles. Face lines with fewer
//   than three corners are skipped with a warning; a missing material library
//   is a warning.
//
// Writing: "mtllib" (only when some face has a named material) naming a .mtl
// of the output's stem written beside it, "v" lines (with "r g b" only when
// some corner is not white; a vertex is split only where its corners'
// colours differ), distinct "vt" lines, then the faces: those without a named
// material first, then by material, each run under its "usemtl" and "o"
// lines. Numbers are the shortest text that reads back to the same value
// (floats for positions, doubles for texture coordinates). A material with
// neither a name nor an image keeps no name; one with an image and no name is
// called "material_<m>". A named face whose three texture coordinates are all
// (0, 0) is written without them, which reads back the same.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "io/model_names.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

struct ObjToolRead {
  std::string error;  // "" when the file was read; else what and where
  std::vector<std::string> warnings;
  size_t triangles = 0;  // handed to the mesh constructor
};

// Reads `path` into `mesh` (rebuilt) and `names` (replaced; image paths
// resolved against the folders of the OBJ and the .mtl). On an error the mesh
// and names are left empty.
ObjToolRead readObjTool(const char* path, SubMesh& mesh, ModelNames& names);

// The .mtl that writeObjTool puts beside `path`: its stem with ".mtl".
std::string mtlPathOf(const std::string& path);

// Writes the live faces to `path` and, when some face has a named material,
// the .mtl beside it (image paths made relative to the output's folder).
// Face groups are written only when `names.faceGroups` has one entry per
// face. Both files go through temporary files renamed into place; false (and
// no new file left) when either cannot be written.
bool writeObjTool(const char* path, const SubMesh& mesh, const ModelNames& names);

}  // namespace vekmesh
