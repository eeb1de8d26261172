// The converter's C layer: the three exports, the arrays it has handed out
// (held until vekmeshcvtFreeAllArray), and the barriers that keep OpenCASCADE's
// failures on this side: the reading and meshing run in a child process
// (isolated_run.h) under a time and memory limit, and every exception stops
// inside it.
#include <sys/stat.h>

#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "converter/cad_reading.h"
#include "converter/cad_tessellation.h"
#include "converter/isolated_run.h"
#include "converter/vekmesh_converter.h"

using namespace vekmesh::converter;

namespace {

// Every array handed out and not yet released. The main library makes one
// call at a time, so this list needs no lock.
std::vector<float*>& handedOut() {
  static std::vector<float*> arrays;
  return arrays;
}

// OpenCASCADE's readers report to the standard output through its default
// messenger ("Total number of loaded entities"); a library must not write on
// its host's output. The messenger's printers are set aside for the call and
// put back after it, so that a host using OpenCASCADE itself keeps its own.
class QuietMessages {
 public:
  QuietMessages() : messenger_(Message::DefaultMessenger()) {
    if (messenger_.IsNull()) return;
    saved_ = messenger_->Printers();
    messenger_->ChangePrinters().Clear();
  }
  ~QuietMessages() {
    if (!messenger_.IsNull()) messenger_->ChangePrinters() = saved_;
  }
  QuietMessages(const QuietMessages&) = delete;
  QuietMessages& operator=(const QuietMessages&) = delete;

 private:
  Handle(Message_Messenger) messenger_;
  Message_SequenceOfPrinters saved_;
};

struct Request {
  const char* path;
  CadFileKind kind;
};

// The child's work: read, sew, mesh.
std::vector<float> convert(const void* argument) {
  const Request& request = *static_cast<const Request*>(argument);
  try {
    const QuietMessages quiet;
    return tessellateShape(readCadFile(request.path, request.kind));
  } catch (...) {
    // Standard_Failure and std::exception alike: the empty result stands.
    return {};
  }
}

void importFile(const char* path, float** corners_out, uint32_t* count_out, CadFileKind kind) {
  if (corners_out) *corners_out = nullptr;
  if (count_out) *count_out = 0;
  if (!path || !corners_out || !count_out) return;
  // Only regular files: a FIFO or a device would block the reader.
  struct stat file {};
  if (stat(path, &file) != 0 || !S_ISREG(file.st_mode)) return;
  try {
    const Request request{path, kind};
    const std::vector<float> soup =
        runIsolated(&convert, &request, limitsForFile(uint64_t(file.st_size)));
    const size_t triangles = soup.size() / 9;
    if (triangles == 0 || triangles > UINT32_MAX) return;
    handedOut().reserve(handedOut().size() + 1);
    float* array = static_cast<float*>(std::malloc(soup.size() * sizeof(float)));
    if (!array) return;
    std::memcpy(array, soup.data(), soup.size() * sizeof(float));
    handedOut().push_back(array);  // room was reserved: cannot throw
    *corners_out = array;
    *count_out = static_cast<uint32_t>(triangles);
  } catch (...) {
    // Out of memory here: the empty result stands.
  }
}

}  // namespace

extern "C" {

VEKMESHCVT_API void vekmeshcvtImportStepFile(const char* path, float** corners_out,
                                             uint32_t* count_out) {
  importFile(path, corners_out, count_out, CadFileKind::kStep);
}

VEKMESHCVT_API void vekmeshcvtImportIgesFile(const char* path, float** corners_out,
                                             uint32_t* count_out) {
  importFile(path, corners_out, count_out, CadFileKind::kIges);
}

VEKMESHCVT_API void vekmeshcvtFreeAllArray(void) {
  for (float* array : handedOut()) std::free(array);
  handedOut().clear();
}

}  // extern "C"
