// Loading the STEP/IGES converter at run time and welding its soup: the
// library beside this module first, then the system's search path (dlopen,
// LoadLibrary through the platform layer), loaded again for every import. The
// converter stays mapped once loaded (it is linked never to unload), so the
// later loads cost a look-up, and this library keeps no state for it.
#include "io/cad.h"

#include <string>

#include "io/platform_file.h"

namespace vekmesh {
namespace {

using ImportFunction = void (*)(const char* path, float** corners, uint32_t* count);
using FreeFunction = void (*)();

struct Converter {
  LibraryHandle library;
  ImportFunction import_step = nullptr;
  ImportFunction import_iges = nullptr;
  FreeFunction free_all = nullptr;

  explicit operator bool() const { return import_step && import_iges && free_all; }
};

Converter bindConverter(LibraryHandle library) {
  Converter c;
  c.import_step = reinterpret_cast<ImportFunction>(findSymbol(library, "vekmeshcvtImportStepFile"));
  c.import_iges = reinterpret_cast<ImportFunction>(findSymbol(library, "vekmeshcvtImportIgesFile"));
  c.free_all = reinterpret_cast<FreeFunction>(findSymbol(library, "vekmeshcvtFreeAllArray"));
  c.library = std::move(library);
  return c;
}

// A library of the right name that lacks a function is passed over, as if
// it were not there.
Converter loadConverter() {
  const std::string name = libraryFileName(kConverterStem);
  const std::string folder = thisModuleFolder();
  if (!folder.empty())
    if (Converter beside = bindConverter(openLibrary((folder + name).c_str()))) return beside;
  return bindConverter(openLibrary(name.c_str()));
}

// Releases the converter's arrays however the build ends.
class ConverterRelease {
 public:
  explicit ConverterRelease(FreeFunction free_all) : free_all_(free_all) {}
  ~ConverterRelease() { free_all_(); }
  ConverterRelease(const ConverterRelease&) = delete;
  ConverterRelease& operator=(const ConverterRelease&) = delete;

 private:
  FreeFunction free_all_;
};

}  // namespace

size_t importCad(const char* path, SubMesh& mesh, CadFormat format, const RunContext& run) {
  const Converter converter = loadConverter();
  if (!converter) return 0;
  run.report(0.0);
  float* corners = nullptr;
  uint32_t count = 0;
  (format == CadFormat::kIges ? converter.import_iges : converter.import_step)(path, &corners,
                                                                               &count);
  if (!corners) count = 0;
  {
    const ConverterRelease release(converter.free_all);
    buildTriMesh(mesh, count, corners, nullptr, nullptr, nullptr);
  }
  run.report(1.0);
  return count;
}

bool cadConverterAvailable() {
  return static_cast<bool>(loadConverter());
}

}  // namespace vekmesh
