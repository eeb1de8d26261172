// Writes the seed corpus of the converter's fuzz target with OpenCASCADE's
// writers: a box, a cylinder, a two-part assembly and a part in inches as
// STEP, the box and the cylinder as loose IGES surfaces. Each seed starts
// with the byte the target reads as its format (0 STEP, 1 IGES).
// Usage: make_cad_seeds DIR
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRep_Builder.hxx>
#include <IGESControl_Controller.hxx>
#include <IGESControl_Writer.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <STEPControl_Writer.hxx>
#include <TopoDS_Compound.hxx>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

// Prefixes the written file with its format byte.
bool prefix(const std::string& path, char format) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::stringstream bytes;
  bytes << in.rdbuf();
  in.close();
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << format << bytes.str();
  return bool(out);
}

bool writeStep(const std::string& path, const TopoDS_Shape& shape, const char* unit, int assembly) {
  Interface_Static::SetCVal("xstep.cascade.unit", "MM");
  STEPControl_Writer writer;
  Interface_Static::SetCVal("write.step.unit", unit);
  Interface_Static::SetIVal("write.step.assembly", assembly);
  writer.Transfer(shape, STEPControl_AsIs);
  return writer.Write(path.c_str()) == IFSelect_RetDone && prefix(path, 0);
}

bool writeIges(const std::string& path, const TopoDS_Shape& shape) {
  IGESControl_Controller::Init();
  Interface_Static::SetCVal("xstep.cascade.unit", "MM");
  IGESControl_Writer writer("MM", 0);
  writer.AddShape(shape);
  writer.ComputeModel();
  return writer.Write(path.c_str()) && prefix(path, 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
    return 2;
  }
  // The writers report their statistics on the standard output.
  Message::DefaultMessenger()->ChangePrinters().Clear();
  const std::string dir = argv[1];
  const TopoDS_Shape box = BRepPrimAPI_MakeBox(10, 20, 30).Shape();
  const TopoDS_Shape cylinder = BRepPrimAPI_MakeCylinder(5, 10).Shape();
  gp_Trsf move;
  move.SetTranslation(gp_Vec(100, 0, 0));
  TopoDS_Compound assembly;
  BRep_Builder builder;
  builder.MakeCompound(assembly);
  builder.Add(assembly, box);
  builder.Add(assembly, box.Moved(TopLoc_Location(move)));
  const bool written = writeStep(dir + "/box.step", box, "MM", 0) &&
                       writeStep(dir + "/cylinder.step", cylinder, "MM", 0) &&
                       writeStep(dir + "/assembly.step", assembly, "MM", 1) &&
                       writeStep(dir + "/inches.step", box, "INCH", 0) &&
                       writeIges(dir + "/box.igs", box) &&
                       writeIges(dir + "/cylinder.igs", cylinder);
  if (!written) std::fprintf(stderr, "make_cad_seeds: cannot write the seeds in %s\n", dir.c_str());
  return written ? 0 : 1;
}
