#include "tests/session/SessionFixture.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;
using simulator::Options;
using Commands = std::vector<std::string>;

class StartUpChainTest : public SessionFixture {};

TEST_F(StartUpChainTest, AScannerIsWokenAskedForItsIdentityAndGivenTheTime) {
  clock.Set({2026, 11, 16, 1, 4, 9});
  Options options;
  options.device.serial = "2104005771";
  Simulator& scanner = Attach(options);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(scanner.commands_seen(), (Commands{"W", "M", "V", "w1#", "C"}));
  EXPECT_EQ(controller.lumet->SerialNo.TextFrom(0), "2104005771");
  EXPECT_EQ(scanner.clock_set_to(), (simulator::CalendarTime{2026, 11, 16, 1, 4, 9}));
  EXPECT_TRUE(View().ends_with(": |Connected to Tavo[005771]|Tavo Time sychronized...|"));
  EXPECT_EQ(window.title(), "Quillet V1.25[005771]");
}

TEST_F(StartUpChainTest, WithClockSettingOffTheChainEndsBehindTheWedgeMode) {
  std::filesystem::create_directories(dataFolder);
  PutFile(dataFolder + "/QuilletRegistry.txt", "11134000100100" + std::string(1009, '0'));
  Simulator& scanner = Attach({});
  ASSERT_TRUE(Connect());
  EXPECT_EQ(scanner.commands_seen(), (Commands{"W", "M", "V", "w1#"}));
  EXPECT_FALSE(View().ends_with("Tavo Time sychronized...|"));
}

TEST_F(StartUpChainTest, AnotherTerminatorIsAsGood) {
  Options options;
  options.device.terminator = '!';
  Attach(options);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(controller.lumet->SerialNo.TextFrom(0), "2104005771");
}

TEST_F(StartUpChainTest, OfThreePortsTheOneThatAnswersIsConnected) {
  Options silent;
  silent.faults = simulator::ParseFaults("on W every silence");
  Attach(silent);
  registry.Attach("usbmodem2", folder / "absent");
  Attach({});
  ASSERT_TRUE(Connect());
  EXPECT_EQ(controller.portIndex, 2);
  const std::string text = View();
  EXPECT_NE(
      text.find(scanners[0]->path() + ": Failed|Trying to connect " + (folder / "absent") +
                ": Failed|Trying to connect " + scanners[1]->path() + ": |Connected to Tavo["),
      std::string::npos)
      << text;
}

TEST_F(StartUpChainTest, AnAnswerThatComesTooLateReportsAConnectionAfterTheFailure) {
  Options late;
  late.faults = simulator::ParseFaults("on C 1 delay 6500");
  Attach(late);
  EXPECT_FALSE(Connect());
  EXPECT_TRUE(View().ends_with(": Failed|Failed to connect to Tavo|"));
  EXPECT_TRUE(WaitForView("Failed to connect to Tavo||Connected to Tavo[005771]|"));
  EXPECT_EQ(controller.portIndex, 1);
  EXPECT_EQ(controller.connectedPortString.Get(), "") << "behind the last port there is no name";
}

TEST_F(StartUpChainTest, AnUnansweredIdentityQueryBlocksTheLinkOverAReconnectUntilAnyAnswer) {
  Options options;
  options.faults = simulator::ParseFaults("on M 1 silence");
  Simulator& scanner = Attach(options);
  EXPECT_FALSE(Connect());
  EXPECT_EQ(scanner.commands_seen(), (Commands{"W", "M"}));
  connect.Press();
  FinishConnecting();
  EXPECT_TRUE(View().ends_with(": Failed|"));
  EXPECT_EQ(scanner.commands_seen(), (Commands{"W", "M"})) << "nothing was sent in between";
  // Somebody scans: the frame counts as the answer, and the queue moves on.
  scanner.Scan(6, "4006381333931");
  EXPECT_TRUE(scanner.WaitForCommand("C"));
  EXPECT_TRUE(WaitForView("Connected to Tavo["));
}

}  // namespace
}  // namespace quillet::test
