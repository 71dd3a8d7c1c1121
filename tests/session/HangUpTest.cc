#include "tests/session/SessionFixture.h"

namespace quillet::test {
namespace {

using simulator::Options;
using simulator::StockTaking;
using Commands = std::vector<std::string>;

class HangUpTest : public SessionFixture {
 protected:
  void SetUp() override {
    // The link's name stays while the line behind it changes with every plugging in.
    options_ = Options::Instant();
    options_.device.records = StockTaking(40, Model::kOlder);
    options_.link_path = folder / "ttyACM0";
  }

  /// The cable is pulled, or has been pulled by a fault; the program hears of it.
  void HearRemoval() {
    registry.Unplug(folder / "ttyACM0");
    mainQueue.RunAll();
  }

  void PlugInAgain() {
    scanners[0]->Plug();
    registry.Plug("usbmodem1", folder / "ttyACM0");
    FinishConnecting();
  }

  Options options_;
};

TEST_F(HangUpTest, UnpluggingWhileIdleDisconnectsAndPluggingInConnectsAgain) {
  Simulator& scanner = Attach(options_);
  ASSERT_TRUE(Connect());
  DataOnly();
  scanner.Unplug();
  HearRemoval();
  EXPECT_TRUE(View().ends_with("Disconnected from Tavo[005771]|"));
  EXPECT_TRUE(WaitFor([&] { return controller.lumet->commandThread.empty(); }));
  PlugInAgain();
  EXPECT_TRUE(controller.bIsConnected);
  ASSERT_TRUE(SynchronizeAndWait());
  EXPECT_EQ(SyncFile(), Join(DataLines(scanner.records())));
}

TEST_F(HangUpTest, UnpluggingWithinABurstHarmsNoFileAndBlocksUntilAnAnswerComes) {
  Simulator& scanner = Attach(options_);
  ASSERT_TRUE(Connect());
  DataOnly();
  controller.lumet->filename.Set(folder / "stock.txt");
  ASSERT_TRUE(SynchronizeAndWait());
  const std::string saved = SyncFile();
  EXPECT_EQ(saved, Join(DataLines(scanner.records())));

  scanner.AddFault("after-sent 200 unplug");
  synchronize.Press();
  ASSERT_TRUE(WaitFor([&] { return !scanner.IsPlugged(); }));
  HearRemoval();
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_EQ(FileContents(folder / "stock.txt"), saved);
  EXPECT_TRUE(controller.bIsUnderSynchronization) << "the run has not ended";

  // The burst's answer is still outstanding: nothing is sent on the new line.
  const std::size_t sent = scanner.commands_seen().size();
  PlugInAgain();
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_EQ(scanner.commands_seen().size(), sent);
  EXPECT_EQ(FileContents(folder / "stock.txt"), saved);
}

TEST_F(HangUpTest, ARecordByRecordRunGoesOnAfterTheCableWasPulled) {
  options_.faults = simulator::ParseFaults("on p2# 1 unplug");
  Simulator& scanner = Attach(options_);
  ASSERT_TRUE(Connect());
  DataOnly();
  controller.lumet->bBurstSync = 0;
  synchronize.Press();
  ASSERT_TRUE(WaitFor([&] { return !scanner.IsPlugged(); }));
  HearRemoval();
  EXPECT_FALSE(controller.bIsConnected);
  EXPECT_FALSE(controller.lumet->commandThread.empty()) << "it goes on asking for records";
  EXPECT_TRUE(WaitFor([&] { return log.Has("-[Lumet SendCommand][p3#:3]"); }));
}

TEST_F(HangUpTest, ARunThatGoesOnOverANewConnectionEndsAsAnyOther) {
  options_.faults = simulator::ParseFaults("on p2# 1 unplug");
  Simulator& scanner = Attach(options_);
  ASSERT_TRUE(Connect());
  DataOnly();
  controller.lumet->bBurstSync = 0;
  controller.lumet->bClearMemory = 1;
  std::vector<std::string> expected = DataLines(scanner.records());
  synchronize.Press();
  ASSERT_TRUE(WaitFor([&] { return !scanner.IsPlugged(); }));
  HearRemoval();
  PlugInAgain();
  ASSERT_TRUE(WaitForView("Synchronization finished. Tavo can be plugged off now|"));
  // The record that was on its way is lost, in the scanner too.
  expected.erase(expected.begin() + 2);
  EXPECT_EQ(SyncFile(), Join(expected));
  EXPECT_TRUE(WaitFor([&] { return scanner.erase_count() > 0; }));
}

TEST_F(HangUpTest, UnpluggingWhileConnectingEndsTheAttemptInGoodOrder) {
  options_.faults = simulator::ParseFaults("on V 1 unplug");
  Attach(options_);
  EXPECT_FALSE(Connect());
  EXPECT_TRUE(View().ends_with(": Failed|Failed to connect to Tavo|"));
  HearRemoval();
  EXPECT_EQ(ports.items(), (std::vector<std::string>{"None", "None"}));
}

}  // namespace
}  // namespace quillet::test
