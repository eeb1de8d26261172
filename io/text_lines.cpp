// Chunked logical-line reader and word splitter of the tool's text readers.
// A "\r\n" pair split across two chunks is one line end: the "\n" after a
// "\r" is skipped wherever it arrives.
#include "io/text_lines.h"

#include <cstring>

namespace vekmesh {
namespace {

constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\v' || c == '\f';
}

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
  return s;
}

}  // namespace

TextLines::TextLines(std::FILE* file) : file_(file), buffer_(new char[kChunkBytes]) {}

bool TextLines::fill() {
  if (!file_) return false;
  pos_ = 0;
  end_ = std::fread(buffer_.get(), 1, kChunkBytes, file_);
  return end_ > 0;
}

bool TextLines::next(std::string_view& out) {
  if (too_long_) return false;
  line_.clear();
  number_ = next_number_;
  bool started = false;  // something of this line (even its end) was read
  for (;;) {
    if (pos_ == end_ && !fill()) break;
    if (skip_lf_) {
      skip_lf_ = false;
      if (buffer_[pos_] == '\n') {
        ++pos_;
        continue;
      }
    }
    started = true;
    const char* begin = buffer_.get() + pos_;
    const char* stop = begin;
    const char* const last = buffer_.get() + end_;
    while (stop != last && *stop != '\n' && *stop != '\r') ++stop;
    if (line_.size() + static_cast<size_t>(stop - begin) > kMaxLineBytes) {
      too_long_ = true;
      return false;
    }
    line_.append(begin, stop);
    pos_ = static_cast<size_t>(stop - buffer_.get());
    if (stop == last) continue;
    skip_lf_ = *stop == '\r';
    ++pos_;
    ++next_number_;
    // A "\" at the end (blanks after it allowed) continues the line.
    const std::string_view so_far = trimmed(line_);
    if (!so_far.empty() && so_far.back() == '\\') {
      line_.resize(static_cast<size_t>(so_far.data() - line_.data()) + so_far.size() - 1);
      line_ += ' ';
      continue;
    }
    out = line_;
    return true;
  }
  if (!started && line_.empty()) return false;
  out = line_;
  return true;
}

bool LineWords::next(std::string_view& word) {
  while (!rest_.empty() && isBlank(rest_.front())) rest_.remove_prefix(1);
  if (rest_.empty() || rest_.front() == '#') return false;
  size_t n = 0;
  while (n < rest_.size() && !isBlank(rest_[n])) ++n;
  word = rest_.substr(0, n);
  rest_.remove_prefix(n);
  return true;
}

std::string_view LineWords::rest() const {
  std::string_view s = trimmed(rest_);
  // A comment starts at a "#" that begins a word.
  for (size_t i = 0; i < s.size(); ++i)
    if (s[i] == '#' && (i == 0 || isBlank(s[i - 1]))) return trimmed(s.substr(0, i));
  return s;
}

void appendNameAtLineEnd(std::string& line, std::string_view name) {
  line += name;
  if (!name.empty() && name.back() == '\\') line += " #";
}

}  // namespace vekmesh
