// Material library reading and writing: a line scan for "newmtl" and
// "map_Kd" (the statements of the format are one per line), and a writer of
// one "newmtl" block per material.
#include "io/mtl.h"

#include <cstring>
#include <filesystem>

#include "io/file_handle.h"
#include "io/text_lines.h"
#include "io/text_scanner.h"

namespace vekmesh {

std::string folderOf(std::string_view path) {
  const size_t cut = path.find_last_of(kPathSeparators);
  return cut == std::string_view::npos ? std::string() : std::string(path.substr(0, cut + 1));
}

std::string resolvedPath(const std::string& folder, std::string_view name) {
  std::string file(name);
  for (char& c : file)
    if (c == '\\') c = '/';
  while (file.size() > 2 && file[0] == '.' && file[1] == '/') file.erase(0, 2);
  const bool absolute =
      (!file.empty() && file[0] == '/') || (file.size() > 1 && file[1] == ':');  // a Windows drive
  return absolute ? file : folder + file;
}

std::string pathFromFolderOf(const std::string& target, const std::string& from) {
  namespace fs = std::filesystem;
  // A Windows drive name read on another system stays as it is.
  if (target.size() > 1 && target[1] == ':' && fs::path(target).is_relative()) return target;
  try {
    std::error_code ec;
    const fs::path file = fs::absolute(fs::u8path(target), ec).lexically_normal();
    const fs::path folder = fs::absolute(fs::u8path(from), ec).lexically_normal().parent_path();
    const fs::path relative = file.lexically_relative(folder);
    if (ec) return target;
    return (relative.empty() ? file : relative).generic_u8string();
  } catch (...) {
    return target;  // a name the path layer cannot convert: as given
  }
}

std::string_view textureFileOf(std::string_view arguments) {
  // Options and how many values follow each; -o, -s and -t take one to three
  // numbers.
  static const struct {
    const char* name;
    int values;
  } kOptions[] = {{"-blendu", 1},  {"-blendv", 1}, {"-boost", 1},  {"-cc", 1}, {"-clamp", 1},
                  {"-imfchan", 1}, {"-mm", 2},     {"-texres", 1}, {"-bm", 1}, {"-type", 1},
                  {"-o", -3},      {"-s", -3},     {"-t", -3}};
  LineWords words(arguments);
  for (;;) {
    LineWords before = words;
    std::string_view word;
    if (!words.next(word)) return words.rest();
    int values = 0;
    bool option = false;
    for (const auto& o : kOptions)
      if (word == o.name) {
        values = o.values;
        option = true;
      }
    if (!option) return before.rest();
    if (values > 0) {
      for (int i = 0; i < values; ++i) words.next(word);
    } else {
      // Up to three numbers: stop before the first word that is not one.
      for (int i = 0; i < -values; ++i) {
        LineWords probe = words;
        double number = 0.0;
        if (!probe.next(word) || !parseNumber(word, number)) break;
        words = probe;
      }
    }
  }
}

bool readMtl(const std::string& path, std::map<std::string, std::string>& images) {
  uint64_t size = 0;
  FileHandle file = openRegularFile(path.c_str(), size);
  if (!file) return false;
  const std::string folder = folderOf(path);
  TextLines lines(file.get());
  std::string_view line;
  std::string current;
  bool have_current = false;
  while (lines.next(line)) {
    LineWords words(line);
    std::string_view keyword;
    if (!words.next(keyword)) continue;
    if (keyword == "newmtl") {
      current = std::string(words.rest());
      have_current = true;
      images.emplace(current, std::string());
    } else if (have_current && keyword == "map_Kd") {
      const std::string_view file_name = textureFileOf(words.rest());
      std::string& image = images[current];
      if (image.empty() && !file_name.empty()) image = resolvedPath(folder, file_name);
    }
  }
  return !lines.tooLong();
}

std::string mtlText(const std::vector<MaterialName>& materials) {
  std::string text = "# materials written by vekmesh\n";
  for (const MaterialName& m : materials) {
    text += "\nnewmtl ";
    appendNameAtLineEnd(text, m.name);
    // White, so that the texture shows as it is: the diffuse colour
    // multiplies it.
    text += "\nKd 1 1 1\n";
    if (!m.image.empty()) {
      text += "map_Kd ";
      appendNameAtLineEnd(text, m.image);
      text += '\n';
    }
  }
  return text;
}

}  // namespace vekmesh
