// Word scanner for the text formats (ASCII STL, OBJ): reads the file in fixed
// chunks and hands out whitespace-separated words as views into its buffer, so
// memory stays bounded whatever the file holds; numbers are parsed with
// std::from_chars (no locale, no allocation).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string_view>

namespace vekmesh {

class TextScanner {
 public:
  // The file is read from its current position; the scanner does not own it.
  // Its buffer holds `file_bytes` (the size the caller knows of) plus one, but
  // never more than kChunkBytes; a word longer than the buffer is handed out in
  // buffer-sized pieces.
  static constexpr size_t kChunkBytes = size_t(1) << 20;
  TextScanner(std::FILE* file, uint64_t file_bytes);

  // The next word, skipping any whitespace and line ends. False at the end of
  // the input. The view stays valid until the next call on the scanner.
  bool nextWord(std::string_view& word);

  // The next word of the current line. False at the line's end (which is left
  // for skipLine) or at the end of the input. A lone "\" before a line end
  // continues the line, as OBJ allows.
  bool wordOnLine(std::string_view& word);

  // Moves past the end of the current line ("\n" or "\r"; a "\r\n" pair
  // leaves an empty line behind, which callers treat like any blank line).
  void skipLine();

 private:
  bool fill();
  // Skips blanks; stops at a line end unless `cross_lines`. False at the end
  // of the input.
  bool skipBlanks(bool cross_lines);
  std::string_view takeWord();

  std::FILE* file_;
  std::unique_ptr<char[]> buffer_;  // not cleared: only what was read is looked at
  size_t capacity_;
  size_t pos_ = 0;
  size_t end_ = 0;
  bool eof_ = false;
};

// Numbers as a C++ stream would read them from a word, with a leading "+"
// accepted and anything after the number ignored. A word that does not start
// with a number gives false and leaves `value` alone. Values too large for the
// type give an infinity, too small ones zero.
bool parseNumber(std::string_view word, double& value);
bool parseNumber(std::string_view word, float& value);
// Decimal integers; a value beyond int64 gives false.
bool parseInteger(std::string_view word, int64_t& value);

}  // namespace vekmesh
