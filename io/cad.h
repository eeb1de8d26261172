// STEP and IGES through the external converter library, which tessellates
// the file into a triangle soup that is then welded like any other input.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

enum class CadFormat { kIges, kStep };

// Fills `mesh` from the converter's soup; empty when the converter is absent
// or cannot read the file.
void importCad(const char* path, SubMesh& mesh, CadFormat format);

}  // namespace vekmesh
