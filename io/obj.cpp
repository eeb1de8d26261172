// OBJ writer: texture coordinates, then vertex lines split by use (one
// uncoloured line per vertex for all its textured corners, one coloured line
// per distinct corner colour among its untextured ones), then the faces grouped
// by material in ascending order. The reader is in obj_reader.cpp.
#include "io/obj.h"

#include <algorithm>
#include <array>
#include <vector>

#include "io/colour_lines.h"
#include "io/file_handle.h"

namespace vekmesh {

bool writeObj(const char* path, const SubMesh& mesh) {
  if (!path) return false;
  // Binary mode: the same LF-terminated bytes on every platform.
  FileHandle file(openFile(path, "wb"));
  if (!file) return false;
  std::FILE* out = file.get();

  std::fprintf(out, "%s\n", "mtllib output.mtl");
  for (const TexCoord& t : mesh.texCoords) std::fprintf(out, "%s %.5f %.5f\n", "vt", t.u, t.v);

  // written[f][c]: the 0-based number of the vertex line that corner c of
  // face f refers to. Lines are numbered in the order they are written.
  std::vector<std::array<int32_t, 3>> written(mesh.faces.size(), {0, 0, 0});
  int32_t counter = 0;
  ColourLines colour_lines;
  for (size_t v = 0; v < mesh.vertices.size(); ++v) {
    const std::array<float, 3>& p = mesh.vertices[v].position;
    // Every textured use of a vertex shares one line: its position is all
    // that line carries.
    int32_t textured_line = -1;
    colour_lines.clear();
    for (const CornerRef& use : mesh.incidentCorners[v]) {
      if (use.face >= mesh.faces.size() || use.corner > 2) continue;
      const Face& face = mesh.faces[use.face];
      if (face.removed) continue;
      int32_t line;
      if (face.material >= 0) {
        if (textured_line < 0) {
          std::fprintf(out, "%s %.5f %.5f %.5f", "v", p[0], p[1], p[2]);
          std::fprintf(out, "\n");
          textured_line = counter++;
        }
        line = textured_line;
      } else {
        const uint8_t* rgb = face.colors[use.corner];
        const uint32_t colour = packColour(rgb);
        line = colour_lines.find(colour);
        if (line < 0) {
          std::fprintf(out, "%s %.5f %.5f %.5f", "v", p[0], p[1], p[2]);
          std::fprintf(out, " %.3f %.3f %.3f\n", rgb[0] / 255.0, rgb[1] / 255.0, rgb[2] / 255.0);
          line = counter++;
          colour_lines.add(colour, line);
        }
      }
      written[use.face][use.corner] = line;
    }
  }

  // Groups in ascending material order, so the untextured faces (-1) come
  // first; within a group, faces keep their order.
  std::vector<uint32_t> order;
  order.reserve(mesh.faces.size());
  for (uint32_t f = 0; f < mesh.faces.size(); ++f)
    if (!mesh.faces[f].removed) order.push_back(f);
  std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
    return mesh.faces[a].material < mesh.faces[b].material;
  });
  for (size_t i = 0; i < order.size(); ++i) {
    const Face& face = mesh.faces[order[i]];
    if (i == 0 || face.material != mesh.faces[order[i - 1]].material)
      std::fprintf(out, "%s %d\n", "usemtl", int(face.material));
    const std::array<int32_t, 3>& n = written[order[i]];
    if (face.material >= 0)
      std::fprintf(out, "%s %d%s%d %d%s%d %d%s%d\n", "f", n[0] + 1, "/", int(face.uv[0] + 1),
                   n[1] + 1, "/", int(face.uv[1] + 1), n[2] + 1, "/", int(face.uv[2] + 1));
    else
      std::fprintf(out, "%s %d %d %d\n", "f", n[0] + 1, n[1] + 1, n[2] + 1);
  }
  return finishWriting(file);
}

}  // namespace vekmesh
