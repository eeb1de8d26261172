// 3MF reading and writing: the package through the in-memory zip archive, the
// model XML read with pugixml (elements matched by local name, so any
// namespace prefix works) and written as text. Build items and components are
// expanded into one triangle soup with their affine transforms.
#include "io/threemf.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>

#include "io/file_handle.h"
#include "io/platform_file.h"
#include "io/zip_archive.h"

namespace vekmesh {
namespace {

constexpr int kMaxComponentDepth = 16;

// Row-vector affine map as 3MF writes it: p' = p * M, M's last row the shift.
using Transform = std::array<double, 12>;
constexpr Transform kIdentity = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};

Transform compose(const Transform& a, const Transform& b) {  // a, then b
  Transform r{};
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 3; ++j)
      r[3 * i + j] = a[3 * i] * b[j] + a[3 * i + 1] * b[3 + j] + a[3 * i + 2] * b[6 + j] +
                     (i == 3 ? b[9 + j] : 0.0);
  return r;
}

const char* localName(const pugi::xml_node& n) {
  const char* name = n.name();
  const char* colon = std::strrchr(name, ':');
  return colon ? colon + 1 : name;
}

bool is(const pugi::xml_node& n, const char* name) {
  return std::strcmp(localName(n), name) == 0;
}

template <typename T>
bool parseNumber(const char* s, T& out) {
  while (*s == ' ' || *s == '\t' || *s == '\n' || *s == '\r') ++s;
  const char* end = s + std::strlen(s);
  while (end > s && (end[-1] == ' ' || end[-1] == '\t' || end[-1] == '\n' || end[-1] == '\r'))
    --end;
  if (*s == '+') ++s;
  const auto r = std::from_chars(s, end, out);
  return s != end && r.ec == std::errc() && r.ptr == end;
}

bool parseTransform(const pugi::xml_attribute& a, Transform& t) {
  t = kIdentity;
  if (!a) return true;
  const char* s = a.value();
  for (double& x : t) {
    while (*s == ' ' || *s == '\t' || *s == '\n' || *s == '\r') ++s;
    const char* end = s;
    while (*end && *end != ' ' && *end != '\t' && *end != '\n' && *end != '\r') ++end;
    if (*s == '+') ++s;
    const auto r = std::from_chars(s, end, x);
    if (s == end || r.ptr != end) return false;
    s = end;
  }
  return true;
}

using Rgb = std::array<uint8_t, 3>;

// "#RRGGBB" or "#RRGGBBAA"; white when it is neither.
Rgb parseColor(const char* s) {
  Rgb c = {255, 255, 255};
  const size_t n = std::strlen(s);
  if ((n != 7 && n != 9) || s[0] != '#') return c;
  for (int k = 0; k < 3; ++k) {
    unsigned v = 0;
    const auto r = std::from_chars(s + 1 + 2 * k, s + 3 + 2 * k, v, 16);
    if (r.ptr != s + 3 + 2 * k) return {255, 255, 255};
    c[k] = static_cast<uint8_t>(v);
  }
  return c;
}

struct Triangle {
  uint32_t v[3];
  Rgb color[3];
  int16_t material;
};

// Base materials beyond this many are read as colours only (a face's
// material number is 16 bits).
constexpr size_t kMaxMaterials = 32767;

struct Object {
  std::vector<float> xyz;
  std::vector<Triangle> triangles;
  std::vector<std::pair<uint32_t, Transform>> components;
};

struct Model {
  std::map<uint32_t, Object> objects;
  std::map<uint32_t, std::vector<Rgb>> properties;  // base materials and colour groups
  // Per base material group, the material number of each entry.
  std::map<uint32_t, std::vector<int16_t>> base_materials;
  std::vector<std::string> material_names;
  uint64_t defined = 0;  // triangles the objects define
};

bool readObject(const pugi::xml_node& node, Model& model, Object& object) {
  uint32_t pid = 0, pindex = 0;
  const bool has_pid = parseNumber(node.attribute("pid").value(), pid);
  parseNumber(node.attribute("pindex").value(), pindex);
  for (const pugi::xml_node& part : node.children()) {
    if (is(part, "mesh")) {
      for (const pugi::xml_node& list : part.children()) {
        if (is(list, "vertices")) {
          for (const pugi::xml_node& v : list.children()) {
            if (!is(v, "vertex")) continue;
            float p[3];
            if (!parseNumber(v.attribute("x").value(), p[0]) ||
                !parseNumber(v.attribute("y").value(), p[1]) ||
                !parseNumber(v.attribute("z").value(), p[2]))
              return false;
            object.xyz.insert(object.xyz.end(), p, p + 3);
          }
        } else if (is(list, "triangles")) {
          for (const pugi::xml_node& t : list.children()) {
            if (!is(t, "triangle")) continue;
            Triangle tri;
            static const char* const kV[] = {"v1", "v2", "v3"};
            for (int k = 0; k < 3; ++k)
              if (!parseNumber(t.attribute(kV[k]).value(), tri.v[k])) return false;
            uint32_t group = pid, index[3] = {pindex, pindex, pindex};
            const bool own_pid = parseNumber(t.attribute("pid").value(), group);
            if (parseNumber(t.attribute("p1").value(), index[0])) index[1] = index[2] = index[0];
            parseNumber(t.attribute("p2").value(), index[1]);
            parseNumber(t.attribute("p3").value(), index[2]);
            const auto found = model.properties.find(group);
            // A base material is one per triangle: its first property.
            tri.material = kNoMaterial;
            const auto base = model.base_materials.find(group);
            if ((has_pid || own_pid) && base != model.base_materials.end() &&
                index[0] < base->second.size())
              tri.material = base->second[index[0]];
            for (int k = 0; k < 3; ++k) {
              tri.color[k] = {255, 255, 255};
              if ((has_pid || own_pid) && found != model.properties.end() &&
                  index[k] < found->second.size())
                tri.color[k] = found->second[index[k]];
            }
            object.triangles.push_back(tri);
          }
        }
      }
    } else if (is(part, "components")) {
      for (const pugi::xml_node& c : part.children()) {
        if (!is(c, "component")) continue;
        uint32_t id = 0;
        Transform t;
        if (!parseNumber(c.attribute("objectid").value(), id) ||
            !parseTransform(c.attribute("transform"), t))
          return false;
        object.components.emplace_back(id, t);
      }
    }
  }
  const uint32_t vertices = static_cast<uint32_t>(object.xyz.size() / 3);
  for (const Triangle& t : object.triangles)
    for (uint32_t v : t.v)
      if (v >= vertices) return false;
  model.defined += object.triangles.size();
  return true;
}

bool readResources(const pugi::xml_node& resources, Model& model) {
  for (const pugi::xml_node& r : resources.children()) {
    uint32_t id = 0;
    if (!parseNumber(r.attribute("id").value(), id)) continue;
    if (is(r, "basematerials") || is(r, "colorgroup")) {
      std::vector<Rgb>& colors = model.properties[id];
      std::vector<int16_t>* materials =
          is(r, "basematerials") ? &model.base_materials[id] : nullptr;
      for (const pugi::xml_node& c : r.children()) {
        colors.push_back(parseColor(
            (is(c, "base") ? c.attribute("displaycolor") : c.attribute("color")).value()));
        if (!materials) continue;
        int16_t number = kNoMaterial;
        if (model.material_names.size() < kMaxMaterials) {
          number = static_cast<int16_t>(model.material_names.size());
          model.material_names.push_back(c.attribute("name").value());
        }
        materials->push_back(number);
      }
    } else if (is(r, "object")) {
      if (!readObject(r, model, model.objects[id])) return false;
    }
  }
  return true;
}

// Appends the object's triangles under `t`; false on a cycle (too deep) or a
// missing object. Every triangle and every object visited spends one of
// `budget`; once it is spent nothing more is added (a tree of components
// that multiplies without bound ends there).
bool emit(const Model& model, uint32_t id, const Transform& t, int depth, uint64_t& budget,
          ByteSoup& soup) {
  const auto found = model.objects.find(id);
  if (found == model.objects.end() || depth > kMaxComponentDepth) return false;
  if (budget == 0) return true;
  --budget;
  const Object& o = found->second;
  const bool identity = t == kIdentity;
  for (const Triangle& tri : o.triangles) {
    if (budget == 0) return true;
    --budget;
    for (int k = 0; k < 3; ++k) {
      const float* p = &o.xyz[3 * tri.v[k]];
      for (int j = 0; j < 3; ++j)
        soup.corners.push_back(identity ? p[j]
                                        : static_cast<float>(p[0] * t[j] + p[1] * t[3 + j] +
                                                             p[2] * t[6 + j] + t[9 + j]));
      soup.colors.insert(soup.colors.end(), tri.color[k].begin(), tri.color[k].end());
    }
    soup.materials.push_back(tri.material);
  }
  for (const auto& [child, ct] : o.components)
    if (!emit(model, child, compose(ct, t), depth + 1, budget, soup)) return false;
  return true;
}

bool readModel(const char* path, ByteSoup& soup, std::vector<std::string>& material_names) {
  uint64_t size = 0;
  std::vector<uint8_t> bytes;
  {
    FileHandle file(openRegularFile(path, size));
    if (!file || size < 22 || size > (uint64_t{1} << 40)) return false;
    bytes.resize(static_cast<size_t>(size));
    if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return false;
  }
  ZipReader zip(std::move(bytes));
  if (!zip.ok()) return false;
  const uint64_t limit =
      std::min<uint64_t>((uint64_t{1} << 20) + 256 * zip.archiveSize(), uint64_t{1} << 32);
  std::string part = "3D/3dmodel.model", text;
  if (zip.read("_rels/.rels", text, limit)) {
    pugi::xml_document rels;
    if (rels.load_buffer(text.data(), text.size()))
      for (const pugi::xml_node& r : rels.document_element().children()) {
        const std::string type = r.attribute("Type").value();
        if (type.size() >= 8 && type.compare(type.size() - 8, 8, "/3dmodel") == 0)
          part = r.attribute("Target").value();
      }
  }
  if (!zip.read(part, text, limit)) return false;
  pugi::xml_document doc;
  if (!doc.load_buffer_inplace(text.data(), text.size())) return false;
  const pugi::xml_node root = doc.document_element();
  if (!is(root, "model")) return false;
  Model model;
  for (const pugi::xml_node& n : root.children())
    if (is(n, "resources") && !readResources(n, model)) return false;
  uint64_t budget = 16 * model.defined + 1000000;
  for (const pugi::xml_node& n : root.children()) {
    if (!is(n, "build")) continue;
    for (const pugi::xml_node& item : n.children()) {
      if (!is(item, "item")) continue;
      uint32_t id = 0;
      Transform t;
      if (!parseNumber(item.attribute("objectid").value(), id) ||
          !parseTransform(item.attribute("transform"), t) || !emit(model, id, t, 0, budget, soup))
        return false;
    }
  }
  material_names = std::move(model.material_names);
  return soup.triangleCount() == soup.materials.size();
}

std::string xmlEscaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        // Control characters cannot stand in XML 1.0 text.
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') out += c;
    }
  }
  return out;
}

void appendNumber(std::string& out, float x) {
  char buffer[32];
  const auto r = std::to_chars(buffer, buffer + sizeof buffer, x);
  out.append(buffer, r.ptr);
}

}  // namespace

size_t read3mf(const char* path, SubMesh& mesh, ModelNames* names) {
  ByteSoup soup;
  std::vector<std::string> material_names;
  if (!path || !readModel(path, soup, material_names)) soup = ByteSoup(), material_names.clear();
  buildTriMesh(mesh, soup);
  if (names) {
    *names = ModelNames();
    for (std::string& name : material_names) names->materials.push_back({std::move(name), ""});
  }
  return soup.triangleCount();
}

bool write3mf(const char* path, const SubMesh& mesh, const ModelNames* names) {
  bool colored = false;
  int32_t materials = 0;  // one past the largest material number in use
  for (const Face& f : mesh.faces)
    if (!f.removed) {
      for (int k = 0; k < 9 && !colored; ++k) colored = f.colors[k / 3][k % 3] != 255;
      materials = std::max<int32_t>(materials, f.material + 1);
    }
  // A triangle has one property group: corner colours win, and materials go
  // to a base material group only when every corner is white.
  const bool with_materials = !colored && materials > 0;
  std::vector<int64_t> number(mesh.vertices.size(), -1);
  std::string vertices, triangles, colors;
  std::unordered_map<uint32_t, uint32_t> color_index;
  int64_t next = 0;
  for (const Face& f : mesh.faces) {
    if (f.removed) continue;
    int64_t n[3];
    for (int c = 0; c < 3; ++c) {
      int64_t& v = number[f.v[c]];
      if (v < 0) {
        v = next++;
        const auto& p = mesh.vertices[f.v[c]].position;
        vertices += "<vertex x=\"";
        appendNumber(vertices, p[0]);
        vertices += "\" y=\"";
        appendNumber(vertices, p[1]);
        vertices += "\" z=\"";
        appendNumber(vertices, p[2]);
        vertices += "\"/>\n";
      }
      n[c] = v;
    }
    triangles += "<triangle v1=\"" + std::to_string(n[0]) + "\" v2=\"" + std::to_string(n[1]) +
                 "\" v3=\"" + std::to_string(n[2]) + "\"";
    if (with_materials && f.material >= 0)
      triangles += " pid=\"1\" p1=\"" + std::to_string(f.material) + "\"";
    if (colored) {
      static const char* const kP[] = {" p1=\"", " p2=\"", " p3=\""};
      for (int c = 0; c < 3; ++c) {
        const uint32_t rgb =
            uint32_t{f.colors[c][0]} << 16 | uint32_t{f.colors[c][1]} << 8 | f.colors[c][2];
        const auto [it, fresh] =
            color_index.emplace(rgb, static_cast<uint32_t>(color_index.size()));
        if (fresh) {
          char hex[32];
          std::snprintf(hex, sizeof hex, "<m:color color=\"#%06X\"/>\n",
                        static_cast<unsigned>(rgb));
          colors += hex;
        }
        triangles += kP[c] + std::to_string(it->second) + "\"";
      }
    }
    triangles += "/>\n";
  }
  std::string model =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<model unit=\"millimeter\" xml:lang=\"en-US\" "
      "xmlns=\"http://schemas.microsoft.com/3dmanufacturing/core/2015/02\" "
      "xmlns:m=\"http://schemas.microsoft.com/3dmanufacturing/material/2015/02\">\n"
      "<resources>\n";
  if (colored) model += "<m:colorgroup id=\"1\">\n" + colors + "</m:colorgroup>\n";
  if (with_materials) {
    model += "<basematerials id=\"1\">\n";
    for (int32_t m = 0; m < materials; ++m) {
      const std::string name =
          names && size_t(m) < names->materials.size() && !names->materials[size_t(m)].name.empty()
              ? names->materials[size_t(m)].name
              : "material_" + std::to_string(m);
      model += "<base name=\"" + xmlEscaped(name) + "\" displaycolor=\"#FFFFFFFF\"/>\n";
    }
    model += "</basematerials>\n";
  }
  model += colored ? "<object id=\"2\" type=\"model\" pid=\"1\" pindex=\"0\">\n"
                   : "<object id=\"2\" type=\"model\">\n";
  model += "<mesh>\n<vertices>\n" + vertices + "</vertices>\n<triangles>\n" + triangles +
           "</triangles>\n</mesh>\n</object>\n</resources>\n"
           "<build>\n<item objectid=\"2\"/>\n</build>\n</model>\n";
  const std::vector<ZipEntry> entries = {
      {"[Content_Types].xml",
       "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
       "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
       "<Default Extension=\"rels\" "
       "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
       "<Default Extension=\"model\" "
       "ContentType=\"application/vnd.ms-package.3dmanufacturing-3dmodel+xml\"/></Types>\n"},
      {"_rels/.rels",
       "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
       "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
       "<Relationship Target=\"/3D/3dmodel.model\" Id=\"rel0\" "
       "Type=\"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel\"/>"
       "</Relationships>\n"},
      {"3D/3dmodel.model", std::move(model)}};
  return writeZip(path, entries);
}

}  // namespace vekmesh
