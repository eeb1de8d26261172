// STEP and IGES through the converter library VEKmeshconverter64, loaded at
// run time, which tessellates the file into a triangle soup that is then
// welded like any other input. Neither this library nor the tool links the
// converter (or OpenCASCADE under it): without it CAD files give empty models.
#pragma once

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

enum class CadFormat { kIges, kStep };

// The converter's name without the platform's prefix and suffix.
inline constexpr const char* kConverterStem = "VEKmeshconverter64";

// Fills `mesh` from the converter's soup: the array and count are set to
// null and 0, the converter's import function of `format` is called with the
// path as given, the mesh is built from what it returned (no colours,
// texture coordinates or materials) and the converter releases its arrays.
// Leaves the mesh untouched when the converter cannot be loaded; empty when
// it cannot read the file. The converter is looked for beside the module
// holding this code (the shared library, or the program the core is linked
// into) first, then on the system's library search path. `run` sees 0 before
// the converter runs and 1 when the mesh is built. Returns the number of
// triangles the converter handed over (welding may drop some).
size_t importCad(const char* path, SubMesh& mesh, CadFormat format, const RunContext& run = {});

// Whether the converter loads and has its three functions: for messages that
// tell why a CAD file gave nothing.
bool cadConverterAvailable();

}  // namespace vekmesh
