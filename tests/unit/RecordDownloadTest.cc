#include <atomic>

#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Phase = DisplayState::Phase;

const std::string kStoredRecord = "\x09\x06"s + "ABCD\x31\x47\x41\x09";

std::string Framed(const std::string& records) {
  return "\0\0"s + static_cast<char>(records.size() + 3) + records;
}

// A scanner that answers every command.
class RecordDownloadTest : public test::LumetFixture {
 protected:
  RecordDownloadTest() { lumet.recorddelimiter = 0; }

  void Download(int count, const std::string& burst = Framed(kStoredRecord)) {
    answer = [=](std::string_view command) {
      if (command == "N") {
        return std::string{0, 0, static_cast<char>(count >> 8), static_cast<char>(count), '@'};
      }
      if (command == "P") return burst;
      return command.starts_with('p') ? "\x03" + Framed(kStoredRecord) : "@"s;
    };
    lumet.Synchronize();
    Dispatch(10);
  }

  /// Sends "P" and receives a burst from a scanner of either layout.
  std::vector<std::string> RecordsOf(const std::string& burst, bool series300 = false) {
    if (series300) {
      lumet.GetFWVersion();
      Exchange("1.00.42010@");
    }
    owner.Clear();
    Download(1, burst);
    return owner.records();
  }
};

TEST_F(RecordDownloadTest, OnlyQueuesAtFirst) {
  lumet.Synchronize();
  EXPECT_EQ(Queued(),
            "\x01W\x01N\x03"
            "0S1\x01P");
  const auto lines = log.lines();
  EXPECT_EQ(lines[lines.size() - 2], "-[Lumet Synchronize]");
  EXPECT_EQ(lines.back(), "-[Lumet Synchronize] - After wakeup");
  EXPECT_EQ(lumet.display().phase(), Phase::kPreparing);
}

TEST_F(RecordDownloadTest, RequestsRecordsByIndexAndCloses) {
  lumet.bBurstSync = 0;
  Download(3);
  EXPECT_EQ(commands, (std::vector<std::string>{"W", "N", "GS1", "p0#", "p1#", "p2#", "GS0"}));
  EXPECT_EQ(owner.calls(), (std::vector<std::string>{"ABCD", "ABCD", "ABCD", "finished"}));
  EXPECT_EQ(lumet.display().phase(), Phase::kClosing);
}

TEST_F(RecordDownloadTest, WritesIndexesInLowerCaseHexadecimal) {
  lumet.bBurstSync = 0;
  Download(257);
  EXPECT_EQ(commands[3 + 10], "pa#");
  EXPECT_EQ(commands[3 + 25], "p19#");
  EXPECT_EQ(commands[3 + 255], "pff#");
  EXPECT_EQ(commands[3 + 256], "p100#");
}

TEST_F(RecordDownloadTest, WakesTheScannerAfterABurst) {
  Download(1);
  EXPECT_EQ(commands, (std::vector<std::string>{"W", "N", "GS1", "P", "W", "GS0"}));
  EXPECT_EQ(owner.calls(), (std::vector<std::string>{"ABCD", "finished"}));
  EXPECT_EQ(lumet.display().phase(), Phase::kClosing);
}

TEST_F(RecordDownloadTest, ClosesWithoutABurstIfThereAreNoRecords) {
  lumet.Synchronize();
  answer = [](std::string_view command) { return command == "N" ? "\0\0\0\0@"s : "@"s; };
  Dispatch(3);
  lumet.EraseTavoMemory();  // entries after the "P" are dropped
  Dispatch(5);
  EXPECT_EQ(commands, (std::vector<std::string>{"W", "N", "GS1", "GS0"}));
  EXPECT_EQ(owner.calls(), std::vector<std::string>{"finished"});
}

TEST_F(RecordDownloadTest, RequestsABurstForANegativeCount) {
  lumet.Queue({1, 'N'});
  Exchange("\xFF\xFF\xFF\xFF@");
  ASSERT_EQ(lumet.SyncEndIndex(), -1);
  lumet.Queue({1, 'P'});
  Exchange(Framed(kStoredRecord));
  EXPECT_EQ(owner.records().size(), 1U);
}

TEST_F(RecordDownloadTest, ErasesAfterClosingOneByOneEvenWithoutRecords) {
  lumet.bBurstSync = 0;
  lumet.bClearMemory = 1;
  Download(0);
  EXPECT_EQ(commands, (std::vector<std::string>{"W", "N", "GS1", "GS0", "E"}));
}

TEST_F(RecordDownloadTest, SkipsErasedSlotsInABurstOnly) {
  const std::string erased = "\x08\xFF"s + "ABC\x31\x47\x41\x09";
  EXPECT_EQ(RecordsOf(Framed(kStoredRecord + erased)), std::vector<std::string>{"ABCD"});
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][22:3:10]"));
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][22:13:9]"));
  AwaitRecord();
  owner.Clear();
  Receive("\x03" + Framed(erased));
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABC"});
}

TEST_F(RecordDownloadTest, StepsByTheLengthItselfFor300Series) {
  const std::string record = "\0\x0B\x22"s + "ABCD\x31\x47\x41\x09";
  EXPECT_EQ(RecordsOf(Framed(record + record), true), (std::vector<std::string>{"ABCD", "ABCD"}));
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][25:14:11]"));
}

TEST_F(RecordDownloadTest, EndsTheWalkAtARecordWithoutLength) {
  const std::string record = "\0\x0B\x22"s + "ABCD\x31\x47\x41\x09";
  EXPECT_EQ(RecordsOf(Framed(record + std::string(6, '\0')), true),
            std::vector<std::string>{"ABCD"});
  EXPECT_EQ(commands.back(), "GS0");
}

TEST_F(RecordDownloadTest, QueuesNothingMoreAfterAFailedWakeup) {
  lumet.Synchronize();
  Dispatch(10);
  EXPECT_EQ(line.Sent(), "WWWWW");
  EXPECT_EQ(Queued(), "");
  EXPECT_TRUE(owner.calls().empty());
}

TEST_F(RecordDownloadTest, LeavesOutARecordNotAnsweredInFiveSeconds) {
  Count(2);
  const std::size_t polls = clock.Count(100ms);
  lumet.Queue({1, 'p'});
  Dispatch();
  EXPECT_EQ(line.Sent(), "p0#p1#");
  EXPECT_EQ(clock.Count(100ms) - polls, 100U);
  EXPECT_EQ(Queued(),
            "\x03"
            "1S0");
}

TEST_F(RecordDownloadTest, WaitsFiftySecondsForABurst) {
  Count(1);
  const std::size_t polls = clock.Count(100ms);
  lumet.Queue({1, 'P'});
  Dispatch();
  EXPECT_EQ(clock.Count(100ms) - polls, 500U);
  EXPECT_FALSE(lumet.bCommandDone());
  EXPECT_EQ(lumet.receive().state(), kBurstLength);
  EXPECT_EQ(lumet.display().phase(), Phase::kBurst);
}

TEST_F(RecordDownloadTest, PublishesHowMuchOfABurstHasArrived) {
  AwaitBurst();
  Receive(Framed(kStoredRecord).substr(0, 7));
  EXPECT_EQ(lumet.display().phase(), Phase::kBurst);
  EXPECT_EQ(lumet.display().bytes(), 7);
  EXPECT_EQ(lumet.display().announced(), 13);
  owner.onRecord = [this] {
    EXPECT_EQ(lumet.display().phase(), Phase::kDelivering);
    EXPECT_EQ(lumet.display().bytes(), 13);
  };
  Receive(Framed(kStoredRecord).substr(7));
  EXPECT_EQ(owner.records().size(), 1U);
}

TEST_F(RecordDownloadTest, SendsTheSingleRecordCommandAndIgnoresItsAnswer) {
  lumet.Queue({1, 'q'});
  Exchange("\x03" + Framed(kStoredRecord));
  EXPECT_EQ(commands, std::vector<std::string>{"p0#"});
  EXPECT_EQ(Queued(), "");
  EXPECT_TRUE(owner.records().empty());
}

TEST_F(RecordDownloadTest, KeepsANewConnectionsCommandsOneByOne) {
  Count(1);
  lumet.Queue({1, 'p'});
  std::atomic<bool> reconnected = false;
  clock.OnSleep([&](std::size_t) {
    if (!reconnected.exchange(true)) lumet.InitTavo();
  });
  Dispatch();
  EXPECT_EQ(Queued(),
            "\0W\x01M\x01V\x03w1#\x03"
            "1S0"s);
  AwaitCommandThread();
}

}  // namespace
}  // namespace quillet
