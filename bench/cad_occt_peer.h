// The peer of the CAD corpus timing: OpenCASCADE's own reader and mesher with
// their default settings, behind a small interface so that OpenCASCADE's
// headers stay in one translation unit.
#pragma once

#include <vector>

namespace vekmesh::bench {

// Reads a STEP or IGES file (by `iges`) with STEPControl_Reader or
// IGESControl_Reader (ReadFile, TransferRoots, OneShape) and meshes the shape
// with BRepMesh_IncrementalMesh at the default parameters (linear deflection
// 0.001 in model units, 0.5 rad, one thread); each face's triangles with its
// placement, reversed faces turned. 9 floats per triangle, empty on failure.
std::vector<float> occtDefaultSoup(const char* path, bool iges);

}  // namespace vekmesh::bench
