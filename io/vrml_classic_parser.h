// The classic (curly-brace) encoding of VRML 1.0, VRML 2.0 and X3D, read
// into the scene graph without a schema: a name followed by "{" is a node, any
// other name inside a node is a field whose value is whatever follows
// (numbers, strings, words, nodes, or a bracketed list of them). PROTO and
// EXTERNPROTO declarations, ROUTE, IMPORT/EXPORT and the X3D header
// statements are skipped (instances of a prototype come out as nodes of an
// unknown type, which the geometry walk ignores). Unbalanced or cut-short
// text ends the parse with what was complete.
#pragma once

#include <string_view>

#include "io/scene_nodes.h"

namespace vekmesh {

SceneDocument parseClassicScene(std::string_view text);

}  // namespace vekmesh
