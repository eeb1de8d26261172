// libFuzzer target of the tool's OBJ reader and writer: any text must read
// without a crash, a leak or an unbounded allocation, either into a mesh that
// keeps the construction invariants or into an error with an empty mesh, and
// what the writer makes of a mesh must read back with the same faces.
#include "fuzz_file.h"
#include "io/obj_tool.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekmesh;
  TriMesh mesh;
  ModelNames names;
  const ObjToolRead read = readObjTool(fuzz::asFile(data, size, "obj"), mesh, names);
  fuzz::checkMesh(mesh);
  if (!read.error.empty() && !mesh.faces.empty()) std::abort();
  if (!writeObjTool(fuzz::scratchPath("obj"), mesh, names)) return 0;
  TriMesh again;
  ModelNames names_again;
  if (!readObjTool(fuzz::scratchPath("obj"), again, names_again).error.empty()) std::abort();
  fuzz::checkMesh(again);
  if (again.faces.size() != mesh.faces.size()) std::abort();
  return 0;
}
