// Material libraries (.mtl) of the tool's OBJ files: the material names and
// the diffuse texture image of each ("map_Kd"), read and written. Colours,
// lighting and the other maps are not kept.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "io/model_names.h"

namespace vekmesh {

// The folder part of `path` with its separator ("" for a bare name).
std::string folderOf(std::string_view path);

// `name` as seen from `folder`: an absolute name stays as it is, a relative
// one is put under the folder; "\" separators (files made on Windows) become
// "/", which every system reads.
std::string resolvedPath(const std::string& folder, std::string_view name);

// `target` as written in a file at `from`: relative to the folder of `from`
// with "/" separators, absolute when no relative path leads there (another
// drive), as given when the path layer cannot convert it.
std::string pathFromFolderOf(const std::string& target, const std::string& from);

// The file name of a "map_Kd" statement's arguments: options ("-s 1 1 1",
// "-clamp on", ...) skipped, the rest of the line (which may hold blanks).
std::string_view textureFileOf(std::string_view arguments);

// Reads `path` and adds, for every "newmtl", its name and the resolved path of
// its map_Kd ("" without one) to `images`; a name defined twice keeps the
// first image given for it. False when the file cannot be opened or holds a line longer
// than the reader takes.
bool readMtl(const std::string& path, std::map<std::string, std::string>& images);

// The .mtl text of `materials` (name, and the image as written in map_Kd).
std::string mtlText(const std::vector<MaterialName>& materials);

}  // namespace vekmesh
