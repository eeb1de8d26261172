// The XML encoding of X3D, read through pugixml into the scene graph:
// elements are nodes, attributes fields (a value whose every word is a number
// becomes numbers, "true"/"false" a flag, quoted words a list of strings,
// anything else one word), child elements unnamed children. DEF binds a name
// once its element is complete, USE shares the bound node. The parser expands
// no entities beyond XML's own five, so an entity bomb stays a few bytes.
#pragma once

#include <string_view>

#include "io/scene_nodes.h"

namespace vekmesh {

SceneDocument parseXmlScene(std::string_view text);

}  // namespace vekmesh
