#include <gtest/gtest.h>

#include "base/Utf8.h"

namespace quillet {
namespace {

TEST(Utf8Test, AcceptsOnlyWellFormedSequences) {
  EXPECT_TRUE(IsValidUtf8("\xF4\x8F\xBF\xBF"));
  EXPECT_FALSE(IsValidUtf8("\xF4\x90\x80\x80")) << "above U+10FFFF";
  EXPECT_FALSE(IsValidUtf8("\xC0\xAF")) << "overlong";
  EXPECT_FALSE(IsValidUtf8("\xE0\x9F\xBF")) << "overlong";
  EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80")) << "surrogate";
  EXPECT_FALSE(IsValidUtf8("\x80"));
  EXPECT_FALSE(IsValidUtf8("\xE2\x82"));
}

TEST(Utf8Test, AppendsCharactersOfEveryLength) {
  std::string text;
  constexpr std::u32string_view kCodes = U"\x7F\x80\x7FF\x800\uFFFF\U00010000\U0010FFFF";
  for (const char32_t code : kCodes) AppendUtf8(text, code);
  EXPECT_EQ(text, "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST(Utf8Test, PrefixDoesNotSplitACharacter) {
  for (const std::string character : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x93\xA6"}) {
    const std::string text = "ab" + character + "c";
    for (std::size_t limit = 2; limit < 2 + character.size(); ++limit) {
      EXPECT_EQ(Utf8Prefix(text, limit), "ab") << limit;
    }
    EXPECT_EQ(Utf8Prefix(text, 2 + character.size()), "ab" + character);
    EXPECT_EQ(Utf8Prefix(character, 1), "");
  }
}

TEST(Utf8Test, ReturnsShortTextUnchanged) {
  for (const std::size_t limit : {2U, 3U, 100U})
    EXPECT_EQ(Utf8Prefix("\xC3\xA9", limit), "\xC3\xA9");
  EXPECT_EQ(Utf8Prefix("", 0), "");
  EXPECT_EQ(Utf8Prefix("abc", 0), "");
}

TEST(Utf8Test, PrefixOfInvalidUtf8EndsAtTheLimit) {
  const std::string continuations(20, '\x80');
  EXPECT_EQ(Utf8Prefix(continuations, 7), continuations.substr(0, 7));
  EXPECT_EQ(Utf8Prefix("a\xC3"
                       "bc",
                       2),
            "a\xC3");
}

}  // namespace
}  // namespace quillet
