// STL files: the loader (binary when the size is exactly 84 + 50 x N bytes,
// ASCII otherwise) and the binary writer with a "VEKMesh" header.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Fills `mesh` from the file; leaves it untouched when the file cannot be
// opened. Writes progress 5 after the header and 48 at its end.
void loadStl(const char* path, SubMesh& mesh);

// Writes the live faces as binary STL. Nothing is reported to the user; the
// result tells whether the file was opened and every byte written.
bool writeStl(const char* path, const SubMesh& mesh);

}  // namespace vekmesh
