#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

#include "simulator/Transcript.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::simulator {
namespace {

using std::chrono::microseconds;
using std::chrono::steady_clock;

const steady_clock::time_point kNow = steady_clock::now();

TEST(Transcript, KeepsTimeDirectionAndBytesOfEntries) {
  Transcript transcript;
  transcript.Add(kNow, Direction::kReceived, ToBytes("W"));
  transcript.Add(kNow, Direction::kSent, {});
  transcript.Add(kNow + microseconds(5), Direction::kSent, ToBytes("@"));
  transcript.AddEvent(kNow + microseconds(6), "unplugged");
  const auto entries = transcript.Entries();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].direction, Direction::kReceived);
  EXPECT_EQ(entries[0].bytes, ToBytes("W"));
  EXPECT_EQ(entries[1].direction, Direction::kSent);
  EXPECT_EQ(entries[1].time, kNow + microseconds(5));
  EXPECT_EQ(entries[2].direction, Direction::kEvent);
  EXPECT_EQ(entries[2].bytes, ToBytes("unplugged"));
}

TEST(Transcript, FormatsTimeDirectionBytesAndText) {
  EXPECT_EQ(
      FormatLine({kNow + microseconds(1'250'001), Direction::kReceived, {'w', '1', '#'}}, kNow),
      "1.250001 < 77 31 23  w1#");
  EXPECT_EQ(FormatLine({kNow, Direction::kSent, {0x03, 0xE4, '@'}}, kNow),
            "0.000000 > 03 e4 40  ..@");
  EXPECT_EQ(FormatLine({kNow, Direction::kEvent, ToBytes("port opened")}, kNow),
            "0.000000 # port opened");
}

TEST(Transcript, WritesAFileWithoutKeepingEntriesInMemory) {
  const test::TemporaryFolder folder;
  const std::string file = folder / "transcript";
  Transcript transcript(false, file);
  transcript.Add(steady_clock::now(), Direction::kReceived, ToBytes("W"));
  transcript.Add(steady_clock::now(), Direction::kSent, ToBytes("@"));
  EXPECT_TRUE(transcript.Entries().empty());
  EXPECT_THAT(test::FileContents(file).value_or(""),
              testing::MatchesRegex("[0-9]+\\.[0-9]{6} < 57  W\n"
                                    "[0-9]+\\.[0-9]{6} > 40  @\n"));
}

TEST(Transcript, ThrowsIfTheFileCannotBeWritten) {
  EXPECT_THROW(Transcript(false, "/no/such/folder/transcript"), std::system_error);
}

}  // namespace
}  // namespace quillet::simulator
