// libFuzzer targets of the scene reader's two front ends (built twice, with
// VEKMESH_SCENE_XML selecting the XML one): any text must parse and walk
// without a crash, a leak, a hang or an allocation beyond the bounds, and
// what comes out must build a valid mesh. The walk is held to a small
// triangle bound, as a file's length would hold it.
#include <cstdint>
#include <string_view>

#include "fuzz_file.h"
#include "io/scene_shapes.h"
#include "io/scene_text.h"
#include "io/vrml_classic_parser.h"
#include "io/x3d_xml_parser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vekmesh;
  // gzip is decided by content here as in the reader.
  const std::string text = sceneText(data, size);
#if defined(VEKMESH_SCENE_XML)
  const SceneDocument scene = parseXmlScene(text);
#else
  const SceneDocument scene = parseClassicScene(text);
#endif
  ByteSoup soup;
  std::vector<std::string> names, notes;
  collectSceneTriangles(scene, soup, names, notes, 200000);
  if (soup.materials.empty()) return 0;
  for (const int16_t m : soup.materials)
    if (m >= int64_t(names.size())) std::abort();
  TriMesh mesh;
  buildTriMesh(mesh, soup);
  fuzz::checkMesh(mesh);
  return 0;
}
