#include <gtest/gtest.h>

#include <limits>

#include "base/Log.h"
#include "tests/support/RecordingLog.h"

namespace quillet {
namespace {

/// Returns the line that Log writes for these pieces.
template <class... Pieces>
std::string Logged(const Pieces&... pieces) {
  test::RecordingLog log;
  Log(log, pieces...);
  return log.lines().at(0);
}

TEST(LogTest, JoinsPiecesIntoOneLine) {
  EXPECT_EQ(Logged("-[Lumet X:]", "[", std::int32_t{-3}, ":", std::size_t{7}, ":", Hex{255}, "]"),
            "-[Lumet X:][-3:7:ff]");
}

TEST(LogTest, FormatsNumbersAtTheirLimits) {
  EXPECT_EQ(Logged("", std::numeric_limits<std::int64_t>::min(), "", Hex{0xFFFFFFFF},
                   std::numeric_limits<std::uint64_t>::max()),
            "-9223372036854775808ffffffff18446744073709551615");
}

TEST(LogTest, EscapesControlCharactersAndInvalidUtf8) {
  const std::pair<std::string_view, const char*> cases[] = {
      {std::string_view("a\r\n\t\x1b[31m\x7f\0z", 12), "a\\r\\n\\t\\x1b[31m\\x7f\\x00z"},
      {"\xC2\x9B"
       "31m",
       "\\xc2\\x9b31m"},
      {"\x9B \xC3", "\\x9b \\xc3"},
  };
  for (const auto& [text, line] : cases) EXPECT_EQ(Logged(ForeignText(text)), line);
}

TEST(LogTest, EscapesCharactersThatReorderText) {
  EXPECT_EQ(Logged(ForeignText("a\xE2\x80\xAE"
                               "b\xE2\x80\xA8"
                               "c\xE2\x81\xA6\xD8\x9C\xEF\xBB\xBF")),
            "a\\xe2\\x80\\xaeb\\xe2\\x80\\xa8c\\xe2\\x81\\xa6\\xd8\\x9c\\xef\\xbb\\xbf");
}

TEST(LogTest, EscapesOnlyCodePointsInHiddenRanges) {
  const struct {
    const char* lead;
    const char* escapedLead;
    unsigned char before, first, last, after;
  } ranges[] = {{"\xE2\x80", "\\xe2\\x80", 0x8A, 0x8B, 0x8F, 0x90},
                {"\xE2\x80", "\\xe2\\x80", 0xA7, 0xA8, 0xAE, 0xAF},
                {"\xE2\x81", "\\xe2\\x81", 0x9F, 0xA0, 0xAF, 0xB0}};
  for (const auto& range : ranges) {
    for (const unsigned char byte : {range.before, range.first, range.last, range.after}) {
      const std::string text = range.lead + std::string(1, static_cast<char>(byte));
      const bool escaped = byte == range.first || byte == range.last;
      EXPECT_EQ(Logged(ForeignText(text)).starts_with(range.escapedLead), escaped) << int{byte};
    }
  }
}

TEST(LogTest, DoesNotEscapePrintableNonAsciiCharacters) {
  for (const char* text :
       {"\xC3\xA9 \xE2\x82\xAC\xC2\xA0", "\xE2\x80\x93\xE2\x80\x99\xE2\x81\x84"}) {
    EXPECT_EQ(Logged(ForeignText(text)), text);
  }
}

TEST(LogTest, TruncatesReceivedBytesAtTheFirstNul) {
  const std::uint8_t bytes[] = {'a', 'b', 0, 'c'};
  EXPECT_EQ(Logged(ForeignText(bytes, 4)), "ab");
  EXPECT_EQ(Logged(ForeignText(bytes, 1)), "a");
}

}  // namespace
}  // namespace quillet
