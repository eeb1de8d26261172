// OpenCASCADE's plain read-and-mesh, as a user of its API would write it with
// the defaults: no sewing, no deflection rule, no parallel meshing.
#include "bench/cad_occt_peer.h"

#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Tool.hxx>
#include <IFSelect_ReturnStatus.hxx>
#include <IGESControl_Reader.hxx>
#include <IMeshTools_Parameters.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Poly_Triangulation.hxx>
#include <STEPControl_Reader.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Face.hxx>
#include <utility>

namespace vekmesh::bench {

std::vector<float> occtDefaultSoup(const char* path, bool iges) {
  std::vector<float> soup;
  // The readers' statistics would fill the table's output.
  Message::DefaultMessenger()->ChangePrinters().Clear();
  try {
    STEPControl_Reader step;
    IGESControl_Reader iges_reader;
    XSControl_Reader& reader = iges ? static_cast<XSControl_Reader&>(iges_reader) : step;
    if (reader.ReadFile(path) != IFSelect_RetDone || reader.TransferRoots() <= 0) return soup;
    const TopoDS_Shape shape = reader.OneShape();
    BRepMesh_IncrementalMesh mesher(shape, IMeshTools_Parameters());
    for (TopExp_Explorer e(shape, TopAbs_FACE); e.More(); e.Next()) {
      const TopoDS_Face& face = TopoDS::Face(e.Current());
      TopLoc_Location location;
      const Handle(Poly_Triangulation)& mesh = BRep_Tool::Triangulation(face, location);
      if (mesh.IsNull()) continue;
      const gp_Trsf placement = location.Transformation();
      for (int t = 1; t <= mesh->NbTriangles(); ++t) {
        int n[3];
        mesh->Triangle(t).Get(n[0], n[1], n[2]);
        if (face.Orientation() == TopAbs_REVERSED) std::swap(n[1], n[2]);
        for (int c = 0; c < 3; ++c) {
          const gp_Pnt p = mesh->Node(n[c]).Transformed(placement);
          soup.insert(soup.end(), {float(p.X()), float(p.Y()), float(p.Z())});
        }
      }
    }
  } catch (...) {
    soup.clear();
  }
  return soup;
}

}  // namespace vekmesh::bench
