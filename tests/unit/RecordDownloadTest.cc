#include <atomic>

#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Phase = DisplayState::Phase;
using Texts = std::vector<std::string>;

class RecordDownloadTest : public test::LumetFixture {
 protected:
  static inline const std::string kRecord300 = "\0\x0B\x22"s + "ABCD\x31\x47\x41\x09";

  /// Downloads from a scanner that answers every command.
  void Download(int count, const std::string& burst = Framed()) {
    answer = [=](std::string_view command) {
      if (command == "N") return CountAnswer(count);
      if (command == "P") return burst;
      return command.starts_with('p') ? "\x03" + Framed() : "@"s;
    };
    lumet.Synchronize();
    Dispatch(10);
  }

  /// Returns the records that the program delivers from a burst in the given layout.
  Texts RecordsOf(const std::string& burst, bool series300 = false) {
    if (series300) {
      lumet.GetFWVersion();
      Exchange("1.00.42010@");
    }
    owner.Clear();
    Download(1, burst);
    return owner.records();
  }
};

TEST_F(RecordDownloadTest, QueuesTheFirstCommandsOfADownload) {
  lumet.Synchronize();
  EXPECT_EQ(Queued(),
            "\x01W\x01N\x03"
            "0S1\x01P");
  const auto lines = log.lines();
  EXPECT_EQ(lines[lines.size() - 2], "-[Lumet Synchronize]");
  EXPECT_EQ(lines.back(), "-[Lumet Synchronize] - After wakeup");
  EXPECT_EQ(lumet.display().phase(), Phase::kPreparing);
}

TEST_F(RecordDownloadTest, RequestsEachRecordThenSendsClosingCommand) {
  lumet.bBurstSync = 0;
  Download(3);
  EXPECT_EQ(commands, (Texts{"W", "N", "GS1", "p0#", "p1#", "p2#", "GS0"}));
  EXPECT_EQ(owner.calls(), (Texts{"ABCD", "ABCD", "ABCD", "finished"}));
  EXPECT_EQ(lumet.display().phase(), Phase::kClosing);
}

TEST_F(RecordDownloadTest, CountsARecordAsMissingIfTheAnswerHasNoFrame) {
  answer = [](std::string_view command) {
    if (command == "N") return CountAnswer(3);
    if (command == "p1#") return "@"s;
    return command.starts_with('p') ? "\x03" + Framed() : "@"s;
  };
  lumet.bBurstSync = 0;
  lumet.Synchronize();
  Dispatch(10);
  EXPECT_EQ(lumet.counts().Missing(), 1);
  EXPECT_EQ(lumet.counts().received(), 3) << "the buffer still contains the first record";
  Receive("\x03" + Framed() + "@");
  EXPECT_EQ(lumet.counts().Missing(), 1) << "a live scan";
  EXPECT_EQ(lumet.counts().received(), 4);
  Count(2);
  EXPECT_EQ(lumet.counts().Missing(), 0);
  EXPECT_EQ(lumet.counts().received(), 0);
}

TEST_F(RecordDownloadTest, ArchivesEachRecordBeforeItIsDelivered) {
  owner.onRecord = [this] { archive.kept.push_back("delivered"); };
  lumet.bBurstSync = 0;
  Download(1);
  Receive("\x03" + Framed() + "@");
  EXPECT_EQ(archive.kept, (Texts{"download", "record " + kRecord, "delivered", "record " + kRecord,
                                 "delivered"}));
}

TEST_F(RecordDownloadTest, ArchivesARecordReceivedInsteadOfTheExpectedAnswer) {
  lumet.Queue({3, '1', 'S', '0'});
  Exchange("\x03" + Framed());
  lumet.GetSerialNumber();
  Exchange("\x03" + Framed(kRecord300));
  EXPECT_EQ(archive.kept, (Texts{"record " + kRecord, "record " + kRecord300}));
  EXPECT_EQ(owner.calls(), Texts{"finished"}) << "nothing is delivered";
  for (const std::string& other : {kRecord + "x", kRecord.substr(1), "\x04" + "abcd"s}) {
    lumet.GetSerialNumber();
    Exchange("\x03" + Framed(other));
  }
  EXPECT_EQ(archive.kept.size(), 2U);
}

TEST_F(RecordDownloadTest, ArchivesABurstBeforeItIsDelivered) {
  owner.onRecord = [this] { archive.kept.push_back("delivered"); };
  Download(2, Framed(kRecord + kRecord));
  EXPECT_EQ(archive.kept, (Texts{"download", "burst " + kRecord + kRecord, "delivered", "delivered",
                                 "complete"}));
}

TEST_F(RecordDownloadTest, ReportsACutOffBurstToTheArchive) {
  Download(2, Framed(kRecord + "\x20\x06zz"));
  EXPECT_EQ(archive.kept.back(), "cut off") << "the last record exceeds the burst";
  lumet.GetFWVersion();
  Exchange("1.00.42010@");
  Download(2, Framed(kRecord300 + "\0\0\0"s));
  EXPECT_EQ(archive.kept.back(), "cut off") << "a record of length 0";
}

TEST_F(RecordDownloadTest, CallsAwaitDeliveryOnceInRecordByRecordMode) {
  std::vector<std::string> last;
  owner.onAwait = [&] { last.push_back(commands.back()); };
  lumet.bBurstSync = 0;
  Download(2);
  EXPECT_EQ(last, Texts{"GS1"});
  last.clear();
  lumet.bBurstSync = 1;
  Download(2, Framed(kRecord + kRecord));
  EXPECT_EQ(last, Texts());
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
  EXPECT_EQ(commands, (Texts{"W", "N", "GS1", "P", "W", "GS0"}));
  EXPECT_EQ(owner.calls(), (Texts{"ABCD", "finished"}));
  EXPECT_EQ(lumet.display().phase(), Phase::kClosing);
}

TEST_F(RecordDownloadTest, DoesNotRequestABurstIfTheScannerIsEmpty) {
  lumet.Synchronize();
  answer = [](std::string_view command) { return command == "N" ? "\0\0\0\0@"s : "@"s; };
  Dispatch(3);
  lumet.EraseTavoMemory();  // "E" is dropped together with "P"
  Dispatch(5);
  EXPECT_EQ(commands, (Texts{"W", "N", "GS1", "GS0"}));
  EXPECT_EQ(owner.calls(), Texts{"finished"});
}

TEST_F(RecordDownloadTest, RequestsABurstForANegativeCount) {
  lumet.Queue({1, 'N'});
  Exchange("\xFF\xFF\xFF\xFF@");
  ASSERT_EQ(lumet.SyncEndIndex(), -1);
  lumet.Queue({1, 'P'});
  Exchange(Framed());
  EXPECT_EQ(owner.records().size(), 1U);
}

TEST_F(RecordDownloadTest, ErasesEvenWithoutRecordsInRecordByRecordMode) {
  lumet.bBurstSync = 0;
  lumet.bClearMemory = 1;
  Download(0);
  EXPECT_EQ(commands, (Texts{"W", "N", "GS1", "GS0", "E"}));
}

TEST_F(RecordDownloadTest, SkipsErasedSlotsOnlyInABurst) {
  const std::string erased = "\x08\xFF"s + "ABC\x31\x47\x41\x09";
  EXPECT_EQ(RecordsOf(Framed(kRecord + erased)), Texts{"ABCD"});
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][22:3:10]"));
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][22:13:9]"));
  AwaitRecord();
  owner.Clear();
  Receive("\x03" + Framed(erased));
  EXPECT_EQ(owner.records(), Texts{"ABC"});
}

TEST_F(RecordDownloadTest, LocatesRecordsOfThe300SeriesByTheirLength) {
  EXPECT_EQ(RecordsOf(Framed(kRecord300 + kRecord300), true), (Texts{"ABCD", "ABCD"}));
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][25:14:11]"));
}

TEST_F(RecordDownloadTest, EndsABurstAtAZeroLengthRecord) {
  EXPECT_EQ(RecordsOf(Framed(kRecord300 + std::string(6, '\0')), true), Texts{"ABCD"});
  EXPECT_EQ(commands.back(), "GS0");
}

TEST_F(RecordDownloadTest, QueuesNothingAfterAFailedWakeup) {
  lumet.Synchronize();
  Dispatch(10);
  EXPECT_EQ(line.Sent(), "WWWWW");
  EXPECT_EQ(Queued(), "");
  EXPECT_TRUE(owner.calls().empty());
}

TEST_F(RecordDownloadTest, SkipsARecordAfterFiveSecondsWithoutAnAnswer) {
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

TEST_F(RecordDownloadTest, PublishesTheReceivedByteCountOfABurst) {
  AwaitBurst();
  Receive(Framed().substr(0, 7));
  EXPECT_EQ(lumet.display().phase(), Phase::kBurst);
  EXPECT_EQ(lumet.display().bytes(), 7);
  EXPECT_EQ(lumet.display().announced(), 13);
  owner.onRecord = [this] {
    EXPECT_EQ(lumet.display().phase(), Phase::kDelivering);
    EXPECT_EQ(lumet.display().bytes(), 13);
  };
  Receive(Framed().substr(7));
  EXPECT_EQ(owner.records().size(), 1U);
}

TEST_F(RecordDownloadTest, SendsTheSingleRecordCommandAndIgnoresItsAnswer) {
  lumet.Queue({1, 'q'});
  Exchange("\x03" + Framed());
  EXPECT_EQ(commands, Texts{"p0#"});
  EXPECT_EQ(Queued(), "");
  EXPECT_TRUE(owner.records().empty());
}

TEST_F(RecordDownloadTest, KeepsCommandsIfReconnectedDuringARecordRequest) {
  Count(1);
  lumet.Queue({1, 'p'});
  std::atomic<bool> reconnected = false;
  clock.OnSleep([&] {
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
