// STEP and IGES through OpenCASCADE's readers: every root of the file is
// transferred, in millimetres (the readers scale each file's own unit to the
// session unit, which is set here rather than trusted to a default).
#include "converter/cad_reading.h"

#include <IFSelect_ReturnStatus.hxx>
#include <IGESControl_Reader.hxx>
#include <Interface_Static.hxx>
#include <STEPControl_Reader.hxx>

namespace vekmesh::converter {
namespace {

// The reader's steps are the same for both formats.
TopoDS_Shape transferAll(XSControl_Reader& reader, const char* path) {
  // The session unit is a process-wide setting of the readers; every read
  // sets it again in case a host's own use of OpenCASCADE changed it.
  Interface_Static::SetCVal("xstep.cascade.unit", "MM");
  if (reader.ReadFile(path) != IFSelect_RetDone) return TopoDS_Shape();
  if (reader.TransferRoots() <= 0) return TopoDS_Shape();
  return reader.OneShape();
}

}  // namespace

TopoDS_Shape readCadFile(const char* path, CadFileKind kind) {
  if (kind == CadFileKind::kStep) {
    STEPControl_Reader reader;
    return transferAll(reader, path);
  }
  IGESControl_Reader reader;
  // Invisible IGES entities (construction geometry, blanked surfaces) are
  // not part of the part a user sees.
  reader.SetReadVisible(Standard_True);
  return transferAll(reader, path);
}

}  // namespace vekmesh::converter
