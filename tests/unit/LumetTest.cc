#include <fcntl.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "tests/support/LumetFixture.h"
#include "tests/support/WaitFor.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using test::WaitFor;

constexpr std::string_view kStartCommands("\0W\x01M\x01V\x03w1#", 10);
using Texts = std::vector<std::string>;

class LumetTest : public test::LumetFixture {
 protected:
  std::string Serial() const { return lumet.returnSerialNumber().TextFrom(0); }

  /// Sends a command and receives its answer.
  void Ask(void (Lumet::*command)(), std::string_view text) {
    (lumet.*command)();
    Exchange(text);
  }

  bool IsOf300Series(const std::string& firmware) {
    Ask(&Lumet::GetFWVersion, firmware + "@");
    EXPECT_EQ(lumet.FWVersion.TextFrom(0), firmware);
    return lumet.bTavo300 != 0;
  }

  static std::ptrdiff_t Threads() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  }
};

// --- Received bytes -----------------------------------------------------------------------------

TEST_F(LumetTest, StoresIdentityStringsUpToTheTerminator) {
  const struct {
    void (Lumet::*command)();
    std::string text, identity;
  } cases[] = {
      {&Lumet::GetAssetNumber, "ASSET-7@", "0000000000|0.00.00000|ASSET-7"},
      {&Lumet::GetSerialNumber, "1234567890@", "1234567890|0.00.00000|ASSET-7"},
      {&Lumet::GetSerialNumber, "\x03\0\0\x09"s + "12@34!", "|0.00.00000|ASSET-7"},
      {&Lumet::GetSerialNumber, std::string(300, '7') + "@", "7777777777|0.00.00000|ASSET-7"},
      {&Lumet::GetFWVersion, std::string(300, '8') + "@", "7777777777|8888888888|ASSET-7"},
      {&Lumet::GetAssetNumber, std::string(300, '9') + "@",
       "7777777777|8888888888|" + std::string(32, '9')},
      {&Lumet::GetAssetNumber, "!", "7777777777|8888888888|"},
      {&Lumet::GetSerialNumber, "!", "|8888888888|"},
      {&Lumet::GetFWVersion, "!", "||"},
  };
  for (const auto& [command, text, identity] : cases) {
    Ask(command, text);
    EXPECT_EQ(Serial() + "|" + lumet.FWVersion.TextFrom(0) + "|" + lumet.AssetNumber.TextFrom(0),
              identity);
    EXPECT_TRUE(lumet.bCommandDone());
  }
  EXPECT_TRUE(log.Has("-[Lumet HandleCommandData::][1234567890@:11:11:4d]"));
}

TEST_F(LumetTest, ReadsTheRecordCountFromFourBytes) {
  // The count 0x2100 is sent as 00 00 21 00. The byte 0x21 ('!') ends the answer, so the last byte
  // of the count remains 0x40 from the previous answer.
  const std::pair<std::string, int> cases[] = {
      {"\0\0\0\x21"s, 33}, {"\0\0\0\x40"s, 64}, {"\0\0\x21"s, 0x2140}};
  for (const auto& [text, count] : cases) {
    lumet.Queue({1, 'N'});
    Exchange(text);
    EXPECT_EQ(lumet.SyncEndIndex(), count);
  }
}

TEST_F(LumetTest, RecognizesThe300SeriesByItsFirmware) {
  for (const char* firmware : {"1.00.45010", "1.00.42010", "1.00.30010", "1.20.31010"}) {
    EXPECT_TRUE(IsOf300Series(firmware)) << firmware;
  }
  for (const char* firmware : {"1.00.41010", "1.00.31010", "1.20.41010", "0.00.00000"}) {
    EXPECT_FALSE(IsOf300Series(firmware)) << firmware;
  }
  EXPECT_TRUE(log.Has("-[Lumet InitialSetting]"));
  // A short answer leaves characters 5 and 6 of the previous version in the field.
  ASSERT_TRUE(IsOf300Series("1.00.42010"));
  EXPECT_TRUE(IsOf300Series("1.0"));
}

TEST_F(LumetTest, SetsTheClockAfterTheWedgeModeAnswer) {
  clock.Set({2026, 11, 16, 1, 4, 9});
  lumet.SetWedgeMode(true);
  Exchange("@");
  EXPECT_EQ(Queued(), "\x07\x43\x1A\x0B\x10\x01\x04\x09");
  EXPECT_TRUE(owner.calls().empty());
  Exchange("@");
  EXPECT_EQ(owner.calls(), Texts{"done:1"});
}

TEST_F(LumetTest, ReadsDateAndTimeSeparatelyToSetTheClock) {
  clock.Set({2026, 11, 16, 23, 59, 59}, {{2026, 11, 17, 0, 0, 0}});
  lumet.SyncTavoClock();
  EXPECT_EQ(Queued(), "\x07\x43\x1A\x0B\x10\0\0\0"s) << "date of the 16th, time of the 17th";
}

TEST_F(LumetTest, ReportsInitDoneAtOnceIfClockSyncIsOff) {
  lumet.bSyncClock = 0;
  lumet.SyncTavoClock();
  EXPECT_EQ(Queued(), "");
  EXPECT_EQ(owner.calls(), Texts{"done:1"});
}

TEST_F(LumetTest, ReportsTheEndOfARunAfterTheClosingCommand) {
  bool done = false;
  owner.onFinished = [&] { done = lumet.bCommandDone(); };
  lumet.Queue({3, '1', 'S', '0'});
  Exchange("@");
  EXPECT_EQ(commands, Texts{"GS0"});
  EXPECT_EQ(lumet.commandType(), '1');
  EXPECT_EQ(owner.calls(), Texts{"finished"});
  EXPECT_TRUE(done);
}

TEST_F(LumetTest, TreatsAFrameAfterAnAnswerAsUnsolicited) {
  AwaitRecord();
  // The first frame answers the command. The second one is an unsolicited record.
  Receive("\x03" + Framed() + "x@\x03" + Framed() + "@y@");
  EXPECT_EQ(owner.records(), (Texts{"ABCD", "ABCD"}));
  EXPECT_EQ(lumet.receive().writePtr(), 0);
}

TEST_F(LumetTest, ExpectBurstCanBeCalledWhileARecordIsDelivered) {
  owner.onRecord = [this] {
    owner.onRecord = nullptr;
    lumet.ExpectBurst();
  };
  Receive("\x03" + Framed() + "@");
  EXPECT_EQ(lumet.receive().state(), kBurstLength);
}

TEST_F(LumetTest, DeliversABurstEvenIfNoCommandIsPending) {
  AwaitBurst();
  lumet.HandleCommandData(nullptr, 0);  // completes the command
  lumet.ExpectBurst();
  owner.Clear();
  Receive(Framed());
  EXPECT_EQ(owner.records(), Texts{"ABCD"});
}

TEST_F(LumetTest, DeliversOnlyRecordsThatFitIntoTheBuffer) {
  AwaitBurst();
  constexpr std::size_t kTotal = ReceiveMachine::kBufferSize + 200;
  std::string burst{static_cast<char>(kTotal >> 16), static_cast<char>(kTotal >> 8 & 0xFF),
                    static_cast<char>(kTotal & 0xFF)};
  // Records of 100 bytes. The record that extends past the buffer is skipped.
  while (burst.size() < kTotal) burst += "\x63\x06" + std::string(98, 'd');
  Receive(burst.substr(0, kTotal));
  EXPECT_EQ(owner.records().size(), (ReceiveMachine::kBufferSize - 3) / 100U);
  EXPECT_EQ(owner.records().back(), std::string(94, 'd'));
  answer = [](std::string_view) { return "1234567890@"; };
  lumet.GetSerialNumber();
  Dispatch(4);
  EXPECT_EQ(Serial(), "1234567890");
}

TEST_F(LumetTest, LogsReceivedBytesWithEscapesAndCount) {
  Receive("ab\x1b[2J\r");
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][ab\\x1b[2J\\r:7]"));
  Receive(std::string(2999, 'z'));  // not followed by a NUL
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][" + std::string(2999, 'z') + ":2999]"));
  const std::uint8_t byte = 'x';
  lumet.DataFromDevice(&byte, 0);
  lumet.DataFromDevice(&byte, -1);
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][:0]"));
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][:-1]"));
}

struct StateCase {
  std::int32_t state;
  bool burst;
  std::string bytes;  // bytes that lead to this state
};

class LumetStateTest : public LumetTest, public testing::WithParamInterface<StateCase> {};

TEST_P(LumetStateTest, RewindsAnEmptyCommandQueueOnEachReceivedByte) {
  if (GetParam().burst) lumet.ExpectBurst();
  Receive(GetParam().bytes);
  ASSERT_EQ(lumet.receive().state(), GetParam().state);
  lumet.EraseTavoMemory();
  Dispatch();
  ASSERT_EQ(lumet.cmdArray().cmdRead(), 2);
  Receive("x");
  EXPECT_EQ(lumet.cmdArray().cmdRead(), 0);
  EXPECT_EQ(lumet.cmdArray().cmdWrite(), 0);
  lumet.EraseTavoMemory();
  Receive("x");
  EXPECT_EQ(lumet.cmdArray().cmdWrite(), 2) << "the entry has not been sent yet";
}

INSTANTIATE_TEST_SUITE_P(
    States, LumetStateTest,
    testing::Values(StateCase{kPlainAnswer, false, ""}, StateCase{kFrameLength, false, "\x03"},
                    StateCase{kFrameBody, false, "\x03\0\0\x09"s},
                    StateCase{kUnsolicitedEnd, false, "\x03\0\0\x04"s + "a"},
                    StateCase{kBurstLength, true, ""}, StateCase{kBurstBody, true, "\0\0\x09"s}),
    [](const auto& state) { return "State" + std::to_string(state.param.state); });

// --- Sending ------------------------------------------------------------------------------------

TEST_F(LumetTest, QueuesEachDeviceCommand) {
  lumet.GetSerialNumber();
  lumet.GetFWVersion();
  lumet.GetAssetNumber();
  lumet.EraseTavoMemory();
  lumet.SetWedgeMode(true);
  lumet.SetWedgeMode(false);
  EXPECT_EQ(Queued(),
            "\x01M\x01V\x04"
            "2ZSG\x01"
            "E\x03w1#\x03w0#");
}

TEST_F(LumetTest, SendsWithoutWaitingIfTheWaitFactorIsZero) {
  lumet.SetCommand("M");
  EXPECT_EQ(lumet.SendCommandAndWait(0), 0);
  EXPECT_EQ(line.Sent(), "M");
  EXPECT_EQ(clock.sleeps(), std::vector<test::FakeClock::Duration>{1ms});
  EXPECT_FALSE(lumet.bCommandDone());
}

TEST_F(LumetTest, LogsCommandsWithTextAndLength) {
  lumet.SetWedgeMode(true);
  Exchange("@");
  EXPECT_TRUE(log.Has("-[Lumet CommandThread]"));
  EXPECT_TRUE(log.Has("-[Lumet SendCommand][w1#:3]"));
}

TEST_F(LumetTest, SendsThreeNulsBeforeAWakeupAfterCommand01) {
  lumet.SetCommand("\x01");
  lumet.WakeupTavo(false);
  lumet.HandleCommandData(nullptr, 0);  // completes the command
  Exchange("@");
  lumet.WakeupTavo(true);
  Exchange("@");
  EXPECT_EQ(commands, (Texts{"\0\0\0W"s, "W"}));
}

TEST_F(LumetTest, ClearsTheQueueAfterFiveUnansweredWakeups) {
  lumet.WakeupTavo(false);
  lumet.GetSerialNumber();
  Receive("\x03\0\0\x09"s + "ab");
  Dispatch();
  EXPECT_EQ(line.Sent(), "WWWWW");
  EXPECT_EQ(clock.Count(100ms), 25U) << "five times 0.5 s";
  EXPECT_EQ(Queued(), "");
  EXPECT_EQ(lumet.cmdArray().cmdWrite(), 0);
  EXPECT_EQ(lumet.receive().state(), 0);
  EXPECT_EQ(lumet.receive().writePtr(), 0);
  EXPECT_TRUE(lumet.bCommandDone());
  EXPECT_EQ(lumet.display().phase(), DisplayState::Phase::kGivenUp);
}

TEST_F(LumetTest, KeepsCommandsOfANewConnectionAfterAFailedWakeup) {
  lumet.WakeupTavo(false);
  std::atomic<bool> reconnected = false;
  clock.OnSleep([&] {
    if (clock.Count(100ms) != 3 || reconnected.exchange(true)) return;
    lumet.InitTavo();
    Receive("\x03\0\0\x09"s + "ab");
  });
  Dispatch();
  EXPECT_EQ(Queued(), kStartCommands);
  EXPECT_EQ(lumet.receive().writePtr(), 5) << "bytes of the new connection";
  EXPECT_TRUE(lumet.bCommandDone());
  AwaitCommandThread();
}

TEST_F(LumetTest, AcceptsAnAnswerDuringThePauseAfterTheLastByte) {
  clock.OnSleep([this] {
    if (clock.sleeps().back() == 1ms) Receive("1234567890@");
  });
  lumet.GetSerialNumber();
  Dispatch();
  EXPECT_EQ(Serial(), "1234567890");
  EXPECT_EQ(clock.Count(100ms), 0U);
}

TEST_F(LumetTest, TimesOutIfTheAnswerArrivesDuringTheLastSleep) {
  clock.OnSleep([this] {
    if (clock.Count(100ms) == 5) Receive("@");
  });
  lumet.SetCommand("M");
  EXPECT_EQ(lumet.SendCommandAndWait(1), 0);
  EXPECT_TRUE(lumet.bCommandDone());
}

TEST_F(LumetTest, UnknownCommandBlocksSendingUntilInitTavoIsCalled) {
  lumet.Queue({1, 'z'});
  lumet.GetSerialNumber();
  Dispatch(2);
  EXPECT_EQ(line.Sent(), "");
  lumet.InitTavo();
  Dispatch();
  EXPECT_EQ(line.Sent().substr(0, 1), "W");
}

TEST_F(LumetTest, SendsNothingAfterATimeOutUntilAnAnswerArrives) {
  lumet.GetSerialNumber();
  Dispatch();
  EXPECT_EQ(line.Sent(), "M");
  EXPECT_EQ(clock.Count(100ms), 50U) << "five seconds";
  lumet.disconnectTavo();
  ASSERT_EQ(lumet.connectTavo("port"), 1);
  Dispatch();
  EXPECT_EQ(line.Sent(), "");
  Receive("@");
  EXPECT_TRUE(WaitFor([&] { return line.Sent().starts_with("W"); }));
}

TEST_F(LumetTest, SendsTheEraseCommandIfTheArchivePermitsIt) {
  lumet.EraseTavoMemory();
  Exchange("@");
  EXPECT_EQ(commands, std::vector<std::string>{"E"});
  EXPECT_EQ(archive.kept, std::vector<std::string>{"erased"});
}

TEST_F(LumetTest, DropsTheEraseCommandUnlessTheArchivePermitsIt) {
  archive.permits = false;
  lumet.EraseTavoMemory();
  lumet.GetSerialNumber();
  Dispatch(2);
  EXPECT_EQ(line.Sent(), "M");
  EXPECT_EQ(archive.kept, std::vector<std::string>{});
}

TEST_F(LumetTest, DoesNotEraseANewScannerAfterWaitingForTheArchive) {
  lumet.EraseTavoMemory();
  archive.onAwait = [this] { lumet.InitTavo(); };
  Dispatch();
  EXPECT_EQ(line.Sent(), "");
  EXPECT_EQ(Queued(), kStartCommands);
  EXPECT_EQ(archive.kept, std::vector<std::string>{"erase dropped"});
  EXPECT_TRUE(lumet.bCommandDone());
}

TEST_F(LumetTest, DoesNotEraseAfterTheCableIsUnplugged) {
  lumet.EraseTavoMemory();
  archive.onAwait = [this] { lumet.disconnectTavo(); };
  Dispatch();
  EXPECT_EQ(line.Sent(), "");
  EXPECT_TRUE(lumet.bCommandDone());
  EXPECT_EQ(archive.kept, std::vector<std::string>{"erase dropped"});
  EXPECT_EQ(clock.Count(100ms), 0U) << "no wait for an answer";
}

TEST_F(LumetTest, DoesNotEraseAScannerWhileConnecting) {
  // Opens another port while the erase command waits for the archive. Delays the new connection
  // until the erase command has been handled.
  static std::atomic<bool> opened = false;
  static std::atomic<bool> handled = false;
  // Uses only static variables, because the new connection's command thread outlives the test.
  log.onWrite = [](std::string_view written) {
    if (!written.ends_with("Open succeeded !!!")) return;
    opened = true;
    EXPECT_TRUE(WaitFor([] { return handled.load(); }));
  };
  std::thread connecting;
  archive.onAwait = [&] {
    lumet.disconnectTavo();
    connecting = std::thread([&] { lumet.connectTavo("other port"); });
    EXPECT_TRUE(WaitFor([] { return opened.load(); }));
  };
  lumet.EraseTavoMemory();
  Dispatch();
  EXPECT_EQ(line.Sent(), "");
  EXPECT_TRUE(lumet.bCommandDone());
  handled = true;
  connecting.join();
}

TEST_F(LumetTest, ReportsAPendingEraseWhenADownloadStarts) {
  lumet.Queue({1, 'N'});
  lumet.EraseTavoMemory();
  Exchange(CountAnswer(1));
  Exchange("@");
  Count(1);
  EXPECT_EQ(archive.kept, (Texts{"download, erase pending", "erased", "download"}));
}

TEST_F(LumetTest, LogsACommandThatDoesNotFitInTheQueue) {
  for (int i = 0; i < 128; ++i) lumet.GetSerialNumber();
  EXPECT_EQ(lumet.cmdArray().cmdWrite(), 256);
  lumet.EraseTavoMemory();
  EXPECT_EQ(lumet.cmdArray().cmdWrite(), 256);
  EXPECT_TRUE(log.Has("-[Lumet Queue]: queue full, dropped command 45"));
}

// --- Connection ---------------------------------------------------------------------------------

TEST_F(LumetTest, InitTavoQueuesStartCommandsAndSleepsOneSecond) {
  Receive("\x03\0\0\x09"s + "ab");
  lumet.EraseTavoMemory();
  lumet.InitTavo();
  EXPECT_EQ(Queued(), kStartCommands);
  EXPECT_EQ(lumet.receive().state(), 0);
  EXPECT_EQ(lumet.receive().writePtr(), 0);
  EXPECT_EQ(clock.Count(1s), 1U);
}

TEST_F(LumetTest, ReportsAPortThatCannotBeOpened) {
  line.opens = false;
  EXPECT_EQ(lumet.connectTavo("/dev/absent"), 0);
  EXPECT_FALSE(lumet.bConnected());
  EXPECT_TRUE(log.Has("[/dev/absent]:Open failed !!!"));
}

TEST_F(LumetTest, DisconnectWhileThePortOpensCancelsConnecting) {
  // Disconnects while the port is being opened for writing.
  int opened = 0;
  line.onOpen = [&](const std::string&) {
    if (++opened == 2) lumet.disconnectTavo();
  };
  EXPECT_EQ(lumet.connectTavo("port"), 0);
  EXPECT_FALSE(lumet.bConnected());
  EXPECT_EQ(Queued(), "");
}

TEST_F(LumetTest, ConnectFailsIfDisconnectedAfterOpeningThePort) {
  log.onWrite = [&lumet = lumet](std::string_view written) {
    if (written.ends_with("Open succeeded !!!")) lumet.disconnectTavo();
  };
  EXPECT_EQ(lumet.connectTavo("port"), 0);
  EXPECT_FALSE(lumet.bConnected());
  EXPECT_EQ(Queued(), "");
}

TEST_F(LumetTest, ClearsSerialNumberAndVersionOnDisconnect) {
  ASSERT_NE(fcntl(0, F_GETFD), -1);
  lumet.disconnectTavo();
  EXPECT_EQ(Serial(), "");
  EXPECT_EQ(lumet.FWVersion.TextFrom(0), "");
  EXPECT_FALSE(lumet.bConnected());
  EXPECT_EQ(line.closed, std::vector<std::int32_t>{0})
      << "a port that was never opened has descriptor 0";
}

TEST_F(LumetTest, DisconnectEndsCommandThreadAfterCurrentWakeup) {
  std::string sent;  // used only by the command thread until that thread ends
  int waits = 0;
  bool disconnected = false;
  clock.OnSleep([&] {
    if (clock.sleeps().back() != 100ms) return;
    sent += line.Sent();
    if (sent.empty()) return;  // no wake-up has been sent yet
    ++waits;
    // Disconnects during the second of five wake-up attempts.
    if (sent == "WW" && !std::exchange(disconnected, true)) lumet.disconnectTavo();
  });
  ASSERT_EQ(lumet.connectTavo("port"), 1);
  EXPECT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  EXPECT_EQ(sent + line.Sent(), "WW") << "must not write to a closed line";
  EXPECT_GE(waits, 25);
}

TEST_F(LumetTest, RunsAtMostOneCommandThread) {
  // When the first thread starts, a sanitizer may start a helper thread. `before` must count the
  // helper thread.
  std::thread([] {}).join();
  ASSERT_EQ(lumet.connectTavo("port"), 1);  // starts the read thread, which never ends
  lumet.disconnectTavo();
  EXPECT_TRUE(WaitFor([&] { return log.Has("-[Lumet CommandThread] has finished"); }));
  const auto before = Threads();
  for (int round = 0; round < 50; ++round) {
    lumet.disconnectTavo();
    std::this_thread::sleep_for(std::chrono::microseconds(round * 10));
    ASSERT_EQ(lumet.connectTavo("port"), 1);
  }
  EXPECT_TRUE(WaitFor([&] { return Threads() == before + 1; }));
  lumet.disconnectTavo();
  EXPECT_TRUE(WaitFor([&] { return Threads() == before; }));
}

}  // namespace
}  // namespace quillet
