// PLY reading and writing. The reader takes the file whole, parses the header
// into elements and typed properties, checks each element's count against the
// bytes left (a record needs at least its fixed-size fields, or one character
// and a separator per field in ASCII) and then reads the records in order,
// keeping vertex positions and colours and face index lists.
#include "io/ply.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>

#include "io/file_handle.h"
#include "io/platform_file.h"
#include "mesh/color_byte.h"

namespace vekmesh {
namespace {

enum class Scalar : uint8_t { kInt8, kUint8, kInt16, kUint16, kInt32, kUint32, kFloat32, kFloat64 };
enum class Encoding { kAscii, kLittle, kBig };

struct Property {
  std::string name;
  Scalar type = Scalar::kFloat32;
  bool list = false;
  Scalar count_type = Scalar::kUint8;
};

struct Element {
  std::string name;
  uint64_t count = 0;
  std::vector<Property> properties;
};

size_t scalarBytes(Scalar s) {
  static const size_t kBytes[] = {1, 1, 2, 2, 4, 4, 4, 8};
  return kBytes[static_cast<int>(s)];
}

bool isFloating(Scalar s) {
  return s == Scalar::kFloat32 || s == Scalar::kFloat64;
}

bool parseScalar(std::string_view n, Scalar& s) {
  static const std::pair<const char*, Scalar> kNames[] = {
      {"char", Scalar::kInt8},      {"int8", Scalar::kInt8},       {"uchar", Scalar::kUint8},
      {"uint8", Scalar::kUint8},    {"short", Scalar::kInt16},     {"int16", Scalar::kInt16},
      {"ushort", Scalar::kUint16},  {"uint16", Scalar::kUint16},   {"int", Scalar::kInt32},
      {"int32", Scalar::kInt32},    {"uint", Scalar::kUint32},     {"uint32", Scalar::kUint32},
      {"float", Scalar::kFloat32},  {"float32", Scalar::kFloat32}, {"double", Scalar::kFloat64},
      {"float64", Scalar::kFloat64}};
  for (const auto& [name, type] : kNames)
    if (n == name) return s = type, true;
  return false;
}

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    const size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

// Parses the header; `data` is set to the first byte after "end_header\n".
bool parseHeader(std::string_view bytes, Encoding& encoding, std::vector<Element>& elements,
                 size_t& data) {
  size_t at = 0;
  bool first = true, has_format = false;
  while (at < bytes.size()) {
    const size_t end = bytes.find('\n', at);
    if (end == std::string_view::npos) return false;
    std::string_view line = bytes.substr(at, end - at);
    at = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    const std::vector<std::string_view> w = words(line);
    if (first) {
      if (w.size() != 1 || w[0] != "ply") return false;
      first = false;
      continue;
    }
    if (w.empty() || w[0] == "comment" || w[0] == "obj_info") continue;
    if (w[0] == "end_header") {
      data = at;
      return has_format;
    }
    if (w[0] == "format" && w.size() >= 2) {
      has_format = true;
      if (w[1] == "ascii")
        encoding = Encoding::kAscii;
      else if (w[1] == "binary_little_endian")
        encoding = Encoding::kLittle;
      else if (w[1] == "binary_big_endian")
        encoding = Encoding::kBig;
      else
        return false;
    } else if (w[0] == "element" && w.size() == 3) {
      Element e;
      e.name = std::string(w[1]);
      const auto r = std::from_chars(w[2].data(), w[2].data() + w[2].size(), e.count);
      if (r.ec != std::errc() || r.ptr != w[2].data() + w[2].size()) return false;
      elements.push_back(std::move(e));
    } else if (w[0] == "property" && !elements.empty()) {
      Property p;
      if (w.size() == 5 && w[1] == "list") {
        p.list = true;
        if (!parseScalar(w[2], p.count_type) || isFloating(p.count_type)) return false;
        if (!parseScalar(w[3], p.type)) return false;
        p.name = std::string(w[4]);
      } else if (w.size() == 3) {
        if (!parseScalar(w[1], p.type)) return false;
        p.name = std::string(w[2]);
      } else {
        return false;
      }
      elements.back().properties.push_back(std::move(p));
    } else {
      return false;
    }
  }
  return false;
}

// Reads values from the data part in the file's encoding; `ok` turns false
// for good at the first value that is missing or malformed.
class ValueReader {
 public:
  ValueReader(std::string_view data, Encoding encoding) : data_(data), encoding_(encoding) {}

  double next(Scalar type) {
    if (!ok) return 0.0;
    return encoding_ == Encoding::kAscii ? nextText() : nextBinary(type);
  }
  size_t left() const { return data_.size() - at_; }
  bool ascii() const { return encoding_ == Encoding::kAscii; }
  bool ok = true;

 private:
  double nextText() {
    while (at_ < data_.size() && std::strchr(" \t\r\n", data_[at_]) && data_[at_]) ++at_;
    const size_t start = at_;
    while (at_ < data_.size() && !std::strchr(" \t\r\n", data_[at_])) ++at_;
    double value = 0.0;
    const auto r = std::from_chars(data_.data() + start, data_.data() + at_, value);
    if (start == at_ || r.ec != std::errc() || r.ptr != data_.data() + at_) ok = false;
    return value;
  }
  double nextBinary(Scalar type) {
    const size_t n = scalarBytes(type);
    if (left() < n) return ok = false, 0.0;
    unsigned char b[8];
    std::memcpy(b, data_.data() + at_, n);
    at_ += n;
    if (encoding_ == Encoding::kBig) std::reverse(b, b + n);
    uint64_t bits = 0;
    for (size_t i = n; i-- > 0;) bits = bits << 8 | b[i];
    switch (type) {
      case Scalar::kInt8:
        return static_cast<int8_t>(bits);
      case Scalar::kUint8:
        return static_cast<uint8_t>(bits);
      case Scalar::kInt16:
        return static_cast<int16_t>(bits);
      case Scalar::kUint16:
        return static_cast<uint16_t>(bits);
      case Scalar::kInt32:
        return static_cast<int32_t>(bits);
      case Scalar::kUint32:
        return static_cast<uint32_t>(bits);
      case Scalar::kFloat32: {
        const uint32_t narrow = static_cast<uint32_t>(bits);
        float f;
        std::memcpy(&f, &narrow, 4);
        return f;
      }
      case Scalar::kFloat64: {
        double d;
        std::memcpy(&d, &bits, 8);
        return d;
      }
    }
    return 0.0;
  }

  std::string_view data_;
  size_t at_ = 0;
  Encoding encoding_;
};

// The fewest bytes one record of `e` takes.
uint64_t minimumRecordBytes(const Element& e, bool ascii) {
  uint64_t bytes = 0;
  for (const Property& p : e.properties)
    bytes += ascii ? 2 : scalarBytes(p.list ? p.count_type : p.type);
  return ascii && bytes ? bytes - 1 : bytes;
}

uint8_t channelByte(double v, Scalar type) {
  if (isFloating(type)) return colorByte(v);
  return static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
}

bool readRecords(std::string_view data, Encoding encoding, const std::vector<Element>& elements,
                 std::vector<float>& xyz, std::vector<uint8_t>& rgb,
                 std::vector<uint32_t>& triangles) {
  ValueReader in(data, encoding);
  for (const Element& e : elements) {
    const uint64_t least = minimumRecordBytes(e, in.ascii());
    if (least == 0) continue;  // no fields: nothing to read, however many
    if (e.count > in.left() / least) return false;
    const bool vertex = e.name == "vertex", face = e.name == "face";
    if (vertex) {
      xyz.assign(3 * e.count, 0.0f);
      rgb.assign(3 * e.count, 255);
    }
    std::vector<uint32_t> polygon;
    for (uint64_t i = 0; i < e.count; ++i) {
      for (const Property& p : e.properties) {
        if (!p.list) {
          const double v = in.next(p.type);
          if (!vertex) continue;
          static const char* const kFields[] = {"x", "y", "z", "red", "green", "blue"};
          for (int k = 0; k < 6; ++k)
            if (p.name == kFields[k]) {
              if (k < 3)
                xyz[3 * i + k] = static_cast<float>(v);
              else
                rgb[3 * i + k - 3] = channelByte(v, p.type);
            }
          continue;
        }
        const double n = in.next(p.count_type);
        const size_t least_item = in.ascii() ? 2 : scalarBytes(p.type);
        if (!in.ok || n < 0 || n > static_cast<double>(in.left() / least_item + 1)) return false;
        const bool keep = face && (p.name == "vertex_indices" || p.name == "vertex_index");
        polygon.clear();
        for (size_t j = 0; j < static_cast<size_t>(n); ++j) {
          const double v = in.next(p.type);
          if (!keep) continue;
          if (!(v >= 0 && v < 4294967295.0) || v != std::floor(v)) return false;
          polygon.push_back(static_cast<uint32_t>(v));
        }
        for (size_t j = 2; j < polygon.size(); ++j)
          triangles.insert(triangles.end(), {polygon[0], polygon[j - 1], polygon[j]});
      }
      if (!in.ok) return false;
    }
  }
  return in.ok;
}

bool readWhole(const char* path, std::string& bytes) {
  uint64_t size = 0;
  FileHandle file(openRegularFile(path, size));
  if (!file || size > SIZE_MAX / 2) return false;
  bytes.resize(static_cast<size_t>(size));
  return std::fread(bytes.data(), 1, bytes.size(), file.get()) == bytes.size();
}

}  // namespace

size_t readPly(const char* path, SubMesh& mesh) {
  ByteSoup soup;
  std::string bytes;
  Encoding encoding = Encoding::kAscii;
  std::vector<Element> elements;
  size_t data = 0;
  std::vector<float> xyz;
  std::vector<uint8_t> rgb;
  std::vector<uint32_t> triangles;
  const bool ok =
      path && readWhole(path, bytes) && parseHeader(bytes, encoding, elements, data) &&
      readRecords(std::string_view(bytes).substr(data), encoding, elements, xyz, rgb, triangles) &&
      triangles.size() / 3 <= UINT32_MAX;
  const size_t vertices = xyz.size() / 3;
  const bool in_range = ok && std::all_of(triangles.begin(), triangles.end(),
                                          [&](uint32_t v) { return v < vertices; });
  if (in_range) {
    bytes = std::string();  // the file's copy goes before the soup grows
    soup.corners.reserve(triangles.size() * 3);
    soup.colors.reserve(triangles.size() * 3);
    for (uint32_t v : triangles) {
      soup.corners.insert(soup.corners.end(), &xyz[3 * v], &xyz[3 * v] + 3);
      soup.colors.insert(soup.colors.end(), &rgb[3 * v], &rgb[3 * v] + 3);
    }
    soup.materials.assign(triangles.size() / 3, kNoMaterial);
  }
  buildTriMesh(mesh, soup);
  return soup.triangleCount();
}

bool writePly(const char* path, const SubMesh& mesh) {
  bool colored = false;
  for (const Face& f : mesh.faces)
    if (!f.removed)
      for (int k = 0; k < 9 && !colored; ++k) colored = f.colors[k / 3][k % 3] != 255;
  // One written vertex per welded vertex and corner colour.
  std::unordered_map<uint64_t, uint32_t> numbers;
  std::vector<int32_t> sources;
  std::vector<uint8_t> colors;
  std::vector<uint32_t> indices;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    for (int c = 0; c < 3; ++c) {
      const uint64_t rgb =
          colored ? uint64_t{f.colors[c][0]} << 16 | uint64_t{f.colors[c][1]} << 8 | f.colors[c][2]
                  : 0;
      const uint64_t key = uint64_t(uint32_t(f.v[c])) << 24 | rgb;
      const auto [it, fresh] = numbers.emplace(key, static_cast<uint32_t>(sources.size()));
      if (fresh) {
        sources.push_back(f.v[c]);
        colors.insert(colors.end(), {f.colors[c][0], f.colors[c][1], f.colors[c][2]});
      }
      indices.push_back(it->second);
    }
  }
  std::string out = "ply\nformat binary_little_endian 1.0\ncomment VEKmesh\nelement vertex " +
                    std::to_string(sources.size()) +
                    "\nproperty float x\nproperty float y\nproperty float z\n";
  if (colored) out += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
  out += "element face " + std::to_string(indices.size() / 3) +
         "\nproperty list uchar int vertex_indices\nend_header\n";
  const auto put32 = [&](uint32_t x) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>(x >> (8 * i)));
  };
  for (size_t i = 0; i < sources.size(); ++i) {
    for (float x : mesh.vertices[sources[i]].position) {
      uint32_t bits;
      std::memcpy(&bits, &x, 4);
      put32(bits);
    }
    if (colored) out.append(reinterpret_cast<const char*>(&colors[3 * i]), 3);
  }
  for (size_t t = 0; t < indices.size(); t += 3) {
    out.push_back(3);
    for (int k = 0; k < 3; ++k) put32(indices[t + k]);
  }
  FileHandle file(openFile(path, "wb"));
  if (!file) return false;
  return writeInPieces(file.get(), out.data(), out.size()) && finishWriting(file);
}

}  // namespace vekmesh
