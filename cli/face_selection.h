// The face selection of the remesh subcommand: a list such as "0,5,7-20", or
// the name of a text file holding such indices.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vekmesh::cli {

// The face indices `argument` names: when it names a readable file, the
// indices in it (separated by blanks, commas or new lines; ranges allowed),
// otherwise the list itself. Indices at or above `face_count` are left out
// (a range is cut there, so a huge range costs nothing). Throws UserError for
// anything that is not an index or a rising range.
std::vector<int32_t> parseFaceSelection(const std::string& argument, size_t face_count);

}  // namespace vekmesh::cli
