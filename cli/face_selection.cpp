// Parsing the remesh subcommand's face selection: tokens are indices "N" or
// ranges "N-M", split at blanks and commas, from the argument or a file.
#include "cli/face_selection.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/model_files.h"

namespace vekmesh::cli {
namespace {

// A decimal index of at most ten digits, so that it fits 64 bits however
// many the user typed.
bool parseIndex(const std::string& text, uint64_t& value) {
  if (text.empty() || text.size() > 10) return false;
  value = 0;
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    value = 10 * value + uint64_t(c - '0');
  }
  return true;
}

}  // namespace

std::vector<int32_t> parseFaceSelection(const std::string& argument, size_t face_count) {
  std::string text = argument;
  std::error_code ec;
  if (std::filesystem::is_regular_file(argument, ec)) {
    std::ifstream file(argument);
    if (!file) throw UserError("cannot read the face list " + argument);
    std::ostringstream all;
    all << file.rdbuf();
    text = all.str();
  }
  for (char& c : text)
    if (c == ',' || std::isspace(static_cast<unsigned char>(c))) c = ' ';
  std::istringstream tokens(text);
  std::vector<int32_t> faces;
  std::string token;
  while (tokens >> token) {
    const size_t dash = token.find('-');
    uint64_t first = 0, last = 0;
    const bool valid = dash == std::string::npos
                           ? parseIndex(token, first) && ((last = first), true)
                           : parseIndex(token.substr(0, dash), first) &&
                                 parseIndex(token.substr(dash + 1), last) && first <= last;
    if (!valid)
      throw UserError("--faces: \"" + token + "\" is neither a face index nor a rising range N-M");
    for (uint64_t f = first; f <= last && f < face_count; ++f) faces.push_back(int32_t(f));
  }
  return faces;
}

}  // namespace vekmesh::cli
