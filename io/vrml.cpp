// The scene reader's entry: the text (inflated when gzip-compressed), the
// front end its first characters call for, and the triangles of the graph.
#include "io/vrml.h"

#include <string>

#include "io/scene_shapes.h"
#include "io/scene_text.h"
#include "io/vrml_classic_parser.h"
#include "io/x3d_xml_parser.h"
#include "mesh/operation_log.h"

namespace vekmesh {

SceneDocument parseScene(std::string_view text) {
  size_t p = 0;
  if (text.substr(0, 3) == "\xEF\xBB\xBF") p = 3;  // a UTF-8 byte order mark
  while (p < text.size() &&
         (text[p] == ' ' || text[p] == '\t' || text[p] == '\r' || text[p] == '\n'))
    ++p;
  return p < text.size() && text[p] == '<' ? parseXmlScene(text.substr(p))
                                           : parseClassicScene(text.substr(p));
}

bool readScene(const char* path, ByteSoup& soup, std::vector<std::string>& names,
               std::vector<std::string>& notes) {
  std::string text;
  if (!path || !readSceneText(path, text)) return false;
  const SceneDocument scene = parseScene(text);
  notes = scene.notes;
  collectSceneTriangles(scene, soup, names, notes, sceneTriangleLimit(text.size()));
  return true;
}

void readVrml(const char* path, SubMesh& mesh, SceneFormat, std::vector<std::string>& names,
              const RunContext& run) {
  ByteSoup soup;
  std::vector<std::string> collected, notes;
  const bool read = readScene(path, soup, collected, notes);
  // What was not followed (Inline, prototypes) or cut off by a bound.
  for (const std::string& note : notes) run.log(cautionLine(note));
  if (!read || soup.materials.empty()) return;
  buildTriMesh(mesh, soup);
  names.insert(names.end(), collected.begin(), collected.end());
}

}  // namespace vekmesh
