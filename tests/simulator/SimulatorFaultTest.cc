#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

#include "simulator/RecordGenerator.h"
#include "tests/simulator/HostPort.h"

namespace quillet::simulator {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SimulatorFaultTest : public ScannerTest {
 protected:
  /// Attaches a scanner with 20 records and these faults.
  void AttachWith(std::string_view script) {
    options.faults = ParseFaults(script);
    options.device.records = StockTaking(20, Model::kOlder);
    Attach();
  }

  bool WaitForUnplug() {
    return scanner->WaitFor([&] { return !scanner->IsPlugged(); });
  }

  /// Returns the bytes of each transfer in the given direction.
  std::vector<Bytes> Transfers(Direction direction) {
    std::vector<Bytes> transfers;
    for (const TranscriptEntry& entry : scanner->GetTranscript().Entries()) {
      if (entry.direction == direction) transfers.push_back(entry.bytes);
    }
    return transfers;
  }
};

TEST_F(SimulatorFaultTest, ExecutesSilencedCommandsButNotIgnoredOnes) {
  AttachWith("on E 1 ignore\non E 2 silence");
  port->Send("E");
  ASSERT_TRUE(scanner->WaitForCommand("E"));
  EXPECT_THAT(scanner->Records(), SizeIs(20));
  port->Send("E");
  ASSERT_TRUE(scanner->WaitForCommand("E", 2));
  EXPECT_THAT(scanner->Records(), IsEmpty());
  EXPECT_EQ(port->Receive(1, kSilence), Bytes{});
  EXPECT_EQ(port->Ask("E", 1), ToBytes("@"));
}

TEST_F(SimulatorFaultTest, DelaysOrPausesAnAnswer) {
  AttachWith("on M delay 80\nafter-sent 15 pause 80");
  for (const auto& [command, answer] : {std::pair("M", "1234567890@"), {"V", "0.00.41000@"}}) {
    const auto begin = steady_clock::now();
    EXPECT_EQ(port->Ask(command, 11), ToBytes(answer));
    EXPECT_GE(steady_clock::now() - begin, milliseconds(80));
  }
}

TEST_F(SimulatorFaultTest, AppliesFaultsAfterARestart) {
  AttachWith("on M after \"x\"");
  scanner->Stop();
  scanner->Start();
  port.emplace(scanner->Path());
  EXPECT_EQ(port->Ask("M", 12), ToBytes("1234567890@x"));
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
}

TEST_F(SimulatorFaultTest, SendsAnAnswerInChunks) {
  AttachWith("on V chunks 4 2");
  EXPECT_EQ(port->Ask("V", 11), ToBytes("0.00.41000@"));
  EXPECT_THAT(Transfers(Direction::kSent),
              ElementsAre(ToBytes("0.00"), ToBytes(".410"), ToBytes("00@")));
}

TEST_F(SimulatorFaultTest, InsertsOrDropsBytesInAnAnswer) {
  AttachWith("after-sent 4 send \"??\"\nafter-sent 17 lose 3");
  EXPECT_EQ(port->Ask("M", 13), ToBytes("1234??567890@"));
  EXPECT_EQ(port->Ask("M", 8), ToBytes("1234890@"));
}

TEST_F(SimulatorFaultTest, UnplugsAfterExactlyTheGivenNumberOfSentBytes) {
  for (const std::size_t count : {1U, 2U, 50U, 300U}) {
    AttachWith("after-sent " + std::to_string(count) + " unplug");
    port->Send("P");
    EXPECT_THAT(port->ReceiveUntilHangUp(), SizeIs(count));
    ASSERT_TRUE(WaitForUnplug());
    EXPECT_EQ(scanner->Counters().sent, count);
    EXPECT_THAT(Transfers(Direction::kSent), ElementsAre(SizeIs(count)));
  }
}

TEST_F(SimulatorFaultTest, DelaysUnpluggingUntilSentBytesAreRead) {
  AttachWith("after-sent 5 unplug");
  port->Send("M");
  ASSERT_TRUE(scanner->WaitFor([&] { return scanner->Counters().sent == 5; }));
  std::this_thread::sleep_for(milliseconds(50));
  EXPECT_EQ(port->ReceiveUntilHangUp(), ToBytes("12345"));
}

TEST_F(SimulatorFaultTest, UnplugsEvenIfSentBytesAreNeverRead) {
  AttachWith("after-sent 5 unplug");
  port->Send("M");
  EXPECT_TRUE(WaitForUnplug());
}

TEST_F(SimulatorFaultTest, UnplugsAfterExactlyTheGivenNumberOfReceivedBytes) {
  AttachWith("after-received 2 unplug");
  port->Send("WMV");
  ASSERT_TRUE(WaitForUnplug());
  EXPECT_THAT(scanner->Report().commandsSeen, ElementsAre("W", "M"));
  EXPECT_EQ(scanner->Counters().received, 2U);
  EXPECT_THAT(Transfers(Direction::kReceived), ElementsAre(ToBytes("WM")));
  EXPECT_TRUE((port->ReceiveUntilHangUp(), port->HungUp()));
}

TEST_F(SimulatorFaultTest, UnplugsAfterAnyByteOfASession) {
  // The session has 18 bytes: W @ M 1234567890@ GS1 @. Each cut loses at least the last byte.
  for (std::size_t cut = 1; cut <= 17; ++cut) {
    AttachWith("after-bytes " + std::to_string(cut) + " unplug");
    for (const auto& [command, size] : {std::pair("W", 1U), {"M", 11U}, {"GS1", 1U}}) {
      if (!port->HungUp()) port->Ask(command, size);
    }
    port->ReceiveUntilHangUp();
    ASSERT_TRUE(WaitForUnplug()) << cut;
    EXPECT_EQ(scanner->Counters().sent + scanner->Counters().received, cut);
  }
}

TEST_F(SimulatorFaultTest, ReplugsAfterTheGivenTime) {
  AttachWith("after-sent 5 unplug replug 20");
  port->Send("M");
  EXPECT_EQ(port->ReceiveUntilHangUp(), ToBytes("12345"));
  ASSERT_TRUE(
      scanner->WaitFor([&] { return scanner->Counters().sent == 0 && scanner->IsPlugged(); }));
  EXPECT_EQ(HostPort(scanner->Path()).Ask("M", 11), ToBytes("1234567890@"));
}

TEST_F(SimulatorFaultTest, UnplugsWhenTheGivenCommandArrives) {
  AttachWith("on GS1 unplug");
  EXPECT_EQ(port->Ask("W", 1), ToBytes("@"));
  port->Send("GS1");
  EXPECT_EQ(port->ReceiveUntilHangUp(), Bytes{});
  EXPECT_TRUE(port->HungUp());
}

TEST_F(SimulatorFaultTest, AcceptsFaultsWhileRunning) {
  AttachWith("");
  EXPECT_EQ(port->Ask("M", 11), ToBytes("1234567890@"));
  scanner->AddFault("at 50ms send 03 00 00 06 61 62 63 40");
  EXPECT_EQ(port->Receive(8), ToBytes(std::string("\x03\x00\x00\x06", 4) + "abc@"));
  scanner->AddFault("at 20ms scan 6 \"A B\"");
  const Bytes frame = port->Receive(14);
  ASSERT_THAT(frame, SizeIs(14));
  EXPECT_EQ(Bytes(frame.begin() + 6, frame.begin() + 9), ToBytes("A B"));
  EXPECT_THAT(scanner->Records(), SizeIs(21));
  scanner->AddFault("after-sent 3 unplug");
  port->Send("M");
  EXPECT_EQ(port->ReceiveUntilHangUp(), ToBytes("123"));
  EXPECT_THROW(scanner->AddFault("on Q silence"), std::invalid_argument);
}

}  // namespace
}  // namespace quillet::simulator
