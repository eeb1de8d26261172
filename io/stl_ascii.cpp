// ASCII STL: words are matched by containment ("facet" opens a facet,
// "endfacet" closes it, "vertex" is followed by three numbers), so solid names,
// normals, loops and stray words are skipped without a grammar.
#include "io/stl_ascii.h"

#include <string_view>

#include "io/text_scanner.h"

namespace vekmesh {
namespace {

bool contains(std::string_view word, std::string_view part) {
  return word.size() >= part.size() && word.find(part) != std::string_view::npos;
}

}  // namespace

std::vector<float> parseAsciiStl(std::FILE* file, uint64_t size) {
  TextScanner scanner(file, size);
  std::vector<float> corners;
  bool inside = false;
  std::string_view word;
  while (scanner.nextWord(word)) {
    if (!inside) {
      inside = contains(word, "facet");
      continue;
    }
    if (contains(word, "endfacet")) {
      inside = false;
      continue;
    }
    if (!contains(word, "vertex")) continue;
    float corner[3];
    int read = 0;
    for (; read < 3 && scanner.nextWord(word); ++read) {
      // Numbers are read as doubles and narrowed, so a value prints back as
      // the float nearest to its decimal text. A word that is no number stands
      // for 0 rather than ending the file: one bad vertex costs one corner.
      double value = 0.0;
      parseNumber(word, value);
      corner[read] = static_cast<float>(value);
    }
    if (read < 3) break;  // the file ended inside a vertex
    corners.insert(corners.end(), corner, corner + 3);
  }
  corners.resize(corners.size() / 9 * 9);
  return corners;
}

}  // namespace vekmesh
