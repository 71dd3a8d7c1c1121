#include <gtest/gtest.h>

#include "output/TextEncoding.h"

namespace quillet {
namespace {

using namespace std::string_literals;

TEST(TextEncodingTest, DetectsEncodingByByteOrderMarkOrContents) {
  const std::pair<std::string, const char*> cases[] = {
      {"", ""},
      {"plain", "plain"},
      {"\xC3\xA9", "\xC3\xA9"},
      {"\xE9t\xE9", "\xC3\xA9t\xC3\xA9"},
      {"\xEF\xBB\xBF"
       "ab",
       "ab"},
      {"\xFE\xFF\0a\x20\xAC"s, "a\xE2\x82\xAC"},
      {"\xFF\xFE"
       "a\0\xAC\x20"s,
       "a\xE2\x82\xAC"},
      {"\xFE\xFF\xD8\x3D\xDE\x00"s, "\xF0\x9F\x98\x80"},
      {"\xFE\xFF\xDB\xFF\xDF\xFF"s, "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& [file, text] : cases) EXPECT_EQ(DecodeTextFile(file), text);
}

TEST(TextEncodingTest, EncodesFirstAndLastCodePointOfEachUtf8Length) {
  EXPECT_EQ(DecodeTextFile("\xFE\xFF\x00\x7F\x00\x80\x07\xFF\x08\x00\xFF\xFF\xD8\x00\xDC\x00"s),
            "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80");
}

TEST(TextEncodingTest, ReplacesInvalidUtf16) {
  EXPECT_EQ(DecodeTextFile("\xFE\xFF\xD8\x3D\0a"s),
            "\xEF\xBF\xBD"
            "a");
  EXPECT_EQ(DecodeTextFile("\xFE\xFF\0a\0"s), "a\xEF\xBF\xBD");
  EXPECT_EQ(DecodeTextFile("\xFE\xFF\xDE\x00"s), "\xEF\xBF\xBD");
}

TEST(TextEncodingTest, RepairsOnlyInvalidUtf8) {
  EXPECT_EQ(RepairUtf8("a\xC3"), "a\xEF\xBF\xBD");
  EXPECT_EQ(RepairUtf8("\xE2\x82"
                       "b"),
            "\xEF\xBF\xBD\xEF\xBF\xBD"
            "b");
  EXPECT_EQ(RepairUtf8("\xC3\xA9"), "\xC3\xA9");
}

TEST(TextEncodingTest, CountsUtf16CodeUnits) {
  EXPECT_EQ(Utf16Length("ab"), 2U);
  EXPECT_EQ(Utf16Length("\xC3\xA9"), 1U);
  EXPECT_EQ(Utf16Length("\xE2\x82\xAC"), 1U);
  EXPECT_EQ(Utf16Length("\xF0\x9F\x98\x80"), 2U);
}

}  // namespace
}  // namespace quillet
