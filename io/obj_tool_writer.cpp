// The tool's OBJ writer: vertex lines numbered per welded vertex (split by
// corner colour only when the model is coloured), distinct texture
// coordinates, faces ordered by written material with a stable sort, numbers
// in their shortest round-trip form (std::to_chars), the text built in a
// buffer and written in large blocks; the .mtl and the OBJ renamed into place
// together.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <unordered_map>

#include "io/colour_lines.h"
#include "io/file_handle.h"
#include "io/file_replace.h"
#include "io/mtl.h"
#include "io/obj_tool.h"
#include "io/text_lines.h"

namespace vekmesh {
namespace {

// Text written to a file in blocks, each sent on its way to the disk when
// handed over; remembers a failed write.
class BlockWriter {
 public:
  explicit BlockWriter(std::FILE* file) : file_(file) { text_.reserve(kBlock + 256); }
  std::string& text() { return text_; }
  void line() {
    text_ += '\n';
    if (text_.size() >= kBlock) flush();
  }
  bool flush() {
    if (!writeInPieces(file_, text_.data(), text_.size(), written_)) ok_ = false;
    written_ += text_.size();
    text_.clear();
    return ok_;
  }

 private:
  static constexpr size_t kBlock = size_t(1) << 20;
  std::FILE* file_;
  std::string text_;
  uint64_t written_ = 0;
  bool ok_ = true;
};

template <class T>
void appendNumber(std::string& s, T value) {
  char digits[32];
  const auto r = std::to_chars(digits, digits + sizeof digits, value);
  s.append(digits, r.ptr);
}

void appendIndex(std::string& s, uint64_t value) {
  appendNumber(s, value);
}

// The material names as written: the file's name, "material_<m>" for an
// unnamed material with an image (or one the names do not cover), "" for an
// unnamed one without (its faces get no "usemtl").
struct WrittenMaterials {
  std::vector<std::string> names;     // per material index in use
  std::vector<MaterialName> library;  // the .mtl entries, distinct names
};

WrittenMaterials writtenMaterials(const SubMesh& mesh, const ModelNames& names,
                                  const std::string& path) {
  int largest = -1;
  for (const Face& f : mesh.faces)
    if (!f.removed) largest = std::max<int>(largest, f.material);
  WrittenMaterials out;
  out.names.resize(static_cast<size_t>(largest + 1));
  std::vector<bool> used(out.names.size(), false);
  for (const Face& f : mesh.faces)
    if (!f.removed && f.material >= 0) used[f.material] = true;
  std::unordered_map<std::string, bool> listed;
  for (size_t m = 0; m < out.names.size(); ++m) {
    if (!used[m]) continue;
    const MaterialName given = m < names.materials.size() ? names.materials[m] : MaterialName{};
    const bool known = m < names.materials.size();
    std::string name = given.name;
    if (name.empty() && (!known || !given.image.empty())) name = "material_" + std::to_string(m);
    out.names[m] = name;
    if (name.empty() || !listed.emplace(name, true).second) continue;
    out.library.push_back(
        {name, given.image.empty() ? std::string() : pathFromFolderOf(given.image, path)});
  }
  return out;
}

bool writeBody(std::FILE* file, const SubMesh& mesh, const ModelNames& names,
               const WrittenMaterials& materials, const std::string& mtl_name) {
  BlockWriter out(file);
  std::string& s = out.text();
  s += "# written by vekmesh";
  out.line();
  if (!materials.library.empty()) {
    s += "mtllib " + mtl_name;
    out.line();
  }

  bool coloured = false;
  for (const Face& f : mesh.faces)
    if (!f.removed)
      for (const auto& c : f.colors)
        coloured = coloured || c[0] != 255 || c[1] != 255 || c[2] != 255;

  // written[f][c]: the 0-based vertex line of corner c of face f.
  std::vector<std::array<uint32_t, 3>> written(mesh.faces.size(), {0, 0, 0});
  uint32_t counter = 0;
  ColourLines colour_lines;
  for (size_t v = 0; v < mesh.vertices.size(); ++v) {
    const auto& p = mesh.vertices[v].position;
    int32_t plain_line = -1;
    colour_lines.clear();
    for (const CornerRef& use : mesh.incidentCorners[v]) {
      if (use.face >= mesh.faces.size() || use.corner > 2 || mesh.faces[use.face].removed) continue;
      const uint8_t* rgb = mesh.faces[use.face].colors[use.corner];
      int32_t line = coloured ? colour_lines.find(packColour(rgb)) : plain_line;
      if (line < 0) {
        s += "v ";
        for (int a = 0; a < 3; ++a) {
          if (a) s += ' ';
          appendNumber(s, p[a]);
        }
        if (coloured)
          for (int k = 0; k < 3; ++k) {
            s += ' ';
            appendNumber(s, static_cast<float>(rgb[k] / 255.0));
          }
        out.line();
        line = static_cast<int32_t>(counter++);
        if (coloured)
          colour_lines.add(packColour(rgb), line);
        else
          plain_line = line;
      }
      written[use.face][use.corner] = static_cast<uint32_t>(line);
    }
  }

  // Faces without a "usemtl" first, then by material; each keeps its order.
  auto key = [&](const Face& f) {
    return f.material >= 0 && !materials.names[f.material].empty() ? int(f.material) : -1;
  };
  std::vector<uint32_t> order;
  order.reserve(mesh.faces.size());
  for (uint32_t f = 0; f < mesh.faces.size(); ++f)
    if (!mesh.faces[f].removed) order.push_back(f);
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return key(mesh.faces[a]) < key(mesh.faces[b]); });

  // Distinct texture coordinates, by their bits, numbered as written.
  auto bits = [](double d) {
    uint64_t b;
    std::memcpy(&b, &d, sizeof b);
    return b;
  };
  struct PairHash {
    size_t operator()(const std::pair<uint64_t, uint64_t>& k) const {
      return std::hash<uint64_t>()(k.first * 0x9E3779B97F4A7C15ull ^ k.second);
    }
  };
  std::unordered_map<std::pair<uint64_t, uint64_t>, uint32_t, PairHash> uv_lines;
  std::vector<std::array<uint32_t, 3>> uv_written(mesh.faces.size(), {0, 0, 0});
  auto has_uv = [&](const Face& f) {
    if (f.material < 0) return false;
    for (int c = 0; c < 3; ++c)
      if (f.uv[c] >= mesh.texCoords.size()) return false;
    if (key(f) < 0) return true;  // read back, it would lose its material without them
    for (int c = 0; c < 3; ++c) {
      const TexCoord& t = mesh.texCoords[f.uv[c]];
      if (bits(t.u) != 0 || bits(t.v) != 0) return true;
    }
    return false;
  };
  for (const uint32_t f : order) {
    const Face& face = mesh.faces[f];
    if (!has_uv(face)) continue;
    for (int c = 0; c < 3; ++c) {
      const TexCoord& t = mesh.texCoords[face.uv[c]];
      const auto [it, added] =
          uv_lines.emplace(std::make_pair(bits(t.u), bits(t.v)), uint32_t(uv_lines.size()));
      if (added) {
        s += "vt ";
        appendNumber(s, t.u);
        s += ' ';
        appendNumber(s, t.v);
        out.line();
      }
      uv_written[f][c] = it->second;
    }
  }

  const bool grouped = !names.groups.empty() && names.faceGroups.size() == mesh.faces.size();
  int previous_key = -1;
  uint32_t previous_group = kNoGroup;
  for (const uint32_t f : order) {
    const Face& face = mesh.faces[f];
    if (grouped && names.faceGroups[f] != previous_group) {
      previous_group = names.faceGroups[f];
      s += "o";
      if (previous_group < names.groups.size()) {
        s += ' ';
        appendNameAtLineEnd(s, names.groups[previous_group]);
      }
      out.line();
    }
    if (key(face) != previous_key) {
      previous_key = key(face);
      s += "usemtl ";
      appendNameAtLineEnd(s, materials.names[face.material]);
      out.line();
    }
    const bool uv = has_uv(face);
    s += 'f';
    for (int c = 0; c < 3; ++c) {
      s += ' ';
      appendIndex(s, uint64_t(written[f][c]) + 1);
      if (uv) {
        s += '/';
        appendIndex(s, uint64_t(uv_written[f][c]) + 1);
      }
    }
    out.line();
  }
  return out.flush();
}

bool writeText(const char* path, const std::string& text) {
  FileHandle file(openFile(path, "wb"));
  if (!file) return false;
  if (!text.empty() && std::fwrite(text.data(), 1, text.size(), file.get()) != text.size())
    return false;
  return finishWriting(file);
}

}  // namespace

std::string mtlPathOf(const std::string& path) {
  const size_t cut = path.find_last_of(kPathSeparators);
  const size_t dot = path.rfind('.');
  const bool has_ext = dot != std::string::npos && (cut == std::string::npos || dot > cut);
  return (has_ext ? path.substr(0, dot) : path) + ".mtl";
}

bool writeObjTool(const char* path, const SubMesh& mesh, const ModelNames& names) {
  if (!path || !*path) return false;
  const std::string target = path;
  const WrittenMaterials materials = writtenMaterials(mesh, names, target);
  const std::string mtl_path = mtlPathOf(target);
  const std::string mtl_name = mtl_path.substr(folderOf(mtl_path).size());
  const auto write_obj = [&] {
    return replaceFile(target, [&](const char* temp) {
      FileHandle file(openFile(temp, "wb"));
      return file && writeBody(file.get(), mesh, names, materials, mtl_name) && finishWriting(file);
    });
  };
  if (materials.library.empty()) return write_obj();
  // The .mtl waits in its temporary file until the OBJ that names it is in
  // place; should its own rename then fail, the new OBJ goes too.
  bool obj_written = false;
  const bool done = replaceFile(mtl_path, [&](const char* temp) {
    obj_written = writeText(temp, mtlText(materials.library)) && flushToDisk(temp) && write_obj();
    return obj_written;
  });
  if (!done && obj_written) removeFile(target.c_str());
  return done;
}

}  // namespace vekmesh
