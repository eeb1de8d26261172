// libFuzzer target of the converter's entry: any bytes under a STEP or an
// IGES name (the first byte chooses) must give a soup or the empty result,
// without a crash, a leak or an exception crossing the C functions, and what
// comes back must be whole triangles of finite corners.
#include <cmath>
#include <cstdlib>

#include "converter/vekmesh_converter.h"
#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const bool iges = data[0] & 1;
  const char* path = vekmesh::fuzz::asFile(data + 1, size - 1, iges ? "igs" : "step");
  float* corners = nullptr;
  uint32_t count = 0;
  (iges ? vekmeshcvtImportIgesFile : vekmeshcvtImportStepFile)(path, &corners, &count);
  if ((count == 0) != (corners == nullptr)) std::abort();
  for (size_t i = 0; i < size_t(count) * 9; ++i)
    if (!std::isfinite(corners[i])) std::abort();
  vekmeshcvtFreeAllArray();
  return 0;
}
