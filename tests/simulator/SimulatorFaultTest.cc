#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include "simulator/RecordGenerator.h"
#include "simulator/Simulator.h"
#include "tests/simulator/HostPort.h"

namespace quillet::simulator {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::IsEmpty;
using testing::SizeIs;

constexpr milliseconds kSilence{60};

class SimulatorFaultTest : public testing::Test {
 protected:
  static Options WithFaults(std::string_view script) {
    Options options = Options::Instant();
    options.device.serial = "1234567890";
    options.device.records = StockTaking(20, Model::kOlder);
    options.faults = ParseFaults(script);
    return options;
  }
};

TEST_F(SimulatorFaultTest, SilenceAtTheFirstOccurrenceOnly) {
  Simulator scanner(WithFaults("on M 1 silence"));
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("M");
  EXPECT_EQ(port.ReceiveUntilSilence(kSilence), Bytes{});
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
}

TEST_F(SimulatorFaultTest, ASilentCommandIsCarriedOutAndAnIgnoredOneIsNot) {
  Simulator scanner(WithFaults("on E 1 ignore\non E 2 silence"));
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("E");
  ASSERT_TRUE(scanner.WaitForCommand("E"));
  EXPECT_THAT(scanner.records(), SizeIs(20));
  port.Send("E");
  ASSERT_TRUE(scanner.WaitForCommand("E", 2));
  EXPECT_THAT(scanner.records(), IsEmpty());
  EXPECT_EQ(port.ReceiveUntilSilence(kSilence), Bytes{});
}

TEST_F(SimulatorFaultTest, ADelayedAnswerComesLater) {
  Simulator scanner(WithFaults("on M delay 80"));
  scanner.Start();
  HostPort port(scanner.path());
  const auto begin = steady_clock::now();
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
  EXPECT_GE(steady_clock::now() - begin, milliseconds(80));
}

TEST_F(SimulatorFaultTest, StoppingAndStartingDoesNotDoubleTheFaults) {
  Simulator scanner(WithFaults("on M after \"x\""));
  scanner.Start();
  scanner.Stop();
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 12), ToBytes("1234567890@x"));
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
}

TEST_F(SimulatorFaultTest, AnAnswerInChunksIsWrittenPieceByPiece) {
  Simulator scanner(WithFaults("on M chunks 1"));
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
  std::size_t pieces = 0;
  for (const TranscriptEntry& entry : scanner.transcript().Entries()) {
    if (entry.direction == Direction::kSent) pieces += 1;
  }
  EXPECT_EQ(pieces, 11U);
}

TEST_F(SimulatorFaultTest, EditedAnswersArriveAsTheScriptHasThem) {
  Simulator scanner(
      WithFaults("on M before 00 ff\non M within 4 \"xx\"\non N answer 00 00 21 00 40\n"
                 "on p0# truncate 4\non p0# length 0"));
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 15), ToBytes(std::string("\0\xff", 2) + "12xx34567890@"));
  EXPECT_EQ(port.Ask("N", 5), (Bytes{0, 0, 0x21, 0, '@'}));
  EXPECT_EQ(port.Ask("p0#", 4), (Bytes{3, 0, 0, 0}));
}

TEST_F(SimulatorFaultTest, TheCableIsPulledAfterExactlySoManySentBytes) {
  for (const std::size_t count : {1U, 2U, 50U, 300U}) {
    Simulator scanner(WithFaults("after-sent " + std::to_string(count) + " unplug"));
    scanner.Start();
    HostPort port(scanner.path());
    port.Send("P");
    EXPECT_EQ(port.ReceiveUntilHangUp().size(), count);
    ASSERT_TRUE(scanner.WaitFor([&] { return !scanner.IsPlugged(); }));
    EXPECT_EQ(scanner.sent_bytes(), count);
    EXPECT_THAT(scanner.transcript().All(Direction::kSent), SizeIs(count));
  }
}

TEST_F(SimulatorFaultTest, TheCableIsPulledOnlyWhenTheComputerHasTakenWhatWasSent) {
  Simulator scanner(WithFaults("after-sent 5 unplug"));
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("M");
  ASSERT_TRUE(scanner.WaitFor([&] { return scanner.sent_bytes() == 5; }));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(port.ReceiveUntilHangUp(), ToBytes("12345"));
}

TEST_F(SimulatorFaultTest, TheCableIsPulledAfterExactlySoManyReceivedBytes) {
  Simulator scanner(WithFaults("after-received 2 unplug"));
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("WMV");
  ASSERT_TRUE(scanner.WaitFor([&] { return !scanner.IsPlugged(); }));
  EXPECT_EQ(scanner.commands_seen(), (std::vector<std::string>{"W", "M"}));
  EXPECT_EQ(scanner.received_bytes(), 2U);
  EXPECT_EQ(scanner.transcript().All(Direction::kReceived), ToBytes("WM"));
  EXPECT_TRUE((port.ReceiveUntilHangUp(), port.hung_up()));
}

TEST_F(SimulatorFaultTest, ACutAtEveryByteOfASessionLeavesExactlySoManyBytes) {
  // W @ M 1234567890@ GS1 @: 17 bytes in both directions.
  for (std::size_t cut = 1; cut <= 17; ++cut) {
    Simulator scanner(WithFaults("after-bytes " + std::to_string(cut) + " unplug"));
    scanner.Start();
    HostPort port(scanner.path());
    port.Ask("W", 1);
    if (!port.hung_up()) port.Ask("M", 11);
    if (!port.hung_up()) port.Ask("GS1", 1);
    port.ReceiveUntilHangUp();
    ASSERT_TRUE(scanner.WaitFor([&] { return !scanner.IsPlugged(); })) << cut;
    EXPECT_EQ(scanner.sent_bytes() + scanner.received_bytes(), cut);
  }
}

TEST_F(SimulatorFaultTest, ACableMayBePutInAgainByItself) {
  Simulator scanner(WithFaults("after-sent 5 unplug replug 20"));
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("M");
  EXPECT_EQ(port.ReceiveUntilHangUp(), ToBytes("12345"));
  ASSERT_TRUE(scanner.WaitFor([&] { return scanner.sent_bytes() == 0 && scanner.IsPlugged(); }));
  HostPort again(scanner.path());
  EXPECT_EQ(again.Ask("M", 11), ToBytes("1234567890@"));
}

TEST_F(SimulatorFaultTest, ACommandMayPullTheCable) {
  Simulator scanner(WithFaults("on GS1 unplug"));
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("W", 1), ToBytes("@"));
  port.Send("GS1");
  EXPECT_EQ(port.ReceiveUntilHangUp(), Bytes{});
  EXPECT_TRUE(port.hung_up());
}

TEST_F(SimulatorFaultTest, TheCableIsPulledAtTheLatestWhenTheComputerDoesNotRead) {
  Simulator scanner(WithFaults("after-sent 5 unplug"));
  scanner.Start();
  HostPort port(scanner.path());
  port.Send("M");
  EXPECT_TRUE(scanner.WaitFor([&] { return !scanner.IsPlugged(); }));
}

TEST_F(SimulatorFaultTest, BytesComeUnaskedAtTheirTime) {
  Simulator scanner(WithFaults(""));
  scanner.Start();
  HostPort port(scanner.path());
  ASSERT_TRUE(scanner.WaitForPort(true));
  scanner.AddFault("at 50ms send 03 00 00 06 61 62 63 40");
  EXPECT_EQ(port.Receive(8), ToBytes(std::string("\x03\x00\x00\x06", 4) + "abc@"));
}

TEST_F(SimulatorFaultTest, BytesComeInTheMiddleOfAnAnswer) {
  Simulator scanner(WithFaults("after-sent 4 send \"??\""));
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 13), ToBytes("1234??567890@"));
}

TEST_F(SimulatorFaultTest, BytesAreLostInTheMiddleOfAnAnswer) {
  Simulator scanner(WithFaults("after-sent 4 lose 3"));
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 8), ToBytes("1234890@"));
}

TEST_F(SimulatorFaultTest, TheLineMayStandStillInTheMiddleOfAnAnswer) {
  Simulator scanner(WithFaults("after-sent 4 pause 80"));
  scanner.Start();
  HostPort port(scanner.path());
  const auto begin = steady_clock::now();
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
  EXPECT_GE(steady_clock::now() - begin, milliseconds(80));
}

TEST_F(SimulatorFaultTest, SomebodyScansAtATime) {
  Simulator scanner(WithFaults(""));
  scanner.Start();
  HostPort port(scanner.path());
  ASSERT_TRUE(scanner.WaitForPort(true));
  scanner.AddFault("at 20ms scan 6 \"A B\"");
  const Bytes frame = port.Receive(14);
  ASSERT_THAT(frame, SizeIs(14));
  EXPECT_EQ(Bytes(frame.begin() + 6, frame.begin() + 9), ToBytes("A B"));
  EXPECT_THAT(scanner.records(), SizeIs(21));
}

TEST_F(SimulatorFaultTest, ARuleMayBeAddedWhileItRuns) {
  Simulator scanner(WithFaults(""));
  scanner.Start();
  HostPort port(scanner.path());
  EXPECT_EQ(port.Ask("M", 11), ToBytes("1234567890@"));
  scanner.AddFault("after-sent 3 unplug");
  port.Send("M");
  EXPECT_EQ(port.ReceiveUntilHangUp(), ToBytes("123"));
  EXPECT_THROW(scanner.AddFault("on Q silence"), std::invalid_argument);
}

}  // namespace
}  // namespace quillet::simulator
