#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/LumetFixture.h"
#include "tests/support/WaitFor.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using test::WaitFor;

// The session's output goes into a pipe that the test reads; answers are fed in by the test.
class CommandExchangeTest : public test::LumetFixture {
 protected:
  CommandExchangeTest() {
    EXPECT_EQ(pipe2(ends_, O_NONBLOCK), 0);
    lumet.serial.outputfd.Exchange(ends_[1]);
    lumet.bConnected = 1;
  }

  std::string Sent() {
    char bytes[4096];
    const ssize_t count = read(ends_[0], bytes, sizeof bytes);
    return {bytes, count > 0 ? static_cast<std::size_t>(count) : 0};
  }

  /// Answers every command at its first poll.
  void AnswerAtOnce() {
    clock.OnSleep([this](std::size_t) {
      if (clock.sleeps().back() == 100ms && !lumet.bCommandDone) Receive("@");
    });
  }

  int ends_[2];
};

TEST_F(CommandExchangeTest, WaitFactorZeroSendsAndReturnsWithoutWaiting) {
  lumet.commandBuf[0] = 'M';
  lumet.commandLength = 1;
  EXPECT_EQ(lumet.SendCommandAndWait(0), 0);
  EXPECT_EQ(Sent(), "M");
  EXPECT_EQ(clock.sleeps(), std::vector<test::FakeClock::Duration>{1ms});
  EXPECT_EQ(lumet.bCommandDone, 0);
}

TEST_F(CommandExchangeTest, ATaggedEntryIsSentWithGAndAnsweredUnderItsTag) {
  AnswerAtOnce();
  lumet.cmdArray.Append({0x03, '1', 'S', '0'});
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "GS0");
  EXPECT_EQ(lumet.commandType, '1');
  EXPECT_EQ(owner.Count("finished"), 1U);
}

TEST_F(CommandExchangeTest, TheArgumentOfAWakeupChangesNothingInWhatIsSent) {
  AnswerAtOnce();
  lumet.WakeupTavo(false);
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "W");
  lumet.WakeupTavo(true);
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "W");
}

TEST_F(CommandExchangeTest, AWakeupAfterACommandThatBeganWith01SendsThreeNulsFirst) {
  AnswerAtOnce();
  lumet.commandBuf[0] = 0x01;
  lumet.WakeupTavo(false);
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), std::string("\0\0\0W", 4));
  lumet.WakeupTavo(true);
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "W") << "the command before was the wake-up itself";
}

TEST_F(CommandExchangeTest, FiveUnansweredWakeupsDropEverythingQueuedBehind) {
  lumet.WakeupTavo(false);
  lumet.GetSerialNumber();
  lumet.state = 11;
  lumet.writePtr = 77;
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "WWWWW");
  EXPECT_EQ(clock.Count(100ms), 25U) << "five attempts of half a second";
  EXPECT_EQ(lumet.cmdArray.cmdRead(), 0);
  EXPECT_EQ(lumet.cmdArray.cmdWrite(), 0);
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(lumet.writePtr, 0);
  EXPECT_EQ(lumet.bCommandDone, 1);
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "");
}

TEST_F(CommandExchangeTest, DisconnectingEndsTheCommandThreadAfterTheOperationInProgress) {
  // The port goes while the second of five wake-up attempts is being waited for.
  lumet.WakeupTavo(false);
  lumet.GetSerialNumber();
  clock.OnSleep([this](std::size_t) {
    if (clock.Count(1ms) == 2) lumet.bConnected = 0;
  });
  lumet.commandThread.Claim();
  lumet.CommandThread();
  EXPECT_EQ(Sent(), "WWWWW") << "the operation in progress goes on to its end";
  EXPECT_EQ(clock.Count(100ms), 1U + 25U) << "one pass, and the wake-up's own polls";
  EXPECT_TRUE(lumet.commandThread.empty());
  EXPECT_EQ(log.lines().back(), "-[Lumet CommandThread] has finished");
}

TEST_F(CommandExchangeTest, AnIdleCommandThreadEndsWithinOnePassOfDisconnecting) {
  clock.OnSleep([this](std::size_t count) {
    if (count == 3) lumet.bConnected = 0;
  });
  lumet.commandThread.Claim();
  lumet.CommandThread();
  EXPECT_EQ(clock.Count(100ms), 3U);
}

TEST_F(CommandExchangeTest, AnUnansweredCommandBlocksTheQueueOverAReconnectUntilAnAnswerComes) {
  // The queue and the thread are driven by hand: an ordinary command times out ...
  lumet.GetSerialNumber();
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "M");
  EXPECT_EQ(clock.Count(100ms), 50U) << "five seconds";
  EXPECT_EQ(lumet.bCommandDone, 0);
  // ... the session reconnects ...
  lumet.bConnected = 0;
  lumet.commandThread.Claim();  // so that no thread of its own competes with the test
  lumet.bConnected = 1;
  lumet.InitTavo();
  EXPECT_EQ(lumet.bCommandDone, 0);
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "");
  // ... and goes on when any answer ends.
  Receive("@");
  AnswerAtOnce();
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "W");
}

TEST_F(CommandExchangeTest, AnAnswerWithinThePauseBehindTheLastByteCounts) {
  // The scanner answers while the millisecond behind the only byte still runs.
  clock.OnSleep([this](std::size_t) {
    if (clock.sleeps().back() == 1ms) Receive("1234567890@");
  });
  lumet.GetSerialNumber();
  lumet.DispatchCommand();
  EXPECT_EQ(lumet.bCommandDone, 1);
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "1234567890");
  EXPECT_EQ(clock.Count(100ms), 0U);
}

TEST_F(CommandExchangeTest, TheLastPollIsFollowedByASleepAndNoFurtherLook) {
  clock.OnSleep([this](std::size_t) {
    if (clock.Count(100ms) == 5) lumet.bCommandDone = 1;
  });
  lumet.commandLength = 0;
  EXPECT_EQ(lumet.SendCommandAndWait(1), 0);
}

TEST_F(CommandExchangeTest, AnUnknownEntryStaysAtTheHeadAndBlocksTheQueue) {
  AnswerAtOnce();
  lumet.cmdArray.Append({0x01, 'z'});
  lumet.GetSerialNumber();
  lumet.DispatchCommand();
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "");
  EXPECT_EQ(lumet.cmdArray.cmdRead(), 0);
  lumet.commandThread.Claim();
  lumet.InitTavo();
  lumet.DispatchCommand();
  EXPECT_EQ(Sent(), "W");
}

TEST_F(CommandExchangeTest, AtMostOneCommandThreadServesTheSession) {
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  };
  std::thread([] {}).join();  // with the first thread a sanitizer starts one of its own
  const auto before = threads();
  lumet.InitTavo();
  lumet.InitTavo();
  EXPECT_EQ(threads(), before + 1);
  // A quick reconnect keeps or replaces the thread, but is never left without one.
  for (int round = 0; round < 50; ++round) {
    lumet.bConnected = 0;
    std::this_thread::sleep_for(std::chrono::microseconds(round * 10));
    lumet.bConnected = 1;
    lumet.InitTavo();
    ASSERT_FALSE(lumet.commandThread.empty());
  }
  lumet.bConnected = 0;
  EXPECT_TRUE(WaitFor([&] { return threads() == before; }));
}

TEST_F(CommandExchangeTest, CommandsAreLoggedWithTheirTextAndLength) {
  AnswerAtOnce();
  lumet.SetWedgeMode(true);
  lumet.DispatchCommand();
  EXPECT_TRUE(log.Has("-[Lumet CommandThread]"));
  EXPECT_TRUE(log.Has("-[Lumet SendCommand][w1#:3]"));
}

TEST_F(CommandExchangeTest, AFullQueueRefusesTheNextEntryAndSaysSoInTheLog) {
  for (int i = 0; i < 128; ++i) lumet.GetSerialNumber();
  EXPECT_EQ(lumet.cmdArray.cmdWrite(), 256);
  lumet.EraseTavoMemory();
  EXPECT_EQ(lumet.cmdArray.cmdWrite(), 256);
  EXPECT_TRUE(log.Has("-[Lumet Queue]: no room for command 45"));
}

}  // namespace
}  // namespace quillet
