// Logical lines of a text file for the tool's OBJ and material readers: the
// file is read in chunks, a line ending in "\" is joined with the next, and
// every line comes with the number of its first physical line, so that an
// error can say where it is. Line ends are "\n", "\r\n" or a bare "\r".
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace vekmesh {

class TextLines {
 public:
  // No honest line is this long; a longer one ends the reading (tooLong())
  // rather than growing the line without bound.
  static constexpr size_t kMaxLineBytes = size_t(1) << 24;
  static constexpr size_t kChunkBytes = size_t(1) << 16;

  // Reads `file` from its current position; does not own it.
  explicit TextLines(std::FILE* file);

  // The next logical line, without its line end; the view stays valid until
  // the next call. False at the end of the input or when a line is too long.
  bool next(std::string_view& line);

  // The physical line number (from 1) where the last line handed out starts.
  uint64_t lineNumber() const { return number_; }
  bool tooLong() const { return too_long_; }

 private:
  bool fill();

  std::FILE* file_;
  std::unique_ptr<char[]> buffer_;
  size_t pos_ = 0, end_ = 0;
  bool skip_lf_ = false;  // the last line ended in "\r": a "\n" next belongs to it
  bool too_long_ = false;
  uint64_t number_ = 0, next_number_ = 1;
  std::string line_;
};

// The words of a line split at blanks (space, tab, vertical tab, form feed);
// a word that starts with "#" ends the line, as a comment.
class LineWords {
 public:
  explicit LineWords(std::string_view line) : rest_(line) {}
  bool next(std::string_view& word);
  // What is left of the line after the words taken so far, without the
  // blanks around it or a trailing comment: a name that may hold blanks.
  std::string_view rest() const;

 private:
  std::string_view rest_;
};

// Appends `name` as the last text of a line, so that TextLines and
// LineWords::rest() read it back as it is: a name ending in "\" would join
// the next line to this one, so a comment marker follows such a name.
void appendNameAtLineEnd(std::string& line, std::string_view name);

}  // namespace vekmesh
