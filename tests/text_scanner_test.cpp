// Tests of the number parsing behind the text readers (stream-like prefixes,
// "+", out-of-range values). Words across refills, line ends and
// continuations are tested through the STL and OBJ readers.
#include "io/text_scanner.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace vekmesh {
namespace {

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
