#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

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

Parsed Parse(const Bytes& bytes) {
  Parsed parsed;
  CommandParser parser;
  for (const std::uint8_t byte : bytes) {
    const auto result = parser.Feed(byte);
    if (!result.complaint.empty()) parsed.complaints.push_back(result.complaint);
    if (!result.command) continue;
    parsed.commands.push_back(result.command->text);
    parsed.last = *result.command;
  }
  return parsed;
}

Parsed Parse(std::string_view text) {
  return Parse(ToBytes(text));
}

TEST(CommandParser, FindsEveryFixedCommandInAStreamWithoutGaps) {
  const Parsed parsed = Parse("WMVGZSGw0#w1#ENGS1GS0P");
  EXPECT_THAT(parsed.commands,
              ElementsAre("W", "M", "V", "GZSG", "w0#", "w1#", "E", "N", "GS1", "GS0", "P"));
  EXPECT_THAT(parsed.complaints, IsEmpty());
}

TEST(CommandParser, TheClockCommandTakesSixBytesOfAnyValue) {
  const Parsed parsed = Parse(Bytes{'C', 0x00, 'W', 0x10, 0x00, 0xFF, 'E', 'W'});
  EXPECT_THAT(parsed.commands, ElementsAre("C", "W"));
  CommandParser parser;
  for (const std::uint8_t byte : Bytes{'C', 0x1A, 0x0B, 0x10, 0x01, 0x04}) parser.Feed(byte);
  EXPECT_THAT(parser.Feed(0x09).command->clock, ElementsAre(0x1A, 0x0B, 0x10, 0x01, 0x04, 0x09));
}

TEST(CommandParser, RecordNumbersAreLowerCaseHexadecimal) {
  EXPECT_EQ(Parse("p0#").last.index, 0U);
  EXPECT_EQ(Parse("pa#").last.index, 10U);
  EXPECT_EQ(Parse("pff#").last.index, 255U);
  EXPECT_EQ(Parse("p100#").last.index, 256U);
  EXPECT_EQ(Parse("pffffffff#").last.index, 0xFFFFFFFFU);
  EXPECT_THAT(Parse("p0#p1a#").commands, ElementsAre("p0#", "p1a#"));
}

TEST(CommandParser, WedgeModeSaysOnOrOff) {
  EXPECT_TRUE(Parse("w1#").last.wedge_on);
  EXPECT_FALSE(Parse("w0#").last.wedge_on);
}

TEST(CommandParser, NulBytesBetweenCommandsAreIgnored) {
  const Parsed parsed = Parse(Bytes{0, 0, 0, 'W', 0, 'M'});
  EXPECT_THAT(parsed.commands, ElementsAre("W", "M"));
  EXPECT_THAT(parsed.complaints, IsEmpty());
}

TEST(CommandParser, EveryByteThatBeginsNoCommandIsReported) {
  for (int byte = 1; byte < 256; ++byte) {
    const bool begins =
        std::string_view("WMVGwCENPp").find(static_cast<char>(byte)) != std::string_view::npos;
    const Parsed parsed = Parse(Bytes{static_cast<std::uint8_t>(byte)});
    EXPECT_EQ(parsed.complaints.empty(), begins) << byte;
  }
}

TEST(CommandParser, ABrokenCommandIsReportedAndTheNextOneFound) {
  for (const std::string_view broken : {"w", "w1", "p", "p1", "G", "GZ", "GZS", "GS"}) {
    const Parsed parsed = Parse(std::string(broken) + "W");
    EXPECT_THAT(parsed.commands, ElementsAre("W")) << broken;
    EXPECT_THAT(parsed.complaints, ElementsAre(HasSubstr("unfinished"))) << broken;
  }
}

TEST(CommandParser, RecordNumbersInAnotherShapeAreReported) {
  for (const std::string_view wrong :
       {"p#", "p00#", "p01#", "pA#", "p123456789#", "p-1#", "p 1#"}) {
    const Parsed parsed = Parse(wrong);
    EXPECT_THAT(parsed.commands, IsEmpty()) << wrong;
    EXPECT_FALSE(parsed.complaints.empty()) << wrong;
  }
}

TEST(CommandParser, ANulWithinACommandBreaksIt) {
  EXPECT_FALSE(Parse(Bytes{'w', 0, '1', '#'}).complaints.empty());
}

TEST(CommandParser, WhenTheLineIsCutTheUnfinishedCommandIsForgotten) {
  CommandParser parser;
  parser.Feed('G');
  parser.Feed('S');
  EXPECT_EQ(parser.Reset(), ToBytes("GS"));
  EXPECT_EQ(parser.Feed('W').command->text, "W");
  EXPECT_EQ(parser.Reset(), Bytes{});
}

}  // namespace
}  // namespace quillet::simulator
