// STL files: the loader (binary when the size is exactly 84 + 50 x N bytes,
// ASCII otherwise) and the binary writer with a "VEKMesh" header.
#pragma once

#include <cstddef>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Fills `mesh` from the file; leaves it untouched when the file cannot be
// opened. Reports 0.1 of its span after the header and 0.96 at its end (the
// exports give it [0, 50]: 5 and 48). Returns how many triangles the file gave
// the mesh constructor, which drops those that collapse when welded.
size_t loadStl(const char* path, SubMesh& mesh, const RunContext& run = {});

// Writes the live faces as binary STL. Nothing is reported to the user; the
// result tells whether the file was opened and every byte written.
bool writeStl(const char* path, const SubMesh& mesh);

}  // namespace vekmesh
