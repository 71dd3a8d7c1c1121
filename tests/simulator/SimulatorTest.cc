#include <gmock/gmock.h>
#include <termios.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "simulator/RecordGenerator.h"
#include "tests/simulator/HostPort.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr CalendarTime kScanTime{2012, 5, 3, 16, 4, 9};

class SimulatorTest : public ScannerTest {
 protected:
  /// Returns the answer from a separate device with the same settings as the scanner.
  Bytes AnswerTo(std::string_view text) const {
    TavoDevice device(options.device, [] { return std::chrono::nanoseconds(0); });
    std::optional<Command> command;
    for (const char letter : text) command = device.Receive(static_cast<std::uint8_t>(letter));
    return device.Execute(command.value()).value();
  }

  void ClosePort() {
    port.reset();
    ASSERT_TRUE(scanner->WaitForPort(false));
  }

  bool WaitForSent(std::size_t bytes) {
    return scanner->WaitFor([&] { return scanner->Counters().sent >= bytes; });
  }
};

TEST_F(SimulatorTest, AnswersAndReportsAllCommandsOfASession) {
  options.device.records = StockTaking(130, Model::kOlder);
  Attach();
  for (const std::string command :
       {"W", "M", "V", "w1#", "C\x1A\x0B\x10\x01\x04\x09", "N", "GS1", "P", "GS0", "E"}) {
    const Bytes answer = AnswerTo(command);
    EXPECT_EQ(port->Ask(command, answer.size()), answer) << command;
  }
  const DeviceReport report = scanner->Report();
  EXPECT_THAT(report.commandsSeen,
              ElementsAre("W", "M", "V", "w1#", "C", "N", "GS1", "P", "GS0", "E"));
  EXPECT_THAT(report.complaints, IsEmpty());
  EXPECT_EQ(report.clockSetTo, (CalendarTime{2026, 11, 16, 1, 4, 9}));
  EXPECT_EQ(report.eraseCount, 1U);
  EXPECT_THAT(scanner->Records(), IsEmpty());
}

TEST_F(SimulatorTest, SendsEveryByteUnchangedOnARawLine) {
  options.device.asset = std::string("\r\n\x03\x11\x13\x04\x1A\x7F\x15\x17", 10);
  for (const Model model : {Model::kOlder, Model::kSeries300}) {
    options.device.model = model;
    options.device.records = ExtremeRecords(400, model);
    Attach();
    for (const char* command : {"GZSG", "P", "pff#"}) {
      const Bytes expected = AnswerTo(command);
      EXPECT_TRUE(port->Ask(command, expected.size()) == expected) << command;
    }
    EXPECT_THAT(scanner->Report().complaints, IsEmpty()) << "the line must not echo";
  }
}

TEST_F(SimulatorTest, EchoesInputInCookedMode) {
  options.terminalMode = TerminalMode::kCooked;
  Attach();
  termios settings = {};
  ASSERT_EQ(tcgetattr(port->Descriptor(), &settings), 0);
  EXPECT_NE(settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON), 0U);
  // The terminal echoes the answer back to the scanner, which reports it as an unknown command.
  port->Send("M");
  ASSERT_TRUE(scanner->WaitFor([&] { return !scanner->Report().complaints.empty(); }));
}

TEST_F(SimulatorTest, AnswersAfterThePortIsReopened) {
  Attach();
  for (int round = 0; round < 20; ++round) {
    if (round > 0) port.emplace(scanner->Path());
    ASSERT_EQ(port->Ask("W", 1), ToBytes("@")) << round;
    EXPECT_TRUE(scanner->IsPortOpen());
    ClosePort();
  }
  EXPECT_EQ(scanner->CountOf("W"), 20U);
}

TEST_F(SimulatorTest, CountsBytesSentToAClosedPortAsLost) {
  Attach();
  ClosePort();
  scanner->Scan(MakeRecord(6, "A", kScanTime));
  ASSERT_TRUE(scanner->WaitForQuiet());
  EXPECT_EQ(scanner->Counters().lost, 12U);
  EXPECT_EQ(scanner->Counters().sent, 0U);
  EXPECT_TRUE(Answers());
}

TEST_F(SimulatorTest, DiscardsUnreadBytesWhenThePortCloses) {
  Attach();
  port->Send("M");
  ASSERT_TRUE(WaitForSent(11));
  ClosePort();
  EXPECT_EQ(HostPort(scanner->Path()).Receive(1, kSilence), Bytes{});
}

TEST_F(SimulatorTest, ReportsACommandCutOffByClosingThePort) {
  Attach();
  port->Send("GS");
  ASSERT_TRUE(scanner->WaitFor([&] { return scanner->Counters().received == 2; }));
  ClosePort();
  EXPECT_TRUE(Answers());
  EXPECT_THAT(scanner->Report().complaints, IsEmpty());
  EXPECT_THAT(scanner->Report().notes, ElementsAre(testing::HasSubstr("47 53")));
}

TEST_F(SimulatorTest, TimestampsALiveScanWithTheScannerClock) {
  options.device.clock = kScanTime;
  Attach();
  ASSERT_TRUE(scanner->WaitForPort(true));
  scanner->Scan(6, "ABC");
  Bytes frame = port->Receive(14);
  ASSERT_THAT(frame, SizeIs(14));
  EXPECT_EQ(frame.back(), '@');
  frame.resize(9);
  EXPECT_EQ(frame, (Bytes{0x03, 0x00, 0x00, 0x0C, 0x08, 0x06, 'A', 'B', 'C'}));
  ASSERT_THAT(scanner->Records(), SizeIs(1));
  EXPECT_EQ(scanner->Records()[0].time.year, 2012);
}

TEST_F(SimulatorTest, SendsALiveScanAfterThePendingAnswer) {
  options.latency = milliseconds(100);
  Attach();
  port->Send("M");
  ASSERT_TRUE(scanner->WaitForCommand("M"));
  scanner->Scan(MakeRecord(6, "A", kScanTime));
  const Bytes bytes = port->Receive(11 + 12);
  ASSERT_THAT(bytes, SizeIs(23));
  EXPECT_EQ(bytes[10], '@');
  EXPECT_EQ(bytes[11], 0x03);
}

TEST_F(SimulatorTest, StaysHungUpUntilPluggedInAgain) {
  Attach();
  scanner->Plug();
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  scanner->Unplug();
  scanner->Unplug();
  EXPECT_FALSE(scanner->IsPlugged());
  EXPECT_EQ(port->Receive(1), Bytes{});
  EXPECT_TRUE(port->HungUp());
  EXPECT_FALSE(port->Send("W"));
  scanner->Plug();
  EXPECT_TRUE(scanner->IsPlugged());
  EXPECT_TRUE(Answers());
}

TEST_F(SimulatorTest, DropsThePendingAnswerWhenUnplugged) {
  options.latency = milliseconds(200);
  Attach();
  port->Send("M");
  ASSERT_TRUE(scanner->WaitForCommand("M"));
  scanner->Unplug();
  scanner->Plug();
  EXPECT_TRUE(Answers());
}

TEST_F(SimulatorTest, DoesNotReplaceAFileAtTheLinkPath) {
  const test::TemporaryFolder folder;
  options.linkPath = folder / "scanner";
  fs::create_symlink("/dev/null", options.linkPath);
  Attach();
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  fs::remove(options.linkPath);
  fs::create_symlink("/dev/zero", options.linkPath);
  scanner->Stop();
  EXPECT_EQ(fs::read_symlink(options.linkPath), "/dev/zero");
  options.linkPath = folder.Put("file", "precious");
  EXPECT_THROW(Attach(), std::system_error);
  EXPECT_EQ(test::FileContents(options.linkPath).value_or(""), "precious");
}

TEST_F(SimulatorTest, AnswersNoFasterThanLatencyAndLineSpeedAllow) {
  options.speed = 115'200;
  options.latency = milliseconds(30);
  options.device.records = StockTaking(100, Model::kOlder);
  const Bytes expected = AnswerTo("P");
  Attach();
  const auto begin = steady_clock::now();
  EXPECT_EQ(port->Ask("P", expected.size()), expected);
  const std::chrono::duration<double> taken = steady_clock::now() - begin;
  EXPECT_GE(taken.count(), 0.030 + static_cast<double>(expected.size()) * 10 / 115'200);
}

TEST_F(SimulatorTest, WaitsForASlowReaderUntilThePortCloses) {
  options.device.records = StockTaking(20'000, Model::kOlder);  // exceeds the terminal's buffers
  const Bytes expected = AnswerTo("P");
  Attach();
  port->Send("P");
  ASSERT_TRUE(WaitForSent(4097));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_LT(scanner->Counters().sent, expected.size());
  EXPECT_TRUE(port->Receive(expected.size()) == expected);

  port->Send("P");
  ASSERT_THAT(port->Receive(1000), SizeIs(1000));
  ClosePort();
  ASSERT_TRUE(scanner->WaitForQuiet());
  EXPECT_TRUE(Answers());
  EXPECT_GT(scanner->Counters().lost, 0U);
}

TEST_F(SimulatorTest, TranscriptHasEventsAndBytesInOrder) {
  Attach();
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  std::vector<Direction> directions;
  for (const TranscriptEntry& entry : scanner->GetTranscript().Entries()) {
    directions.push_back(entry.direction);
  }
  // The scanner was plugged in, the port was opened, and "W" was answered with "@".
  EXPECT_THAT(directions, ElementsAre(Direction::kEvent, Direction::kEvent, Direction::kReceived,
                                      Direction::kSent));
}

TEST_F(SimulatorTest, DoesNotReopenClosedStandardInput) {
  const int kept = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
  close(STDIN_FILENO);
  Attach();
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  if (kept >= 0) {
    dup2(kept, STDIN_FILENO);
    close(kept);
  }
}

TEST_F(SimulatorTest, ReplacesRecordsWhileRunning) {
  Attach();
  scanner->SetRecords(StockTaking(64, Model::kOlder));
  EXPECT_EQ(port->Ask("N", 5), (Bytes{0, 0, 0, 64, '@'}));
  const ScanRecord tooLong{6, Bytes(251), kScanTime};
  EXPECT_THROW(scanner->SetRecords({tooLong}), std::length_error);
  EXPECT_THROW(scanner->Scan(tooLong), std::length_error);
  EXPECT_THAT(scanner->Records(), SizeIs(64));
}

TEST_F(SimulatorTest, KeepsTheReportWhenStopped) {
  Attach();
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  scanner->Stop();
  scanner->Stop();
  EXPECT_EQ(port->Receive(1), Bytes{});
  EXPECT_TRUE(port->HungUp());
  EXPECT_THAT(scanner->Report().commandsSeen, ElementsAre("W"));
  scanner->Start();
  scanner->Start();
  EXPECT_TRUE(Answers());
}

TEST_F(SimulatorTest, WaitFunctionsReturnFalseOnTimeOut) {
  Attach();
  EXPECT_FALSE(scanner->WaitForCommand("W", 1, milliseconds(20)));
  EXPECT_TRUE(scanner->WaitFor([] { return true; }, milliseconds(0)));
  ClosePort();
  EXPECT_FALSE(scanner->WaitForPort(true, milliseconds(20)));
}

TEST_F(SimulatorTest, AllowsConcurrentCalls) {
  options.device.storeLiveScans = false;
  Attach();
  port.reset();
  std::thread scans([&] {
    for (int round = 0; round < 50; ++round) scanner->Scan(6, "ABC");
  });
  std::thread plugs([&] {
    for (int round = 0; round < 20; ++round) {
      scanner->Unplug();
      scanner->Plug();
    }
  });
  std::thread reads([&] {
    for (int round = 0; round < 50; ++round) {
      static_cast<void>(scanner->GetTranscript().Entries());
      static_cast<void>(scanner->Records());
      HostPort other(scanner->Path());
      if (other.IsOpen()) other.Send("W");
    }
  });
  scans.join();
  plugs.join();
  reads.join();
  ASSERT_TRUE(scanner->WaitForPort(false));
  ASSERT_TRUE(scanner->WaitForQuiet());
  EXPECT_TRUE(Answers());
}

TEST_F(SimulatorTest, RunsAlongsideAnotherScanner) {
  Attach();
  options.device.serial = "2222222222";
  Simulator second(options);
  second.Start();
  EXPECT_EQ(port->Ask("M", 11), ToBytes("1234567890@"));
  EXPECT_EQ(HostPort(second.Path()).Ask("M", 11), ToBytes("2222222222@"));
}

}  // namespace
}  // namespace quillet::simulator
