// Tessellation of a CAD shape: solids, shells outside solids, and faces
// outside shells sewn into shells (BRepBuilderAPI_Sewing), meshed together by
// BRepMesh_IncrementalMesh in parallel; each face's triangles are read with
// its placement and wound by its orientation, and closed parts enclosing a
// negative volume are turned over whole.
#include "converter/cad_tessellation.h"

#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_Sewing.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <IMeshTools_Parameters.hxx>
#include <Poly_Triangulation.hxx>
#include <TopExp_Explorer.hxx>
#include <TopLoc_Location.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <algorithm>
#include <cmath>
#include <utility>

namespace vekmesh::converter {
namespace {

struct Part {
  TopoDS_Shape shape;
  // A solid, or a shell whose every edge joins two of its faces: its volume
  // tells whether it is wound outward.
  bool closed;
};

double diagonalOf(const TopoDS_Shape& shape) {
  Bnd_Box box;
  // Without the triangulations a file may carry: those of another tool's
  // deflection would not bound the surfaces any better.
  BRepBndLib::Add(shape, box, Standard_False);
  if (box.IsVoid()) return 0.0;
  box.SetGap(0.0);
  double x0, y0, z0, x1, y1, z1;
  box.Get(x0, y0, z0, x1, y1, z1);
  const double d = std::sqrt((x1 - x0) * (x1 - x0) + (y1 - y0) * (y1 - y0) + (z1 - z0) * (z1 - z0));
  return std::isfinite(d) ? d : 0.0;
}

// Loose faces sewn at `tolerance`: the sewn shells and whatever faces stay
// loose, appended to `parts`.
void sewLooseFaces(const TopoDS_Shape& shape, double tolerance, std::vector<Part>& parts) {
  BRepBuilderAPI_Sewing sewing(tolerance);
  int loose = 0;
  for (TopExp_Explorer e(shape, TopAbs_FACE, TopAbs_SHELL); e.More(); e.Next(), ++loose)
    sewing.Add(e.Current());
  if (loose == 0) return;
  TopoDS_Shape sewn;
  if (loose > 1) {
    sewing.Perform();
    sewn = sewing.SewedShape();
  }
  if (sewn.IsNull()) {
    // One face, or sewing gave nothing back: the faces as they were.
    for (TopExp_Explorer e(shape, TopAbs_FACE, TopAbs_SHELL); e.More(); e.Next())
      parts.push_back({e.Current(), false});
    return;
  }
  for (TopExp_Explorer e(sewn, TopAbs_SHELL); e.More(); e.Next())
    parts.push_back({e.Current(), BRep_Tool::IsClosed(e.Current()) == Standard_True});
  for (TopExp_Explorer e(sewn, TopAbs_FACE, TopAbs_SHELL); e.More(); e.Next())
    parts.push_back({e.Current(), false});
}

std::vector<Part> collectParts(const TopoDS_Shape& shape, double diagonal) {
  std::vector<Part> parts;
  for (TopExp_Explorer e(shape, TopAbs_SOLID); e.More(); e.Next())
    parts.push_back({e.Current(), true});
  for (TopExp_Explorer e(shape, TopAbs_SHELL, TopAbs_SOLID); e.More(); e.Next())
    parts.push_back({e.Current(), BRep_Tool::IsClosed(e.Current()) == Standard_True});
  sewLooseFaces(shape, kRelativeSewingTolerance * diagonal, parts);
  return parts;
}

// Appends the triangles of every face of `part` and returns the volume they
// enclose about the origin (six times it, as the sum of the triple products).
double appendTriangles(const TopoDS_Shape& part, std::vector<float>& soup) {
  double volume6 = 0.0;
  for (TopExp_Explorer e(part, TopAbs_FACE); e.More(); e.Next()) {
    const TopoDS_Face& face = TopoDS::Face(e.Current());
    TopLoc_Location location;
    const Handle(Poly_Triangulation)& mesh = BRep_Tool::Triangulation(face, location);
    if (mesh.IsNull()) continue;
    const gp_Trsf placement = location.Transformation();
    // A mirroring placement turns the winding as a reversed face does.
    const bool reversed = (face.Orientation() == TopAbs_REVERSED) != placement.IsNegative();
    for (int t = 1; t <= mesh->NbTriangles(); ++t) {
      int n[3];
      mesh->Triangle(t).Get(n[0], n[1], n[2]);
      if (reversed) std::swap(n[1], n[2]);
      // A triangulation stored in the file may name nodes it lacks; one that
      // names a node twice has no area (the main library's weld would drop
      // it anyway).
      if (std::min({n[0], n[1], n[2]}) < 1 || std::max({n[0], n[1], n[2]}) > mesh->NbNodes() ||
          n[0] == n[1] || n[1] == n[2] || n[2] == n[0])
        continue;
      gp_Pnt p[3];
      for (int c = 0; c < 3; ++c) {
        p[c] = mesh->Node(n[c]).Transformed(placement);
        soup.insert(soup.end(), {float(p[c].X()), float(p[c].Y()), float(p[c].Z())});
      }
      volume6 += gp_Vec(p[0].XYZ()).Dot(gp_Vec(p[1].XYZ()).Crossed(gp_Vec(p[2].XYZ())));
    }
  }
  return volume6;
}

// Reverses the winding of the triangles from `first` (a float index) on.
void turnOver(std::vector<float>& soup, size_t first) {
  for (size_t t = first; t + 9 <= soup.size(); t += 9)
    for (int a = 0; a < 3; ++a) std::swap(soup[t + 3 + a], soup[t + 6 + a]);
}

}  // namespace

std::vector<float> tessellateShape(const TopoDS_Shape& shape) {
  std::vector<float> soup;
  if (shape.IsNull()) return soup;
  const double diagonal = diagonalOf(shape);
  if (!(diagonal > 0.0)) return soup;
  const std::vector<Part> parts = collectParts(shape, diagonal);
  if (parts.empty()) return soup;

  // One compound, meshed once: parts sharing faces (instances of one
  // product) are meshed once, and the mesher's parallel loop sees them all.
  TopoDS_Compound all;
  BRep_Builder builder;
  builder.MakeCompound(all);
  for (const Part& part : parts) builder.Add(all, part.shape);
  IMeshTools_Parameters parameters;
  parameters.Deflection = kRelativeDeflection * diagonal;
  parameters.Angle = kAngularDeflection;
  parameters.InParallel = Standard_True;
  BRepMesh_IncrementalMesh mesher(all, parameters);

  for (const Part& part : parts) {
    const size_t first = soup.size();
    const double volume6 = appendTriangles(part.shape, soup);
    if (part.closed && volume6 < 0.0) turnOver(soup, first);
  }
  return soup;
}

}  // namespace vekmesh::converter
