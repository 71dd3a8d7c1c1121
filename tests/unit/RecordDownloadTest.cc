#include <fcntl.h>
#include <unistd.h>

#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

// The session's output goes into a pipe; every command is answered at its first poll, those for
// records with a record.
class RecordDownloadTest : public test::LumetFixture {
 protected:
  RecordDownloadTest() {
    EXPECT_EQ(pipe2(ends_, O_NONBLOCK), 0);
    lumet.serial.outputfd.Exchange(ends_[1]);
    lumet.bConnected = 1;
    lumet.recorddelimiter = 0;
    clock.OnSleep([this](std::size_t) {
      if (clock.sleeps().back() != 100ms || lumet.bCommandDone || !answers_) return;
      TakeSent();
      if (lumet.commandType == 'N') {
        Receive({0, 0, count_ >> 8, count_ & 0xFF, '@'});
      } else if (lumet.commandType == 'p') {
        Receive(
            "\x03\0\0\x0D\x09\x06"
            "ABCD\x31\x47\x41\x09"s);
      } else if (lumet.commandType == 'P') {
        Receive(burst_);
      } else {
        Receive("@");
      }
    });
  }

  void TakeSent() {
    char bytes[4096];
    const ssize_t count = read(ends_[0], bytes, sizeof bytes);
    if (count > 0) sent_.push_back(std::string(bytes, static_cast<std::size_t>(count)));
  }

  void Download() {
    lumet.Synchronize();
    for (int pass = 0; pass < 10; ++pass) lumet.DispatchCommand();
    TakeSent();
  }

  int ends_[2];
  int count_ = 0;
  bool answers_ = true;
  std::string burst_;
  std::vector<std::string> sent_;
};

TEST_F(RecordDownloadTest, ThreeRecordsOneByOneAreAskedForByIndexAndClosed) {
  lumet.bBurstSync = 0;
  count_ = 3;
  Download();
  EXPECT_EQ(sent_, (std::vector<std::string>{"W", "N", "GS1", "p0#", "p1#", "p2#", "GS0"}));
  EXPECT_EQ(owner.calls(), (std::vector<std::string>{"ABCD", "ABCD", "ABCD", "finished"}));
}

TEST_F(RecordDownloadTest, IndexesAreLowerCaseHexadecimal) {
  lumet.bBurstSync = 0;
  count_ = 26;
  Download();
  ASSERT_EQ(sent_.size(), 30U);
  EXPECT_EQ(sent_[13], "pa#");
  EXPECT_EQ(sent_[28], "p19#");
  EXPECT_EQ(sent_[29], "GS0");
}

TEST_F(RecordDownloadTest, LargeIndexesHaveNoLeadingZeros) {
  lumet.bBurstSync = 0;
  count_ = 257;
  Download();
  EXPECT_EQ(sent_[3 + 255], "pff#");
  EXPECT_EQ(sent_[3 + 256], "p100#");
}

TEST_F(RecordDownloadTest, ABurstOfOnlyItsHeaderFormatsNothingAndStillCloses) {
  lumet.writePtr = 3;
  lumet.SynchronizeBurstData();
  EXPECT_TRUE(owner.records().empty());
  EXPECT_EQ(Queued(),
            "\x01W\x03"
            "1S0");
}

TEST_F(RecordDownloadTest, AnErasedSlotInABurstIsSteppedOver) {
  const std::string frame =
      "\0\0\x16\x09\x06"
      "ABCD\x31\x47\x41\x09"
      "\x08\xFF"
      "ABC\x31\x47\x41\x09"s;
  PutRecord(frame, 0);
  lumet.writePtr = static_cast<std::int32_t>(frame.size());
  lumet.SynchronizeBurstData();
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABCD"});
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][22:3:10]"));
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][22:13:9]"));
}

TEST_F(RecordDownloadTest, ABurstOfThe300SeriesStepsByTheLengthItself) {
  lumet.bTavo300 = 1;
  const std::string record =
      "\x00\x0B\x22"
      "ABCD\x31\x47\x41\x09"s;
  const std::string frame = "\0\0\x19"s + record + record;
  PutRecord(frame, 0);
  lumet.writePtr = static_cast<std::int32_t>(frame.size());
  lumet.SynchronizeBurstData();
  EXPECT_EQ(owner.records(), (std::vector<std::string>{"ABCD", "ABCD"}));
  EXPECT_TRUE(log.Has("-[Lumet SynchronizeBurstData][25:14:11]"));
}

TEST_F(RecordDownloadTest, TheFirmwareTextSelectsTheLayout) {
  const auto layout300 = [&](std::string_view firmware) {
    Await('V');
    Receive(std::string(firmware) + "!");
    return lumet.bTavo300 != 0;
  };
  EXPECT_TRUE(layout300("0.00.42000"));
  EXPECT_TRUE(layout300("0.00.45000"));
  EXPECT_TRUE(layout300("0.00.30000"));
  EXPECT_TRUE(layout300("0.20.39000"));
  EXPECT_FALSE(layout300("0.00.41000"));
}

TEST_F(RecordDownloadTest, AFailedWakeupLeavesNoClosingCommandAndNoFinish) {
  answers_ = false;
  Download();
  EXPECT_EQ(sent_, std::vector<std::string>{"WWWWW"});
  EXPECT_EQ(Queued(), "");
  EXPECT_TRUE(owner.calls().empty());
}

TEST_F(RecordDownloadTest, ABurstIsWokenBeforeItsClosingCommand) {
  count_ = 1;
  burst_ =
      "\0\0\x0D\x09\x06"
      "ABCD\x31\x47\x41\x09"s;
  Download();
  EXPECT_EQ(sent_, (std::vector<std::string>{"W", "N", "GS1", "P", "W", "GS0"}));
  EXPECT_EQ(owner.calls(), (std::vector<std::string>{"ABCD", "finished"}));
}

TEST_F(RecordDownloadTest, ABurstOfNoRecordsIsClosedWithoutBeingAskedFor) {
  lumet.Synchronize();
  for (int pass = 0; pass < 3; ++pass) lumet.DispatchCommand();
  lumet.EraseTavoMemory();  // anything behind the "P" is dropped
  for (int pass = 0; pass < 5; ++pass) lumet.DispatchCommand();
  TakeSent();
  EXPECT_EQ(sent_, (std::vector<std::string>{"W", "N", "GS1", "GS0"}));
  EXPECT_EQ(owner.calls(), std::vector<std::string>{"finished"});
}

TEST_F(RecordDownloadTest, ANegativeCountStillAsksForABurst) {
  lumet.SyncEndIndex = -1;
  lumet.cmdArray.Append({0x01, 'P'});
  burst_ =
      "\0\0\x0D\x09\x06"
      "ABCD\x31\x47\x41\x09"s;
  lumet.DispatchCommand();
  EXPECT_EQ(owner.records().size(), 1U);
}

TEST_F(RecordDownloadTest, OneByOneWithClearMemoryErasesAfterClosingEvenWithoutRecords) {
  lumet.bBurstSync = 0;
  lumet.bClearMemory = 1;
  Download();
  EXPECT_EQ(sent_, (std::vector<std::string>{"W", "N", "GS1", "GS0", "E"}));
}

TEST_F(RecordDownloadTest, OneByOneFormatsErasedSlotsToo) {
  Await('p');
  Receive(
      "\x03\0\0\x0D\x09\xFF"
      "ABCD\x31\x47\x41\x09"s);
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABCD"});
}

TEST_F(RecordDownloadTest, ARecordThatIsNotAnsweredIsLeftOutAfterFiveSeconds) {
  answers_ = false;
  lumet.SyncEndIndex = 2;
  lumet.cmdArray.Append({0x01, 'p'});
  lumet.DispatchCommand();
  TakeSent();
  EXPECT_EQ(sent_, std::vector<std::string>{"p0#p1#"});
  EXPECT_EQ(clock.Count(100ms), 100U);
  EXPECT_EQ(Queued(),
            "\x03"
            "1S0");
}

TEST_F(RecordDownloadTest, ABurstThatIsNotAnsweredIsWaitedForFiftySeconds) {
  answers_ = false;
  lumet.SyncEndIndex = 1;
  lumet.cmdArray.Append({0x01, 'P'});
  lumet.DispatchCommand();
  EXPECT_EQ(clock.Count(100ms), 500U);
  EXPECT_EQ(lumet.bCommandDone, 0);
  EXPECT_EQ(lumet.state, 30);
}

TEST_F(RecordDownloadTest, TheSingleRecordCommandIsSentAndItsAnswerNotFormatted) {
  lumet.SyncStartIndex = 31;
  lumet.cmdArray.Append({0x01, 'q'});
  lumet.DispatchCommand();
  EXPECT_EQ(sent_, std::vector<std::string>{"p1f#"});
  EXPECT_EQ(Queued(), "");
  EXPECT_TRUE(owner.records().empty());
}

TEST_F(RecordDownloadTest, ARecordWithoutLengthEndsTheWalk) {
  lumet.bTavo300 = 1;
  const std::string frame =
      "\0\0\x14\x00\x0B\x22"
      "ABCD\x31\x47\x41\x09"
      "\0\0\0\0\0\0"s;
  PutRecord(frame, 0);
  lumet.writePtr = static_cast<std::int32_t>(frame.size());
  lumet.SynchronizeBurstData();
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABCD"});
  EXPECT_EQ(Queued(),
            "\x01W\x03"
            "1S0");
}

TEST_F(RecordDownloadTest, StartingADownloadOnlyQueues) {
  lumet.Synchronize();
  EXPECT_EQ(Queued(),
            "\x01W\x01N\x03"
            "0S1\x01P");
  const auto lines = log.lines();
  EXPECT_EQ(lines[lines.size() - 2], "-[Lumet Synchronize]");
  EXPECT_EQ(lines.back(), "-[Lumet Synchronize] - After wakeup");
}

TEST_F(RecordDownloadTest, AResetDuringAOneByOneRunLeavesTheNewConnectionsCommandsWhole) {
  lumet.SyncEndIndex = 1;
  lumet.cmdArray.Append({0x01, 'p'});
  lumet.commandThread.Claim();
  bool reconnected = false;
  clock.OnSleep([&](std::size_t) {
    if (!std::exchange(reconnected, true)) lumet.InitTavo();
  });
  lumet.DispatchCommand();
  EXPECT_EQ(Queued(),
            "\0W\x01M\x01V\x03w1#\x03"
            "1S0"s);
}

}  // namespace
}  // namespace quillet
