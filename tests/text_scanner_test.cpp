// Tests of the number parsing behind the text readers (stream-like prefixes,
// "+", out-of-range values). Words across refills, line ends and
// continuations are tested through the STL and OBJ readers.
#include "io/text_scanner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vekmesh {
namespace {

// True when `word` parses to exactly `expected`, sign of zero included.
template <class T>
bool parsesTo(const char* word, T expected) {
  T value = 7;
  return parseNumber(word, value) && value == expected &&
         std::signbit(value) == std::signbit(expected);
}

TEST(TextScanner, NumbersReadLikeAStreamWithoutLocale) {
  // The prefix counts; out-of-range values saturate (beyond float, not beyond
  // double, is infinite for a float), underflow keeps its sign.
  const double inf = std::numeric_limits<double>::infinity();
  for (auto [word, expected] :
       {std::pair{"+1.5e+000", 1.5}, {"2.5abc", 2.5}, {"1e400", inf}, {"-0.0000001e-400", -0.0}})
    EXPECT_TRUE(parsesTo(word, expected)) << word;
  EXPECT_TRUE(parsesTo("1e39", float(inf)) && parsesTo("-1e39", -float(inf)) &&
              parsesTo("0.1", 0.1f));
  for (const char* bad : {"", "+", "-", "x1", "+-1", ".", "e5"}) {
    double d = 7.0;
    EXPECT_TRUE(!parseNumber(bad, d) && d == 7.0) << bad;
  }
  int64_t i = 0;
  EXPECT_TRUE(parseInteger("+42", i) && i == 42 && parseInteger("-3/4", i) && i == -3);
  EXPECT_FALSE(parseInteger("99999999999999999999", i) || parseInteger("", i));
}

}  // namespace
}  // namespace vekmesh
