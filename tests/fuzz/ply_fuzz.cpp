// libFuzzer target of the PLY reader and writer: any bytes must read without a
// crash, a leak or an unbounded allocation into a mesh that keeps the
// construction invariants, and what the writer makes of it must read back.
#include "fuzz_file.h"
#include "io/ply.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekmesh;
  TriMesh mesh;
  readPly(fuzz::asFile(data, size, "ply"), mesh);
  fuzz::checkMesh(mesh);
  writePly(fuzz::scratchPath("ply"), mesh);
  TriMesh again;
  readPly(fuzz::scratchPath("ply"), again);
  fuzz::checkMesh(again);
  return 0;
}
