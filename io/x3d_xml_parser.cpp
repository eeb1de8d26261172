// X3D XML to scene nodes: pugixml's document, walked with a depth bound.
#include "io/x3d_xml_parser.h"

#include <charconv>
#include <cstring>
#include <map>
#include <pugixml.hpp>
#include <string>

namespace vekmesh {
namespace {

bool isSeparator(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == ',';
}

// Every word of `text` as a number; false (numbers partly filled) when some
// word is not one.
bool allNumbers(std::string_view text, std::vector<double>& numbers) {
  size_t p = 0;
  while (p < text.size()) {
    while (p < text.size() && isSeparator(text[p])) ++p;
    if (p >= text.size()) break;
    size_t end = p;
    while (end < text.size() && !isSeparator(text[end])) ++end;
    std::string_view word = text.substr(p, end - p);
    if (word[0] == '+') word.remove_prefix(1);
    double v;
    const auto r = std::from_chars(word.data(), word.data() + word.size(), v);
    if ((r.ec != std::errc() && r.ec != std::errc::result_out_of_range) ||
        r.ptr != word.data() + word.size())
      return false;
    numbers.push_back(v);
    p = end;
  }
  return true;
}

SceneField attributeField(std::string_view value) {
  SceneField field;
  if (value == "true" || value == "TRUE" || value == "false" || value == "FALSE") {
    field.numbers.push_back(value[0] == 't' || value[0] == 'T' ? 1.0 : 0.0);
    return field;
  }
  if (allNumbers(value, field.numbers)) return field;
  field.numbers.clear();
  if (value.find('"') != std::string_view::npos) {
    size_t p = 0;
    while ((p = value.find('"', p)) != std::string_view::npos) {
      const size_t end = value.find('"', p + 1);
      if (end == std::string_view::npos) break;
      field.words.emplace_back(value.substr(p + 1, end - p - 1));
      p = end + 1;
    }
    return field;
  }
  field.words.emplace_back(value);
  return field;
}

class XmlScene {
 public:
  SceneNodePtr node(const pugi::xml_node& element, int depth) {
    if (depth >= kMaxSceneDepth) return nullptr;
    if (const pugi::xml_attribute use = element.attribute("USE")) {
      const auto it = defs_.find(use.value());
      return it == defs_.end() ? nullptr : it->second;
    }
    auto out = std::make_shared<SceneNode>();
    out->type = element.name();
    for (const pugi::xml_attribute& a : element.attributes()) {
      const char* name = a.name();
      if (std::strcmp(name, "DEF") == 0 || std::strcmp(name, "containerField") == 0) continue;
      out->fields.emplace_back(name, attributeField(a.value()));
    }
    for (const pugi::xml_node& child : element.children()) {
      if (child.type() != pugi::node_element) continue;
      if (SceneNodePtr n = node(child, depth + 1)) out->children.push_back(std::move(n));
    }
    if (const pugi::xml_attribute def = element.attribute("DEF")) defs_[def.value()] = out;
    return out;
  }

 private:
  std::map<std::string, SceneNodePtr, std::less<>> defs_;
};

}  // namespace

SceneDocument parseXmlScene(std::string_view text) {
  SceneDocument doc;
  pugi::xml_document xml;
  // Whatever parsed before an error is kept: a cut-short file gives the
  // shapes it completed.
  xml.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_auto);
  XmlScene scene;
  for (const pugi::xml_node& top : xml.children())
    if (top.type() == pugi::node_element)
      if (SceneNodePtr n = scene.node(top, 0)) doc.roots.push_back(std::move(n));
  return doc;
}

}  // namespace vekmesh
