#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "simulator/RecordGenerator.h"
#include "simulator/Simulator.h"
#include "tests/simulator/HostPort.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::simulator {
namespace {

namespace fs = std::filesystem;

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr CalendarTime kScanTime{2012, 5, 3, 16, 4, 9};

Bytes AllRecordsFrame(const std::vector<ScanRecord>& records, Model model) {
  Bytes content;
  for (const ScanRecord& record : records) Append(content, Encode(record, model));
  Bytes frame;
  AppendBigEndian(frame, static_cast<std::uint32_t>(content.size() + 3), 3);
  Append(frame, content);
  return frame;
}

TEST(Simulator, AWholeSessionIsAnsweredAndListed) {
  Options options = Options::Instant();
  options.device.serial = "1234567890";
  options.device.records = StockTaking(130, Model::kOlder);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  ASSERT_TRUE(port.IsOpen());

  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
  EXPECT_EQ(port.Ask("V", 11), ToBytes("0.00.41000@"));
  EXPECT_EQ(port.Ask("w1#", 1), ToBytes("@"));
  EXPECT_TRUE(port.Send(Bytes{'C', 0x1A, 0x0B, 0x10, 0x01, 0x04, 0x09}));
  EXPECT_EQ(port.Receive(1), ToBytes("@"));
  EXPECT_EQ(port.Ask("N", 5), (Bytes{0, 0, 0, 130, '@'}));
  EXPECT_EQ(port.Ask("GS1", 1), ToBytes("@"));
  const Bytes expected = AllRecordsFrame(options.device.records, Model::kOlder);
  EXPECT_EQ(port.Ask("P", expected.size()), expected);
  EXPECT_TRUE(port.Send(Bytes{0, 0, 0}));
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_EQ(port.Ask("GS0", 1), ToBytes("@"));
  EXPECT_EQ(port.Ask("E", 1), ToBytes("@"));

  EXPECT_THAT(scanner.commands_seen(),
              ElementsAre("W", "M", "V", "w1#", "C", "N", "GS1", "P", "W", "GS0", "E"));
  EXPECT_THAT(scanner.complaints(), IsEmpty());
  EXPECT_EQ(scanner.clock_set_to(), (CalendarTime{2026, 11, 16, 1, 4, 9}));
  EXPECT_EQ(scanner.erase_count(), 1U);
  EXPECT_THAT(scanner.records(), IsEmpty());
}

TEST(Simulator, ExtremeRecordsPassTheLineUnaltered) {
  for (const Model model : {Model::kOlder, Model::kSeries300}) {
    Options options = Options::Instant(model);
    options.device.records = ExtremeRecords(400, model);
    Simulator scanner(options);
    scanner.Start();
    HostPort port(scanner.path());
    const Bytes expected = AllRecordsFrame(options.device.records, model);
    EXPECT_TRUE(port.Ask("P", expected.size()) == expected);
    Bytes one = {0x03};
    Append(one, AllRecordsFrame({options.device.records[255]}, model));
    EXPECT_EQ(port.Ask("pff#", one.size()), one);
  }
}

TEST(Simulator, ThePortCanBeClosedAndOpenedAgainAndAgain) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  for (int round = 0; round < 20; ++round) {
    HostPort port(scanner.path());
    ASSERT_EQ(port.Ask("W", 1), ToBytes("@")) << round;
    EXPECT_TRUE(scanner.IsPortOpen());
    port.Close();
    ASSERT_TRUE(scanner.WaitForPort(false)) << round;
  }
  EXPECT_EQ(scanner.CountOf("W"), 20U);
}

TEST(Simulator, WhatIsSentToAClosedPortIsLost) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  scanner.Scan(MakeRecord(6, "A", kScanTime));
  ASSERT_TRUE(scanner.WaitForQuiet());
  EXPECT_EQ(scanner.lost_bytes(), 12U);
  EXPECT_EQ(scanner.sent_bytes(), 0U);
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
}

TEST(Simulator, WhatWasNotReadBeforeClosingIsNotThereAfterOpening) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  {
    HostPort port(scanner.path());
    port.Send("M");
    ASSERT_TRUE(scanner.WaitFor([&] { return scanner.sent_bytes() == 11; }));
  }
  ASSERT_TRUE(scanner.WaitForPort(false));
  HostPort port(scanner.path());
  EXPECT_EQ(port.ReceiveUntilSilence(milliseconds(50)), Bytes{});
}

TEST(Simulator, ClosingThePortWithinACommandIsNoComplaint) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  {
    HostPort port(scanner.path());
    port.Send("GS");
    ASSERT_TRUE(scanner.WaitFor([&] { return scanner.received_bytes() == 2; }));
  }
  ASSERT_TRUE(scanner.WaitForPort(false));
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_THAT(scanner.complaints(), IsEmpty());
  EXPECT_THAT(scanner.notes(), SizeIs(1));
}

TEST(Simulator, EverythingThatIsNoCommandIsAComplaint) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("Wz");
  EXPECT_EQ(port.Ask("W", 2), ToBytes("@@"));
  EXPECT_THAT(scanner.complaints(), ElementsAre(HasSubstr("0x7a 'z'")));
}

TEST(Simulator, ALiveScanComesUnaskedWithTheScannersOwnTime) {
  Options options = Options::Instant();
  options.device.clock = kScanTime;
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  ASSERT_TRUE(scanner.WaitForPort(true));
  scanner.Scan(6, "ABC");
  const Bytes frame = port.Receive(14);
  ASSERT_EQ(frame.size(), 14U);
  EXPECT_EQ(Bytes(frame.begin(), frame.begin() + 9),
            (Bytes{0x03, 0x00, 0x00, 0x0C, 0x08, 0x06, 'A', 'B', 'C'}));
  EXPECT_EQ(frame.back(), '@');
  ASSERT_THAT(scanner.records(), SizeIs(1));
  EXPECT_EQ(scanner.records()[0].time.year, 2012);
}

TEST(Simulator, AScanIsSentBehindTheAnswerUnderWay) {
  Options options = Options::Instant();
  options.latency = milliseconds(100);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("M");
  ASSERT_TRUE(scanner.WaitForCommand("M"));
  scanner.Scan(MakeRecord(6, "A", kScanTime));
  const Bytes bytes = port.Receive(11 + 12);
  ASSERT_EQ(bytes.size(), 23U);
  EXPECT_EQ(bytes[10], '@');
  EXPECT_EQ(bytes[11], 0x03);
}

TEST(Simulator, ATooLongScanIsRefusedAndChangesNothing) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  EXPECT_THROW(scanner.Scan({6, Bytes(251), kScanTime, std::nullopt}), std::length_error);
  EXPECT_THAT(scanner.records(), IsEmpty());
}

TEST(Simulator, UnpluggingHangsUpAndPluggingMakesANewLine) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  scanner.Unplug();
  EXPECT_FALSE(scanner.IsPlugged());
  EXPECT_EQ(port.Receive(1), Bytes{});
  EXPECT_TRUE(port.hung_up());
  EXPECT_FALSE(port.Send("W"));

  scanner.Plug();
  EXPECT_TRUE(scanner.IsPlugged());
  HostPort again(scanner.path());
  EXPECT_EQ(again.Ask("W", 1), ToBytes("@"));
}

TEST(Simulator, UnpluggingAndPluggingTwiceIsTheSameAsOnce) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  const std::string path = scanner.path();
  scanner.Plug();
  EXPECT_EQ(scanner.path(), path);
  scanner.Unplug();
  scanner.Unplug();
  EXPECT_FALSE(scanner.IsPlugged());
}

TEST(Simulator, UnpluggingForgetsTheAnswerUnderWay) {
  Options options = Options::Instant();
  options.latency = milliseconds(200);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("M");
  ASSERT_TRUE(scanner.WaitForCommand("M"));
  scanner.Unplug();
  scanner.Plug();
  HostPort again(scanner.path());
  EXPECT_EQ(again.Ask("W", 1), ToBytes("@"));
}

TEST(Simulator, TheLinkFollowsTheLineAndGoesWithIt) {
  const test::TemporaryFolder folder;
  Options options = Options::Instant();
  options.link_path = folder / "scanner";
  Simulator scanner(options);
  scanner.Start();
  EXPECT_EQ(scanner.path(), options.link_path);
  EXPECT_EQ(fs::read_symlink(options.link_path), scanner.line_path());
  scanner.Unplug();
  EXPECT_FALSE(fs::is_symlink(options.link_path));
  scanner.Plug();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  scanner.Stop();
  EXPECT_FALSE(fs::is_symlink(options.link_path));
}

TEST(Simulator, AnotherLinkIsReplacedAndALinkThatIsNotOursAnyMoreIsLeft) {
  const test::TemporaryFolder folder;
  Options options = Options::Instant();
  options.link_path = folder / "scanner";
  fs::create_symlink("/dev/null", options.link_path);
  Simulator scanner(options);
  scanner.Start();
  EXPECT_EQ(fs::read_symlink(options.link_path), scanner.line_path());
  fs::remove(options.link_path);
  fs::create_symlink("/dev/zero", options.link_path);
  scanner.Stop();
  EXPECT_EQ(fs::read_symlink(options.link_path), "/dev/zero");
}

TEST(Simulator, AFileInPlaceOfTheLinkIsNotTouched) {
  const test::TemporaryFolder folder;
  Options options = Options::Instant();
  options.link_path = folder.Put("scanner", "precious");
  Simulator scanner(options);
  EXPECT_THROW(scanner.Start(), std::system_error);
  EXPECT_EQ(test::FileContents(options.link_path).value_or(""), "precious");
}

TEST(Simulator, ALinkThatCannotBeMadeIsAnErrorAtTheStart) {
  Options options = Options::Instant();
  options.link_path = "/no/such/folder/scanner";
  Simulator scanner(options);
  EXPECT_THROW(scanner.Start(), std::system_error);
}

TEST(Simulator, ACookedLineEchoesUntilItIsSetRaw) {
  Options options = Options::Instant();
  options.terminal_mode = TerminalMode::kCooked;
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  termios settings = {};
  ASSERT_EQ(tcgetattr(port.descriptor(), &settings), 0);
  EXPECT_NE(settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON), 0U);
  // The terminal sends the scanner's own answer back to it.
  port.Send("M");
  ASSERT_TRUE(scanner.WaitFor([&] { return !scanner.complaints().empty(); }));
}

TEST(Simulator, ARawLineNeitherEchoesNorTranslates) {
  Options options = Options::Instant();
  options.device.serial = std::string("\r\n\x03\x11\x13\x04\x1A\x7F\x15\x17", 10);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 11), ToBytes(options.device.serial + "@"));
  EXPECT_THAT(scanner.complaints(), IsEmpty());
}

TEST(Simulator, ABurstTakesAtLeastTheLinesOwnTime) {
  Options options = Options::Instant();
  options.speed = 115'200;
  options.device.records = StockTaking(100, Model::kOlder);
  const Bytes expected = AllRecordsFrame(options.device.records, Model::kOlder);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  const auto begin = steady_clock::now();
  EXPECT_EQ(port.Ask("P", expected.size()), expected);
  const std::chrono::duration<double> taken = steady_clock::now() - begin;
  EXPECT_GE(taken.count(), static_cast<double>(expected.size()) * 10 / 115'200);
}

TEST(Simulator, AnAnswerWaitsForItsLatency) {
  Options options = Options::Instant();
  options.latency = milliseconds(30);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  const auto begin = steady_clock::now();
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_GE(steady_clock::now() - begin, milliseconds(30));
}

TEST(Simulator, AnswersComeInPiecesWhenAskedTo) {
  Options options = Options::Instant();
  options.chunk_size = 4;
  options.chunk_pause = milliseconds(2);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("V", 11), ToBytes("0.00.41000@"));
  std::vector<std::size_t> sizes;
  for (const TranscriptEntry& entry : scanner.transcript().Entries()) {
    if (entry.direction == Direction::kSent) sizes.push_back(entry.bytes.size());
  }
  EXPECT_THAT(sizes, ElementsAre(4, 4, 3));
}

TEST(Simulator, AReaderThatIsSlowLosesNothing) {
  Options options = Options::Instant();
  options.device.records = StockTaking(20'000, Model::kOlder);  // more than a terminal's buffers
  const Bytes expected = AllRecordsFrame(options.device.records, Model::kOlder);
  Simulator scanner(options);
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("P");
  ASSERT_TRUE(scanner.WaitFor([&] { return scanner.sent_bytes() > 4096; }));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_LT(scanner.sent_bytes(), expected.size());
  EXPECT_TRUE(port.Receive(expected.size()) == expected);
}

TEST(Simulator, ClosingThePortWithinABurstEndsWhatIsUnderWay) {
  Options options = Options::Instant();
  options.device.records = StockTaking(20'000, Model::kOlder);
  Simulator scanner(options);
  scanner.Start();
  {
    HostPort port(scanner.path());
    port.Send("P");
    ASSERT_EQ(port.Receive(1000).size(), 1000U);
  }
  ASSERT_TRUE(scanner.WaitForPort(false));
  ASSERT_TRUE(scanner.WaitForQuiet());
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  EXPECT_GT(scanner.lost_bytes(), 0U);
}

TEST(Simulator, TheTranscriptHasBothDirectionsInOrder) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  std::string signs;
  for (const TranscriptEntry& entry : scanner.transcript().Entries()) {
    signs += entry.direction == Direction::kReceived ? '<'
             : entry.direction == Direction::kSent   ? '>'
                                                     : '#';
  }
  EXPECT_EQ(signs, "##<>");  // plugged in, port opened, W, @
}

TEST(Simulator, ItsDescriptorsStayOutOfTheWayOfTheStandardStreams) {
  // As in a program that has closed its standard input.
  const int kept = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
  close(STDIN_FILENO);
  {
    Simulator scanner(Options::Instant());
    scanner.Start();
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    HostPort port(scanner.path());
    EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  }
  if (kept >= 0) {
    dup2(kept, STDIN_FILENO);
    close(kept);
  }
}

TEST(Simulator, RecordsCanBeExchangedWhileItRuns) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  scanner.SetRecords(StockTaking(64, Model::kOlder));
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("N", 5), (Bytes{0, 0, 0, 64, '@'}));
  EXPECT_THROW(scanner.SetRecords({{6, Bytes(251), kScanTime, std::nullopt}}), std::length_error);
  EXPECT_THAT(scanner.records(), SizeIs(64));
}

TEST(Simulator, StoppingKeepsWhatItHasSeen) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  scanner.Stop();
  scanner.Stop();
  EXPECT_EQ(port.Receive(1), Bytes{});
  EXPECT_TRUE(port.hung_up());
  EXPECT_THAT(scanner.commands_seen(), ElementsAre("W"));
}

TEST(Simulator, MayBeStartedAgainAfterStopping) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  scanner.Start();
  scanner.Stop();
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
}

TEST(Simulator, WaitingEndsWhenTheTimeIsOver) {
  Simulator scanner(Options::Instant());
  scanner.Start();
  EXPECT_FALSE(scanner.WaitForCommand("W", 1, milliseconds(20)));
  EXPECT_FALSE(scanner.WaitForPort(true, milliseconds(20)));
  EXPECT_TRUE(scanner.WaitFor([] { return true; }, milliseconds(0)));
}

TEST(Simulator, MayBeUsedFromSeveralThreadsAtOnce) {
  Options options = Options::Instant();
  options.device.store_live_scans = false;
  Simulator scanner(options);
  scanner.Start();
  std::thread scans([&] {
    for (int round = 0; round < 50; ++round) scanner.Scan(6, "ABC");
  });
  std::thread plugs([&] {
    for (int round = 0; round < 20; ++round) {
      scanner.Unplug();
      scanner.Plug();
    }
  });
  std::thread looks([&] {
    for (int round = 0; round < 50; ++round) {
      static_cast<void>(scanner.transcript().Entries());
      static_cast<void>(scanner.records());
      HostPort port(scanner.path());
      if (port.IsOpen()) port.Send("W");
    }
  });
  scans.join();
  plugs.join();
  looks.join();
  ASSERT_TRUE(scanner.WaitForPort(false));
  ASSERT_TRUE(scanner.WaitForQuiet());
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
}

TEST(Simulator, SeveralScannersDoNotDisturbEachOther) {
  Options options = Options::Instant();
  options.device.serial = "1111111111";
  Simulator first(options);
  options.device.serial = "2222222222";
  Simulator second(options);
  first.Start();
  second.Start();
  HostPort first_port(first.path());
  HostPort second_port(second.path());
  EXPECT_EQ(first_port.Ask("M", 11), ToBytes("1111111111@"));
  EXPECT_EQ(second_port.Ask("M", 11), ToBytes("2222222222@"));
}

}  // namespace
}  // namespace quillet::simulator
