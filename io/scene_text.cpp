// Reading a scene file whole, and inflating gzip through zlib with the output
// bounded.
#include "io/scene_text.h"

#include <zlib.h>

#include <algorithm>
#include <vector>

#include "io/file_handle.h"

namespace vekmesh {
namespace {

std::string inflated(const unsigned char* bytes, size_t size) {
  std::string out;
  z_stream z{};
  // 16 + MAX_WBITS: a gzip header and trailer, several members in a row.
  if (inflateInit2(&z, 16 + MAX_WBITS) != Z_OK) return out;
  z.next_in = const_cast<unsigned char*>(bytes);
  z.avail_in = static_cast<uInt>(std::min<size_t>(size, UINT32_MAX));
  size_t consumed_before = 0;
  std::vector<unsigned char> chunk(1 << 16);
  for (;;) {
    z.next_out = chunk.data();
    z.avail_out = static_cast<uInt>(chunk.size());
    const int status = inflate(&z, Z_NO_FLUSH);
    out.append(reinterpret_cast<const char*>(chunk.data()), chunk.size() - z.avail_out);
    if (out.size() >= kMaxSceneText) {
      out.resize(kMaxSceneText);
      break;
    }
    if (status == Z_STREAM_END) {
      // Another member may follow.
      if (z.avail_in == 0 || inflateReset(&z) != Z_OK) break;
      continue;
    }
    if (status != Z_OK) break;  // corrupt or cut short: keep what inflated
    const size_t consumed = size_t(z.total_in);
    if (z.avail_in == 0 && consumed == consumed_before && z.avail_out != 0) break;
    consumed_before = consumed;
  }
  inflateEnd(&z);
  return out;
}

}  // namespace

std::string sceneText(const unsigned char* bytes, size_t size) {
  if (size >= 2 && bytes[0] == 0x1f && bytes[1] == 0x8b) return inflated(bytes, size);
  return std::string(reinterpret_cast<const char*>(bytes), std::min(size, kMaxSceneText));
}

bool readSceneText(const char* path, std::string& text) {
  uint64_t size = 0;
  FileHandle file = openRegularFile(path, size);
  if (!file) return false;
  std::vector<unsigned char> bytes(size_t(std::min<uint64_t>(size, kMaxSceneText)));
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
  text = sceneText(bytes.data(), bytes.size());
  return true;
}

}  // namespace vekmesh
