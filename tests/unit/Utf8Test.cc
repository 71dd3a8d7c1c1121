#include <gtest/gtest.h>

#include "base/Utf8.h"

namespace quillet {
namespace {

constexpr char kTwo[] = "\xC3\xA9";
constexpr char kThree[] = "\xE2\x82\xAC";
constexpr char kFour[] = "\xF0\x9F\x93\xA6";

TEST(Utf8Test, OnlyWellFormedSequencesAreValid) {
  EXPECT_TRUE(IsValidUtf8("\xF4\x8F\xBF\xBF"));
  EXPECT_FALSE(IsValidUtf8("\xF4\x90\x80\x80")) << "beyond the last character";
  EXPECT_FALSE(IsValidUtf8("\xC0\xAF")) << "overlong";
  EXPECT_FALSE(IsValidUtf8("\xE0\x9F\xBF")) << "overlong";
  EXPECT_FALSE(IsValidUtf8("\xED\xA0\x80")) << "a surrogate";
  EXPECT_FALSE(IsValidUtf8("\x80"));
  EXPECT_FALSE(IsValidUtf8("\xE2\x82"));
}

TEST(Utf8Test, APrefixNeverEndsInsideASequence) {
  for (const std::string_view character :
       {std::string_view(kTwo), std::string_view(kThree), std::string_view(kFour)}) {
    const std::string text = "ab" + std::string(character) + "c";
    for (std::size_t limit = 2; limit < 2 + character.size(); ++limit) {
      EXPECT_EQ(Utf8Prefix(text, limit), "ab") << limit;
    }
    EXPECT_EQ(Utf8Prefix(text, 2 + character.size()), text.substr(0, text.size() - 1));
    EXPECT_EQ(Utf8Prefix(character, 1), "") << "of its lead byte";
  }
}

TEST(Utf8Test, APrefixWithinTheLimitIsTheWholeText) {
  for (const std::size_t limit : {2U, 3U, 100U}) EXPECT_EQ(Utf8Prefix(kTwo, limit), kTwo);
  EXPECT_EQ(Utf8Prefix("", 0), "");
  EXPECT_EQ(Utf8Prefix("abc", 0), "");
}

TEST(Utf8Test, BytesThatAreNotUtf8AreCutAtTheLimit) {
  const std::string continuations(20, '\x80');
  EXPECT_EQ(Utf8Prefix(continuations, 7), continuations.substr(0, 7));
  EXPECT_EQ(Utf8Prefix("a\xC3"
                       "bc",
                       2),
            "a\xC3");
}

}  // namespace
}  // namespace quillet
