// libFuzzer target of the OBJ reader and writer: any text must read without a
// crash, a leak or an unbounded allocation into a mesh that keeps the
// construction invariants, and the writer must take whatever was read.
#include "fuzz_file.h"
#include "io/obj.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekmesh;
  TriMesh mesh;
  readObj(fuzz::asFile(data, size, "obj"), mesh);
  fuzz::checkMesh(mesh);
  writeObj(fuzz::scratchPath("obj"), mesh);
  TriMesh again;
  readObj(fuzz::scratchPath("obj"), again);
  fuzz::checkMesh(again);
  return 0;
}
