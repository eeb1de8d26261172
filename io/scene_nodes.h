// The scene graph both scene front ends build: nodes with a type name, named
// fields and unnamed children. A field holds whatever its value was made of
// (numbers, strings and words, nodes) without a schema, so that the classic
// and the XML encoding meet in one form and the geometry walk reads either.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vekmesh {

struct SceneNode;
// A USE shares the node its DEF made; names are bound only once a node is
// complete, so no node can reach itself.
using SceneNodePtr = std::shared_ptr<const SceneNode>;

struct SceneField {
  std::vector<double> numbers;     // numbers in order; TRUE and FALSE as 1 and 0
  std::vector<std::string> words;  // strings and enumeration words in order
  std::vector<SceneNodePtr> nodes;
};

struct SceneNode {
  std::string type;
  std::vector<std::pair<std::string, SceneField>> fields;
  // VRML 1.0 children, and X3D XML child elements (whose field the walk
  // tells by their type).
  std::vector<SceneNodePtr> children;

  // The field of that name, or null.
  const SceneField* field(std::string_view name) const;
};

struct SceneDocument {
  std::vector<SceneNodePtr> roots;
  bool vrml1 = false;              // VRML 1.0 state rules apply
  std::vector<std::string> notes;  // what was skipped, for the log
};

// Nesting deeper than this is not followed, by the parsers or the walk.
constexpr int kMaxSceneDepth = 200;

}  // namespace vekmesh
