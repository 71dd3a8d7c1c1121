#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <utility>

#include "simulator/CommandParser.h"

namespace quillet::simulator {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Parsed {
  std::vector<std::string> commands;
  std::vector<std::string> complaints;
  Command last;
};

Parsed Parse(std::string_view bytes) {
  Parsed parsed;
  CommandParser parser;
  for (const char byte : bytes) {
    const auto result = parser.Feed(static_cast<std::uint8_t>(byte));
    if (!result.complaint.empty()) parsed.complaints.push_back(result.complaint);
    if (!result.command) continue;
    parsed.commands.push_back(result.command->text);
    parsed.last = *result.command;
  }
  return parsed;
}

TEST(CommandParser, ReadsConsecutiveCommandsWithoutSeparators) {
  const Parsed parsed = Parse("WMVGZSGw0#w1#ENGS1GS0P");
  EXPECT_THAT(parsed.commands,
              ElementsAre("W", "M", "V", "GZSG", "w0#", "w1#", "E", "N", "GS1", "GS0", "P"));
  EXPECT_THAT(parsed.complaints, IsEmpty());
}

TEST(CommandParser, AcceptsAnySixBytesAfterCommandC) {
  const Parsed parsed = Parse({"WC\0W\x10\0\xFF\x45", 8});
  EXPECT_THAT(parsed.commands, ElementsAre("W", "C"));
  EXPECT_THAT(parsed.last.clock, ElementsAre(0x00, 'W', 0x10, 0x00, 0xFF, 'E'));
}

TEST(CommandParser, ReadsRecordNumbersInLowerCaseHex) {
  for (const auto& [request, index] :
       {std::pair("p0#", 0U), {"pa#", 10U}, {"p100#", 256U}, {"pffffffff#", 0xFFFFFFFFU}}) {
    EXPECT_EQ(Parse(request).last.index, index) << request;
  }
  EXPECT_THAT(Parse("p0#p1a#").commands, ElementsAre("p0#", "p1a#"));
  for (const char* wrong : {"p#", "p00#", "p01#", "pA#", "p123456789#", "p-1#", "p 1#"}) {
    EXPECT_THAT(Parse(wrong).commands, IsEmpty()) << wrong;
    EXPECT_FALSE(Parse(wrong).complaints.empty()) << wrong;
  }
}

TEST(CommandParser, IgnoresNulOnlyBetweenCommands) {
  const Parsed parsed = Parse({"\0\0\0W\0M", 6});
  EXPECT_THAT(parsed.commands, ElementsAre("W", "M"));
  EXPECT_THAT(parsed.complaints, IsEmpty());
  EXPECT_FALSE(Parse({"w\0\x31#", 4}).complaints.empty());
}

TEST(CommandParser, ReportsEachByteThatDoesNotBeginACommand) {
  for (int byte = 1; byte < 256; ++byte) {
    const auto letter = static_cast<char>(byte);
    const bool begins = std::string_view("WMVGwCENPp").find(letter) != std::string_view::npos;
    EXPECT_EQ(Parse({&letter, 1}).complaints.empty(), begins) << byte;
  }
}

TEST(CommandParser, ReportsAnUnfinishedCommandAndReadsTheNext) {
  for (const std::string broken : {"w", "w1", "p", "p1", "G", "GZ", "GZS", "GS"}) {
    const Parsed parsed = Parse(broken + "W");
    EXPECT_THAT(parsed.commands, ElementsAre("W")) << broken;
    EXPECT_THAT(parsed.complaints, ElementsAre(HasSubstr("incomplete"))) << broken;
  }
}

}  // namespace
}  // namespace quillet::simulator
