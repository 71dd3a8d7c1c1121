#include <gtest/gtest.h>

#include <limits>

#include "base/Log.h"
#include "tests/support/RecordingLog.h"

namespace quillet {
namespace {

TEST(LogTest, PiecesMakeOneLine) {
  test::RecordingLog log;
  Log(log, "-[Lumet X:]", "[", std::int32_t{-3}, ":", std::size_t{7}, ":", Hex{255}, "]");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"-[Lumet X:][-3:7:ff]"});
}

TEST(LogTest, TheLongestNumbersHaveRoom) {
  test::RecordingLog log;
  Log(log, "", std::numeric_limits<std::int64_t>::min(), "", Hex{0xFFFFFFFF},
      std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(log.lines().back(), "-9223372036854775808ffffffff18446744073709551615");
}

TEST(LogTest, ControlCharactersFromOutsideAreMadeVisible) {
  test::RecordingLog log;
  Log(log, ForeignText(std::string_view("a\r\n\t\x1b[31m\x7f\0z", 12)));
  EXPECT_EQ(log.lines().back(), "a\\r\\n\\t\\x1b[31m\\x7f\\x00z");
}

TEST(LogTest, CharactersOutsideAsciiStayUnlessTheyAreControlCharactersOrBroken) {
  test::RecordingLog log;
  Log(log, ForeignText("\xC3\xA9 \xE2\x82\xAC"));
  EXPECT_EQ(log.lines().back(), "\xC3\xA9 \xE2\x82\xAC");
  Log(log, ForeignText("\xC2\x9B"
                       "31m\xC2\xA0"));
  EXPECT_EQ(log.lines().back(), "\\xc2\\x9b31m\xC2\xA0");
  Log(log, ForeignText("\x9B \xC3"));
  EXPECT_EQ(log.lines().back(), "\\x9b \\xc3");
}

TEST(LogTest, CharactersThatRearrangeOthersAreMadeVisible) {
  test::RecordingLog log;
  Log(log, ForeignText("a\xE2\x80\xAE"
                       "b\xE2\x80\xA8"
                       "c\xE2\x81\xA6\xD8\x9C\xEF\xBB\xBF"));
  EXPECT_EQ(log.lines().back(),
            "a\\xe2\\x80\\xaeb\\xe2\\x80\\xa8c\\xe2\\x81\\xa6\\xd8\\x9c\\xef\\xbb\\xbf");
  Log(log, ForeignText("\xE2\x80\x93\xE2\x80\x99\xE2\x81\x84"));
  EXPECT_EQ(log.lines().back(), "\xE2\x80\x93\xE2\x80\x99\xE2\x81\x84");
}

TEST(LogTest, ReceivedBytesEndAtTheirFirstNul) {
  test::RecordingLog log;
  const std::uint8_t bytes[] = {'a', 'b', 0, 'c'};
  Log(log, ForeignText(bytes, 4));
  EXPECT_EQ(log.lines().back(), "ab");
  Log(log, ForeignText(bytes, 1));
  EXPECT_EQ(log.lines().back(), "a");
}

}  // namespace
}  // namespace quillet
