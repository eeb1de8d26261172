// Reading a STEP or IGES file into one OpenCASCADE shape, in millimetres,
// with the placements of an assembly applied through the shapes' locations.
#pragma once

#include <TopoDS_Shape.hxx>

namespace vekmesh::converter {

enum class CadFileKind { kStep, kIges };

// The file's shapes as one compound (a null shape when the file cannot be
// read or transfers nothing). May throw OpenCASCADE's exceptions.
TopoDS_Shape readCadFile(const char* path, CadFileKind kind);

}  // namespace vekmesh::converter
