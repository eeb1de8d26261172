// libFuzzer target of the 3MF reader and writer. An input that starts like a
// zip ("PK") is read as the package itself, which exercises the archive
// layer; any other input becomes the model part of a package made here, which
// exercises the XML, the build items and components. Either way the read must
// not crash, leak or allocate without bound, and the writer's package of what
// was read must read back.
#include <string>

#include "fuzz_file.h"
#include "io/threemf.h"
#include "io/zip_archive.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekmesh;
  const char* path = nullptr;
  if (size >= 2 && data[0] == 'P' && data[1] == 'K') {
    path = fuzz::asFile(data, size, "3mf");
  } else {
    path = fuzz::scratchPath("3mf");
    if (!writeZip(path,
                  {{"3D/3dmodel.model", std::string(reinterpret_cast<const char*>(data), size)}}))
      return 0;
  }
  TriMesh mesh;
  read3mf(path, mesh);
  fuzz::checkMesh(mesh);
  write3mf(fuzz::scratchPath("3mf"), mesh);
  TriMesh again;
  read3mf(fuzz::scratchPath("3mf"), again);
  fuzz::checkMesh(again);
  return 0;
}
