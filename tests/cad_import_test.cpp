// STEP and IGES import as a host sees it: the test writes small CAD files
// with OpenCASCADE (a box, a cylinder, a two-part assembly with a placement, a
// part in inches, loose IGES surfaces), loads the shared library by path and
// imports them through its exports, which load the converter beside the
// library. Tessellations must come out closed, outward, of the right volume
// and in the right place; bad files and a missing converter give nothing.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <BRepBuilderAPI_MakeEdge.hxx>
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
#include <array>
#include <cmath>
#include <filesystem>
#include <string>

#include "geometry/vectors.h"
#include "io_samples.h"
#include "mesh/mesh_utils.h"
#include "mesh/tri_mesh.h"
#include "mesh_checks.h"

namespace {

namespace test = vekmesh::test;
using test::ScratchDir;

// The exports this test calls, from a library loaded by path.
struct Library {
  void* handle = nullptr;
  void (*importFile)(const char*, float**, float**, float**, int32_t**, uint32_t*) = nullptr;
  void (*importFileStep)(const char*, float**, uint32_t*) = nullptr;
  void (*importFileIges)(const char*, float**, uint32_t*) = nullptr;
  void (*freeAllArray)() = nullptr;

  explicit Library(const std::string& path) : handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!handle) return;
    importFile = reinterpret_cast<decltype(importFile)>(dlsym(handle, "importFile"));
    importFileStep = reinterpret_cast<decltype(importFileStep)>(dlsym(handle, "importFileStep"));
    importFileIges = reinterpret_cast<decltype(importFileIges)>(dlsym(handle, "importFileIges"));
    freeAllArray = reinterpret_cast<decltype(freeAllArray)>(dlsym(handle, "freeAllArray"));
  }
  bool loaded() const { return importFile && importFileStep && importFileIges && freeAllArray; }
};

const Library& library() {
  static const Library loaded(VEKMESH_LIBRARY_PATH);
  return loaded;
}

// What an import handed back, welded again here for the checks.
struct Imported {
  uint32_t count = 7;
  vekmesh::TriMesh mesh;
  std::array<float, 3> lower{}, upper{};
  bool closedOutward() const {
    return test::edgeCensus(mesh).closedManifoldOriented() && vekmesh::enclosedVolume(mesh) > 0;
  }
};

Imported take(const float* corners, uint32_t count) {
  Imported r;
  r.count = count;
  vekmesh::buildTriMesh(r.mesh, count, corners, nullptr, nullptr, nullptr);
  r.lower = {INFINITY, INFINITY, INFINITY};
  r.upper = {-INFINITY, -INFINITY, -INFINITY};
  for (size_t i = 0; i < size_t(count) * 9; ++i) {
    r.lower[i % 3] = std::fmin(r.lower[i % 3], corners[i]);
    r.upper[i % 3] = std::fmax(r.upper[i % 3], corners[i]);
  }
  return r;
}

// Through importFileStep (the same function as importFileIges).
Imported importCorners(const Library& lib, const std::string& path, bool iges_name = false) {
  float* corners = nullptr;
  uint32_t count = 7;
  (iges_name ? lib.importFileIges : lib.importFileStep)(path.c_str(), &corners, &count);
  Imported r = take(corners, count);
  lib.freeAllArray();
  return r;
}

Imported importAll(const std::string& path) {
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t count = 7;
  library().importFile(path.c_str(), &corners, &colors, &uvs, &materials, &count);
  Imported r = take(corners, count);
  library().freeAllArray();
  return r;
}

// `unit` is the file's unit; the shape's numbers are written as they are
// (OpenCASCADE's writer labels them with the unit rather than converting).
std::string writeStep(const ScratchDir& dir, const std::string& name, const TopoDS_Shape& shape,
                      const char* unit = "MM", bool assembly = false) {
  Interface_Static::SetCVal("xstep.cascade.unit", "MM");
  STEPControl_Writer writer;
  Interface_Static::SetCVal("write.step.unit", unit);
  Interface_Static::SetIVal("write.step.assembly", assembly ? 1 : 0);
  writer.Transfer(shape, STEPControl_AsIs);
  const std::string path = dir.file(name);
  EXPECT_EQ(writer.Write(path.c_str()), IFSelect_RetDone);
  return path;
}

// Trimmed surfaces one by one (no solid, no shell): what many IGES files hold.
std::string writeIges(const ScratchDir& dir, const std::string& name, const TopoDS_Shape& shape) {
  IGESControl_Controller::Init();
  Interface_Static::SetCVal("xstep.cascade.unit", "MM");
  IGESControl_Writer writer("MM", 0);
  writer.AddShape(shape);
  writer.ComputeModel();
  const std::string path = dir.file(name);
  EXPECT_TRUE(writer.Write(path.c_str()));
  return path;
}

void expectNear(const std::array<float, 3>& got, const std::array<double, 3>& want, double tol) {
  for (int a = 0; a < 3; ++a) EXPECT_NEAR(got[a], want[a], tol) << "axis " << a;
}

class CadImport : public ::testing::Test {
 protected:
  // OpenCASCADE's writers report their statistics on the standard output.
  static void SetUpTestSuite() { Message::DefaultMessenger()->ChangePrinters().Clear(); }
  void SetUp() override { ASSERT_TRUE(library().loaded()) << dlerror(); }
  ScratchDir dir;
};

TEST_F(CadImport, SolidsComeOutClosedOutwardWithTheirVolume) {
  const TopoDS_Shape box = BRepPrimAPI_MakeBox(gp_Pnt(1, 2, 3), 10, 20, 30).Shape();
  const TopoDS_Shape cylinder = BRepPrimAPI_MakeCylinder(5, 10).Shape();
  const double cylinder_volume = vekmesh::kPi * 25 * 10;
  const struct {
    std::string path;
    double volume;
  } cases[] = {{writeStep(dir, "box.step", box), 6000},
               {writeStep(dir, "cylinder.stp", cylinder), cylinder_volume},
               {writeIges(dir, "box.igs", box), 6000},
               {writeIges(dir, "cylinder.iges", cylinder), cylinder_volume}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    const Imported r = importAll(c.path);
    ASSERT_GT(r.count, 0u);
    EXPECT_EQ(test::invariantViolation(r.mesh), "");
    // Loose IGES surfaces too: sewn before meshing, they share their edges.
    EXPECT_TRUE(r.closedOutward());
    EXPECT_NEAR(vekmesh::enclosedVolume(r.mesh), c.volume, 0.01 * c.volume);
  }
  const Imported r = importCorners(library(), cases[0].path);
  expectNear(r.lower, {1, 2, 3}, 1e-4);
  expectNear(r.upper, {11, 22, 33}, 1e-4);
}

TEST_F(CadImport, AssemblyPlacementsAndInchesReachTheTriangles) {
  // One part placed twice: at the origin and moved by (100, 0, 0).
  const TopoDS_Shape part = BRepPrimAPI_MakeBox(10, 10, 10).Shape();
  gp_Trsf move;
  move.SetTranslation(gp_Vec(100, 0, 0));
  TopoDS_Compound assembly;
  BRep_Builder builder;
  builder.MakeCompound(assembly);
  builder.Add(assembly, part);
  builder.Add(assembly, part.Moved(TopLoc_Location(move)));
  const Imported two = importCorners(library(), writeStep(dir, "two.step", assembly, "MM", true));
  EXPECT_TRUE(two.closedOutward());
  vekmesh::TriMesh shells = two.mesh;
  vekmesh::buildShells(shells);
  EXPECT_EQ(shells.shells.size(), 2u);
  EXPECT_NEAR(vekmesh::enclosedVolume(two.mesh), 2000, 20);
  expectNear(two.lower, {0, 0, 0}, 1e-4);
  expectNear(two.upper, {110, 10, 10}, 1e-4);

  // A box of 1 x 2 x 3 inches comes out in millimetres.
  const std::string inches =
      writeStep(dir, "inches.step", BRepPrimAPI_MakeBox(1, 2, 3).Shape(), "INCH");
  const std::string text = test::readFileBytes(inches);
  ASSERT_NE(text.find("CONVERSION_BASED_UNIT('INCH'"), std::string::npos);
  ASSERT_NE(text.find("CARTESIAN_POINT('',(0.,0.,3.))"), std::string::npos);
  const Imported r = importCorners(library(), inches);
  EXPECT_TRUE(r.closedOutward());
  expectNear(r.upper, {25.4, 50.8, 76.2}, 1e-3);
  EXPECT_NEAR(vekmesh::enclosedVolume(r.mesh), 6 * 25.4 * 25.4 * 25.4, 0.01 * 98322.384);
}

TEST_F(CadImport, ExtensionDecidesAndBadFilesGiveNothing) {
  const std::string step = writeStep(dir, "part.stp", BRepPrimAPI_MakeBox(1, 1, 1).Shape());
  const std::string bytes = test::readFileBytes(step);
  // The name called does not decide the format: .stp through importFileIges
  // is read as STEP.
  const Imported as_iges = importCorners(library(), step, /*iges_name=*/true);
  EXPECT_GT(as_iges.count, 0u);
  EXPECT_EQ(as_iges.count, importCorners(library(), step).count);
  // The exports compare extensions exactly: part.STEP is no STEP file.
  EXPECT_EQ(importCorners(library(), dir.write("part.STEP", bytes)).count, 0u);

  const std::string no_geometry =
      "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\nFILE_NAME('','',(''),(''),'','',"
      "'');\nFILE_SCHEMA(('CONFIG_CONTROL_DESIGN'));\nENDSEC;\nDATA;\nENDSEC;\nEND-ISO-10303-21;\n";
  std::string garbage(4096, '\0');
  for (size_t i = 0; i < garbage.size(); ++i) garbage[i] = char(i * 131 + (i >> 3));
  TopoDS_Compound curves;
  BRep_Builder builder;
  builder.MakeCompound(curves);
  builder.Add(curves, BRepBuilderAPI_MakeEdge(gp_Pnt(0, 0, 0), gp_Pnt(1, 2, 3)).Edge());
  const std::string bad[] = {dir.write("garbage.step", garbage),
                             dir.write("empty.step", ""),
                             dir.write("truncated.step", bytes.substr(0, bytes.size() / 2)),
                             dir.write("nothing.step", no_geometry),
                             dir.write("text.iges", "not an IGES file\n"),
                             writeIges(dir, "curves.igs", curves),
                             dir.file("missing.step"),
                             dir.path() + "/.step"};
  for (const std::string& path : bad) {
    SCOPED_TRACE(path);
    EXPECT_EQ(importAll(path).count, 0u);
    EXPECT_EQ(importCorners(library(), path).count, 0u);
  }
}

// OpenCASCADE's STEP reader dereferences null on a face bound whose loop is
// of an unknown type (found by fuzzing): the reader runs in a child process,
// so the host sees an empty model, and the next import works.
TEST_F(CadImport, ReaderCrashGivesNothingAndLeavesTheHostRunning) {
  const std::string good = writeStep(dir, "box.step", BRepPrimAPI_MakeBox(1, 1, 1).Shape());
  std::string bytes = test::readFileBytes(good);
  const size_t loop = bytes.find("= EDGE_LOOP(");
  ASSERT_NE(loop, std::string::npos);
  bytes[loop + 2] = 'X';
  EXPECT_EQ(importCorners(library(), dir.write("crash.step", bytes)).count, 0u);
  EXPECT_EQ(importCorners(library(), good).count, 12u);
}

// The child's memory limit is a budget on top of what the host holds: a host
// with more data than the budget itself (3 GiB reserved here, never touched)
// still imports.
TEST_F(CadImport, HostWithLargeHeapStillImports) {
  const size_t reserved = size_t(3) << 30;
  void* heap = mmap(nullptr, reserved, PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(heap, MAP_FAILED);
  const std::string box = writeStep(dir, "box.step", BRepPrimAPI_MakeBox(1, 1, 1).Shape());
  EXPECT_EQ(importCorners(library(), box).count, 12u);
  munmap(heap, reserved);
}

// A copy of the library in a folder of its own finds no converter beside it
// and, unless one is installed on the search path, returns empty models; the
// converter copied beside it is then found. (The converter has no soname, so
// the one this process loaded by its path cannot answer the copy's look-up.)
TEST_F(CadImport, LibraryWithoutConverterLoadsAndReturnsEmptyModels) {
  const std::string step = writeStep(dir, "box.step", BRepPrimAPI_MakeBox(1, 1, 1).Shape());
  const std::filesystem::path lib = VEKMESH_LIBRARY_PATH;
  const std::string copy = dir.file(lib.filename().string());
  std::filesystem::copy_file(lib, copy);
  const Library alone(copy);
  ASSERT_TRUE(alone.loaded());
  if (dlopen("libVEKmeshconverter64.so", RTLD_NOW | RTLD_LOCAL))
    GTEST_SKIP() << "a converter is installed on the library search path";
  EXPECT_EQ(importCorners(alone, step).count, 0u);
  float *corners = nullptr, *colors = nullptr, *uvs = nullptr;
  int32_t* materials = nullptr;
  uint32_t count = 7;
  alone.importFile(step.c_str(), &corners, &colors, &uvs, &materials, &count);
  EXPECT_EQ(count, 0u);
  EXPECT_TRUE(corners && colors && uvs && materials) << "empty arrays are still handed out";
  alone.freeAllArray();

  std::filesystem::copy_file(VEKMESH_CONVERTER_PATH, dir.file("libVEKmeshconverter64.so"));
  EXPECT_EQ(importCorners(alone, step).count, 12u);
}

}  // namespace
