// Chunked word scanner and locale-free number parsing for the text readers.
// Words never outlive one refill: the buffer keeps an unfinished word by moving
// it to the front before reading on.
#include "io/text_scanner.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace vekmesh {
namespace {

// The C locale's white space, which is what a stream skips between words.
constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}
constexpr bool isLineEnd(char c) {
  return c == '\n' || c == '\r';
}
constexpr bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// Drops one leading "+", which from_chars does not accept but streams do.
std::string_view withoutPlus(std::string_view word) {
  if (word.size() > 1 && word[0] == '+' && word[1] != '-' && word[1] != '+') word.remove_prefix(1);
  return word;
}

// For a number that from_chars found out of range: true when it is too large
// (so an infinity), false when it is too small (so zero). Judged from the
// decimal exponent of its first non-zero digit.
bool tooLarge(std::string_view text) {
  size_t i = 0;
  if (i < text.size() && text[i] == '-') ++i;
  int64_t exponent = 0;
  bool nonzero = false;
  for (; i < text.size() && isDigit(text[i]); ++i)
    if (nonzero || text[i] != '0') {
      nonzero = true;
      ++exponent;
    }
  if (i < text.size() && text[i] == '.')
    for (++i; i < text.size() && isDigit(text[i]); ++i)
      if (!nonzero) {
        if (text[i] == '0')
          --exponent;
        else
          nonzero = true;
      }
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
    int64_t e = 0;
    for (; i < text.size() && isDigit(text[i]); ++i)
      if (e < (int64_t(1) << 40)) e = 10 * e + (text[i] - '0');
    exponent += negative ? -e : e;
  }
  return exponent > 0;
}

template <class T>
bool parseReal(std::string_view word, T& value) {
  word = withoutPlus(word);
  const char* first = word.data();
  const char* last = first + word.size();
  T parsed{};
  const std::from_chars_result r = std::from_chars(first, last, parsed);
  if (r.ec == std::errc()) {
    value = parsed;
    return true;
  }
  if (r.ec != std::errc::result_out_of_range) return false;
  const bool negative = word[0] == '-';
  const T magnitude =
      tooLarge(std::string_view(first, r.ptr - first)) ? std::numeric_limits<T>::infinity() : T(0);
  value = negative ? -magnitude : magnitude;
  return true;
}

}  // namespace

TextScanner::TextScanner(std::FILE* file, uint64_t file_bytes)
    : file_(file),
      capacity_(static_cast<size_t>(
          std::max<uint64_t>(64, std::min<uint64_t>(kChunkBytes, file_bytes + 1)))) {
  buffer_.reset(new char[capacity_]);
}

bool TextScanner::fill() {
  if (eof_) return false;
  const size_t rest = end_ - pos_;
  if (pos_ > 0 && rest > 0) std::memmove(buffer_.get(), buffer_.get() + pos_, rest);
  pos_ = 0;
  end_ = rest;
  const size_t got = file_ ? std::fread(buffer_.get() + end_, 1, capacity_ - end_, file_) : 0;
  end_ += got;
  if (got == 0) eof_ = true;  // end of file or a read error: either way nothing more comes
  return got > 0;
}

bool TextScanner::skipBlanks(bool cross_lines) {
  for (;;) {
    while (pos_ < end_ && isBlank(buffer_[pos_])) {
      if (!cross_lines && isLineEnd(buffer_[pos_])) return false;
      ++pos_;
    }
    if (pos_ < end_) return true;
    if (!fill()) return false;
  }
}

std::string_view TextScanner::takeWord() {
  size_t offset = 0;  // length scanned so far, from pos_
  for (;;) {
    size_t i = pos_ + offset;
    while (i < end_ && !isBlank(buffer_[i])) ++i;
    offset = i - pos_;
    if (i < end_ || eof_) break;
    if (pos_ == 0 && end_ == capacity_) break;  // longer than the buffer: hand out a piece
    if (!fill()) break;
  }
  const std::string_view word(buffer_.get() + pos_, offset);
  pos_ += offset;
  return word;
}

bool TextScanner::nextWord(std::string_view& word) {
  if (!skipBlanks(true)) return false;
  word = takeWord();
  return true;
}

bool TextScanner::wordOnLine(std::string_view& word) {
  for (;;) {
    if (!skipBlanks(false)) return false;
    word = takeWord();
    if (word != "\\") return true;
    // A continuation mark only counts at the end of its line. (The view is
    // remade: skipping may have moved the buffer under it.)
    if (skipBlanks(false)) {
      word = std::string_view("\\");
      return true;
    }
    if (pos_ < end_ || fill()) {
      if (pos_ < end_ && buffer_[pos_] == '\r') ++pos_;
      if ((pos_ < end_ || fill()) && buffer_[pos_] == '\n') ++pos_;
    }
  }
}

void TextScanner::skipLine() {
  for (;;) {
    while (pos_ < end_) {
      if (isLineEnd(buffer_[pos_++])) return;
    }
    if (!fill()) return;
  }
}

bool parseNumber(std::string_view word, double& value) {
  return !word.empty() && parseReal(word, value);
}

bool parseNumber(std::string_view word, float& value) {
  return !word.empty() && parseReal(word, value);
}

bool parseInteger(std::string_view word, int64_t& value) {
  word = withoutPlus(word);
  int64_t parsed = 0;
  const std::from_chars_result r = std::from_chars(word.data(), word.data() + word.size(), parsed);
  if (r.ec != std::errc()) return false;
  value = parsed;
  return true;
}

}  // namespace vekmesh
