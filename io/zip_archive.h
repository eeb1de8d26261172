// Zip archives held in memory, through minizip (Debian libminizip-dev): the
// archive's bytes are read and written by the caller through the platform
// layer, and minizip sees them through memory callbacks, so no path reaches
// it and no platform file code is needed here.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vekmesh {

class ZipReader {
 public:
  // Takes the whole archive; ok() is false when it is not a zip.
  explicit ZipReader(std::vector<uint8_t> archive);
  ~ZipReader();
  ZipReader(const ZipReader&) = delete;
  ZipReader& operator=(const ZipReader&) = delete;

  bool ok() const { return handle_ != nullptr; }
  // Inflates the entry `name` (compared without regard to case; a leading
  // '/' is ignored) into `out`. False when it is missing, damaged (a CRC that
  // does not match) or would grow past `limit` bytes: the limit is checked as
  // the data comes, not against the size the archive declares, so an archive
  // that lies about its sizes cannot make it allocate more.
  bool read(const std::string& name, std::string& out, uint64_t limit);

  // The size of the archive: callers derive their inflation limit from it.
  uint64_t archiveSize() const { return stream_.data.size(); }

  struct Stream {
    std::vector<uint8_t> data;
    uint64_t position = 0;
  };

 private:
  Stream stream_;
  void* handle_ = nullptr;
};

struct ZipEntry {
  std::string name;
  std::string data;
};

// Writes `entries`, deflated, to `path`. False when the file could not be
// written completely.
bool writeZip(const char* path, const std::vector<ZipEntry>& entries);

}  // namespace vekmesh
