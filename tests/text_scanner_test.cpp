// Tests of the word scanner behind the text readers (words across buffer
// refills, over-long words, line ends and continuations) and of its number
// parsing (stream-like prefixes, "+", out-of-range values).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "io/text_scanner.h"
#include "io_samples.h"

namespace vekmesh {
namespace {

// All words of `text` read through a scanner whose buffer is as small as it
// gets (a size hint of 0), so that refills fall inside words.
std::vector<std::string> words(const std::string& text, bool by_line) {
  test::ScratchDir dir;
  std::FILE* f = std::fopen(dir.write("words.txt", text).c_str(), "rb");
  EXPECT_NE(f, nullptr);
  TextScanner scanner(f, 0);
  std::vector<std::string> out;
  std::string_view w;
  if (!by_line) {
    while (scanner.nextWord(w)) out.emplace_back(w);
  } else {
    // One entry per line: its words joined by "|".
    while (scanner.nextWord(w)) {
      std::string line(w);
      while (scanner.wordOnLine(w)) line += "|" + std::string(w);
      out.push_back(line);
      scanner.skipLine();
    }
  }
  std::fclose(f);
  return out;
}

TEST(TextScanner, WordsSurviveRefillsAndLongWordsAreCut) {
  std::string text;
  std::vector<std::string> expected;
  for (int i = 0; i < 200; ++i) {
    expected.push_back("word" + std::to_string(i * 7919));
    text += expected.back() + (i % 3 == 0 ? "\t\r\n  " : " ");
  }
  EXPECT_EQ(words(text, false), expected);

  // A word longer than the 64-byte buffer comes out in buffer-sized pieces,
  // and nothing is lost.
  const std::string giant(150, 'x');
  const std::vector<std::string> pieces = words("a " + giant + " b", false);
  std::string joined;
  for (size_t i = 1; i + 1 < pieces.size(); ++i) joined += pieces[i];
  EXPECT_EQ(pieces.front(), "a");
  EXPECT_EQ(pieces.back(), "b");
  EXPECT_EQ(joined, giant);
  EXPECT_LE(pieces[1].size(), 64u);
}

TEST(TextScanner, LinesEndAtLineFeedOrCarriageReturnAndMayContinue) {
  EXPECT_EQ(words("v 1 2\r\nf 1 \\\n 2 3\rvt 0.5\n\n   \nusemtl\\x", true),
            (std::vector<std::string>{"v|1|2", "f|1|2|3", "vt|0.5", "usemtl\\x"}));
  // A continuation mark that is not the last word is an ordinary word.
  EXPECT_EQ(words("f 1 \\ 2\n", true), (std::vector<std::string>{"f|1|\\|2"}));
}

TEST(TextScanner, NumbersReadLikeAStreamWithoutLocale) {
  double d = -1.0;
  EXPECT_TRUE(parseNumber("+1.5e+000", d));
  EXPECT_EQ(d, 1.5);
  EXPECT_TRUE(parseNumber("2.5abc", d));  // the prefix counts
  EXPECT_EQ(d, 2.5);
  EXPECT_TRUE(parseNumber("1e400", d));
  EXPECT_EQ(d, std::numeric_limits<double>::infinity());
  EXPECT_TRUE(parseNumber("-0.0000001e-400", d));
  EXPECT_EQ(d, 0.0);
  EXPECT_TRUE(std::signbit(d));
  for (const char* bad : {"", "+", "-", "x1", "+-1", ".", "e5"}) {
    d = 7.0;
    EXPECT_FALSE(parseNumber(bad, d)) << bad;
    EXPECT_EQ(d, 7.0);
  }
  float f = 0.0f;
  EXPECT_TRUE(parseNumber("1e39", f));  // beyond float, not beyond double
  EXPECT_EQ(f, std::numeric_limits<float>::infinity());
  EXPECT_TRUE(parseNumber("-1e39", f));
  EXPECT_EQ(f, -std::numeric_limits<float>::infinity());
  EXPECT_TRUE(parseNumber("0.1", f));
  EXPECT_EQ(f, 0.1f);

  int64_t i = 0;
  EXPECT_TRUE(parseInteger("+42", i));
  EXPECT_EQ(i, 42);
  EXPECT_TRUE(parseInteger("-3/4", i));
  EXPECT_EQ(i, -3);
  EXPECT_FALSE(parseInteger("99999999999999999999", i));
  EXPECT_FALSE(parseInteger("", i));
}

}  // namespace
}  // namespace vekmesh
