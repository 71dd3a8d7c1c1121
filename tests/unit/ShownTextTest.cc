#include <gtest/gtest.h>

#include "base/ShownText.h"

namespace quillet {
namespace {

TEST(ShownTextTest, KeepsPrintableText) {
  for (const char* text : {"", "005771", "caf\u00E9 \u20AC\u00A0\U0001F4E6", "\u05D0\u0628 1"}) {
    EXPECT_EQ(ShownText(text), text);
  }
}

TEST(ShownTextTest, ReplacesEachHiddenCharacterWithOneSymbol) {
  for (const char* hidden :
       {"\x01", "\t", "\r", "\n", "\x7F", "\u0080", "\u009F", "\u061C", "\u200E", "\u200F",
        "\u202A", "\u202E", "\u2028", "\u2066", "\u2069", "\uFEFF", "\xFF", "\x80"}) {
    EXPECT_EQ(ShownText("a" + std::string(hidden) + "b"), "a\uFFFDb") << hidden;
  }
  EXPECT_EQ(ShownText(std::string_view("a\0b", 3)), "a\uFFFDb");
  EXPECT_EQ(ShownText("a\xE2\x80"), "a\uFFFD\uFFFD") << "cut off";
}

}  // namespace
}  // namespace quillet
