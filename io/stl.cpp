// STL loading and writing. A file is binary when its size is exactly
// 84 + 50 x N for the count N at byte 80, ASCII otherwise; binary records are
// read in large blocks and unpacked straight into the soup that gets welded,
// large files in parts by the team; written in blocks that start on their way
// to the disk as soon as each is handed over.
#include "io/stl.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "io/file_handle.h"
#include "io/stl_ascii.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

constexpr size_t kHeaderBytes = 80;
constexpr size_t kPreambleBytes = 84;  // header and count
constexpr size_t kRecordBytes = 50;    // normal, three corners, attribute
constexpr size_t kCornersOffset = 12;  // the normal is skipped
constexpr size_t kCornersBytes = 36;
// Records per block read or written: about 800 KB, large enough that the read
// calls cost nothing next to unpacking, small enough to stay in cache.
constexpr size_t kRecordsPerBlock = 16384;

constexpr bool kLittleEndianHost = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

uint32_t loadLittle32(const unsigned char* p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

void storeLittle32(unsigned char* p, uint32_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
  p[2] = static_cast<unsigned char>(v >> 16);
  p[3] = static_cast<unsigned char>(v >> 24);
}

// Nine little-endian floats from `src` to `dst`.
void unpackCorners(const unsigned char* src, float* dst) {
  if (kLittleEndianHost) {
    std::memcpy(dst, src, kCornersBytes);
    return;
  }
  for (int i = 0; i < 9; ++i) {
    const uint32_t bits = loadLittle32(src + 4 * i);
    std::memcpy(dst + i, &bits, 4);
  }
}

void packCorner(unsigned char* dst, const std::array<float, 3>& p) {
  for (int a = 0; a < 3; ++a) {
    uint32_t bits;
    std::memcpy(&bits, &p[a], 4);
    storeLittle32(dst + 4 * a, bits);
  }
}

// The triangle count at byte 80; false when the file is too short to have one.
bool readDeclaredCount(std::FILE* file, uint64_t size, uint32_t& count) {
  count = 0;
  unsigned char bytes[4];
  if (size < kPreambleBytes || std::fseek(file, kHeaderBytes, SEEK_SET) != 0 ||
      std::fread(bytes, 1, 4, file) != 4)
    return false;
  count = loadLittle32(bytes);
  return true;
}

// Records [first, last) from `file`, unpacked into their places in
// `corners`; returns how many were read, fewer where the file ends early.
size_t readRecords(std::FILE* file, size_t first, size_t last, float* corners) {
  if (first >= last || !seekFile(file, kPreambleBytes + uint64_t(kRecordBytes) * first)) return 0;
  std::vector<unsigned char> block(std::min(last - first, kRecordsPerBlock) * kRecordBytes);
  size_t done = 0;
  while (first + done < last) {
    const size_t records = std::min(last - first - done, kRecordsPerBlock);
    const size_t got = std::fread(block.data(), kRecordBytes, records, file);
    for (size_t r = 0; r < got; ++r)
      unpackCorners(block.data() + r * kRecordBytes + kCornersOffset,
                    corners + 9 * (first + done + r));
    done += got;
    if (got < records) break;
  }
  return done;
}

// Files of fewer records are read on the calling thread.
constexpr size_t kRecordsPerPart = 4 * kRecordsPerBlock;

// Reads up to `declared` records after the preamble, but never more than the
// file holds: a count of four billion in a short file costs only what is there.
// A large file is read in parts, each through a handle of its own, so that the
// team shares the copying, the unpacking and the first touch of the soup's
// pages. A short read (the file shrank under us) ends the list at the last
// whole record before it. Returns the number of records read.
size_t readBinary(SubMesh& mesh, const char* path, std::FILE* file, uint64_t size,
                  uint32_t declared) {
  const uint64_t present = size >= kPreambleBytes ? (size - kPreambleBytes) / kRecordBytes : 0;
  const size_t wanted = static_cast<size_t>(std::min<uint64_t>(declared, present));
  // Left uninitialised: every float handed on is first written from a record.
  std::unique_ptr<float[]> corners;
  size_t triangles = 0;
  if (wanted > 0) {
    corners.reset(new float[wanted * 9]);
    const int parts = wanted >= 2 * kRecordsPerPart ? loopParts(int64_t(wanted)) : 1;
    std::vector<size_t> got(size_t(parts), 0);
    std::vector<uint8_t> failed(size_t(parts), 0);
#pragma omp parallel for schedule(static, 1) num_threads(parts) if (parts > 1)
    for (int t = 0; t < parts; ++t) {
      const size_t first = partStart(wanted, t, parts), last = partStart(wanted, t + 1, parts);
      try {
        if (t == 0) {
          got[0] = readRecords(file, first, last, corners.get());
        } else {
          uint64_t size_now = 0;
          FileHandle own = openRegularFile(path, size_now);
          if (own) got[size_t(t)] = readRecords(own.get(), first, last, corners.get());
        }
      } catch (...) {
        failed[size_t(t)] = 1;  // no exception may leave the team
      }
    }
    if (std::count(failed.begin(), failed.end(), 1) > 0) throw std::bad_alloc();
    for (int t = 0; t < parts; ++t) {
      triangles += got[size_t(t)];
      if (got[size_t(t)] < partStart(wanted, t + 1, parts) - partStart(wanted, t, parts)) break;
    }
  }
  buildTriMesh(mesh, static_cast<uint32_t>(triangles), std::move(corners));
  return triangles;
}

}  // namespace

size_t loadStl(const char* path, SubMesh& mesh, const RunContext& run) {
  uint64_t size = 0;
  FileHandle file = openRegularFile(path, size);
  if (!file) return 0;
  uint32_t declared = 0;
  const bool has_count = readDeclaredCount(file.get(), size, declared);
  run.report(0.1);
  const bool binary_size = has_count && size == kPreambleBytes + kRecordBytes * uint64_t(declared);
  size_t triangles = 0;
  if (!binary_size) {
    // Text and binary mode are the same stream here, so starting over at
    // byte 0 is the reopening as text.
    std::rewind(file.get());
    const std::vector<float> corners = parseAsciiStl(file.get(), size);
    triangles = corners.size() / 9;
    buildTriMesh(mesh, static_cast<uint32_t>(triangles), corners.data(), nullptr, nullptr, nullptr);
  }
  // A size that does not match but holds no ASCII facets is still tried as
  // binary (a truncated or padded binary file).
  if (binary_size || mesh.faces.empty())
    triangles = readBinary(mesh, path, file.get(), size, declared);
  run.report(0.96);
  return triangles;
}

bool writeStl(const char* path, const SubMesh& mesh) {
  if (!path) return false;
  unsigned char preamble[kPreambleBytes] = {};
  std::memcpy(preamble, "VEKMesh", 7);
  const size_t live = liveFaceCount(mesh);
  storeLittle32(preamble + kHeaderBytes, static_cast<uint32_t>(live));
  // Record r is face r, or with removed faces the r-th live one.
  std::vector<size_t> live_faces;
  if (live != mesh.faces.size())
    live_faces = elementsWhere(mesh.faces.size(), [&](size_t f) { return !mesh.faces[f].removed; });
  // Normals and attributes stay zero: the blocks are cleared once and only
  // the corner bytes are overwritten. They are allocated before the file is
  // opened, so running out of memory cannot leave the (possibly replaced)
  // file cut off. The team packs one block while this thread writes the
  // other.
  const size_t block_records = std::min(std::max<size_t>(live, 1), kRecordsPerBlock);
  std::vector<unsigned char> blocks[2];
  blocks[0].resize(block_records * kRecordBytes);
  if (live > kRecordsPerBlock) blocks[1].resize(block_records * kRecordBytes);
  FileHandle file(openFile(path, "wb"));
  if (!file) return false;
  std::fwrite(preamble, 1, kPreambleBytes, file.get());
  auto faceOf = [&](size_t r) { return live_faces.empty() ? r : live_faces[r]; };
  fillThenUseInOrder(
      live, kRecordsPerBlock,
      [&](size_t r, int buffer, size_t k) {
        if (r + kCornerPrefetchAhead < live)
          prefetchCornerPositions(mesh, faceOf(r + kCornerPrefetchAhead));
        const Face& f = mesh.faces[faceOf(r)];
        unsigned char* record = blocks[buffer].data() + k * kRecordBytes;
        for (int c = 0; c < 3; ++c) {
          assert(f.v[c] >= 0 && static_cast<size_t>(f.v[c]) < mesh.vertices.size());
          packCorner(record + kCornersOffset + 12 * c, mesh.vertices[f.v[c]].position);
        }
      },
      [&](size_t first, size_t count, int buffer) {
        // A short write shows as the stream's error when the file is closed.
        writeInPieces(file.get(), blocks[buffer].data(), kRecordBytes * count,
                      kPreambleBytes + kRecordBytes * uint64_t(first));
      });
  return finishWriting(file);
}

}  // namespace vekmesh
