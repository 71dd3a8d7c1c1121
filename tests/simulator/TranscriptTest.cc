#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "simulator/Transcript.h"

namespace quillet::simulator {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

const steady_clock::time_point kNow = steady_clock::now();

TEST(Transcript, KeepsEveryChunkWithTimeAndDirection) {
  Transcript transcript;
  transcript.Add(kNow, Direction::kReceived, ToBytes("W"));
  transcript.Add(kNow + microseconds(5), Direction::kSent, ToBytes("@"));
  transcript.AddEvent(kNow + microseconds(6), "unplugged");
  const auto entries = transcript.Entries();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].direction, Direction::kReceived);
  EXPECT_EQ(entries[0].bytes, ToBytes("W"));
  EXPECT_EQ(entries[1].time, kNow + microseconds(5));
  EXPECT_EQ(entries[2].direction, Direction::kEvent);
  EXPECT_EQ(entries[2].bytes, ToBytes("unplugged"));
}

TEST(Transcript, JoinsTheBytesOfOneDirection) {
  Transcript transcript;
  transcript.Add(kNow, Direction::kSent, ToBytes("ab"));
  transcript.Add(kNow, Direction::kReceived, ToBytes("x"));
  transcript.Add(kNow, Direction::kSent, ToBytes("c"));
  EXPECT_EQ(transcript.All(Direction::kSent), ToBytes("abc"));
}

TEST(Transcript, ALimitKeepsTheLastWholeChunks) {
  Transcript transcript(5);
  for (const char* text : {"aaa", "bbb", "cc"}) {
    transcript.Add(kNow, Direction::kSent, ToBytes(text));
  }
  EXPECT_EQ(transcript.All(Direction::kSent), ToBytes("bbbcc"));
}

TEST(Transcript, ALimitOfZeroKeepsNothing) {
  Transcript transcript(0);
  transcript.Add(kNow, Direction::kSent, ToBytes("a"));
  EXPECT_TRUE(transcript.Entries().empty());
}

TEST(Transcript, NoBytesAreNoEntry) {
  Transcript transcript;
  transcript.Add(kNow, Direction::kSent, {});
  EXPECT_TRUE(transcript.Entries().empty());
}

TEST(Transcript, LinesShowTimeDirectionHexadecimalAndText) {
  EXPECT_EQ(
      FormatLine({kNow + microseconds(1'250'001), Direction::kReceived, {'w', '1', '#'}}, kNow),
      "1.250001 < 77 31 23  w1#");
  EXPECT_EQ(FormatLine({kNow, Direction::kSent, {0x03, 0x00, '@'}}, kNow),
            "0.000000 > 03 00 40  ..@");
  EXPECT_EQ(FormatLine({kNow, Direction::kEvent, ToBytes("port opened")}, kNow),
            "0.000000 # port opened");
}

TEST(Transcript, TheFileHasEverythingWhateverTheLimit) {
  const std::string file = testing::TempDir() + "/transcript-" + std::to_string(getpid());
  {
    Transcript transcript(0, file);
    transcript.Add(steady_clock::now(), Direction::kReceived, ToBytes("W"));
    transcript.Add(steady_clock::now(), Direction::kSent, ToBytes("@"));
  }
  std::ifstream stream(file);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  EXPECT_THAT(text, testing::MatchesRegex("[0-9]+\\.[0-9]{6} < 57  W\n"
                                          "[0-9]+\\.[0-9]{6} > 40  @\n"));
  std::filesystem::remove(file);
}

TEST(Transcript, AFileThatCannotBeWrittenIsAnError) {
  EXPECT_THROW(Transcript(0, "/no/such/folder/transcript"), std::system_error);
}

}  // namespace
}  // namespace quillet::simulator
