#include <gtest/gtest.h>

#include <locale>

#include "simulator/DecimalNumber.h"

namespace quillet::simulator {
namespace {

TEST(DecimalNumberTest, NumbersOfZeroOrMoreAreRead) {
  EXPECT_EQ(ReadDecimalNumber("0"), 0.0);
  EXPECT_EQ(ReadDecimalNumber("700"), 700.0);
  EXPECT_EQ(ReadDecimalNumber("2.5"), 2.5);
  EXPECT_EQ(ReadDecimalNumber(".25"), 0.25);
  EXPECT_EQ(ReadDecimalNumber("1e3"), 1000.0);
}

TEST(DecimalNumberTest, EverythingElseIsNone) {
  for (const char* text :
       {"", " 1", "1 ", "+1", "-1", "1,5", "1s", "1.5.", "inf", "nan", "1e999"}) {
    EXPECT_EQ(ReadDecimalNumber(text), std::nullopt) << '"' << text << '"';
  }
}

TEST(DecimalNumberTest, APointIsAPointInEveryLanguage) {
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
  };
  const std::locale before = std::locale::global(std::locale(std::locale(), new Comma));
  EXPECT_EQ(ReadDecimalNumber("2.5"), 2.5);
  EXPECT_EQ(ReadDecimalNumber("2,5"), std::nullopt);
  std::locale::global(before);
}

}  // namespace
}  // namespace quillet::simulator
