#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using Titles = std::vector<std::string>;

class PortDiscoveryTest : public test::AppFixture {
 protected:
  std::size_t Attempts() const { return log.Count("-[SyncController ConnectThread]"); }

  /// Connected on the port with this index.
  void ConnectedOn(int index) {
    controller.portIndex = index;
    BecomeConnected();
  }
};

TEST_F(PortDiscoveryTest, OnlyNamesOfScannersAreKept) {
  registry.Attach("usbmodem14", folder / "scanner");
  registry.Attach("Bluetooth", folder / "other");
  Launch();
  EXPECT_EQ(controller.numPorts, 1);
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem14"}));
  EXPECT_EQ(controller.path[0].Get(), folder / "scanner");
}

TEST_F(PortDiscoveryTest, ANameIsCutBeforeItsFirstHyphen) {
  registry.Attach("MyTavo300-1234-5", folder / "a");
  registry.Attach("Serial-usbmodem", folder / "b");
  Launch();
  EXPECT_EQ(controller.numPorts, 1) << "what is behind the hyphen is not looked at";
  EXPECT_EQ(controller.stream[0].Get(), "MyTavo300");
  EXPECT_EQ(ports.items(), (Titles{"None", "MyTavo300"}));
}

TEST_F(PortDiscoveryTest, AnArrivalWhileDisconnectedStartsAnAttemptAndOneWhileConnectedNothing) {
  Launch();
  registry.Plug("usbmodem1", folder / "one");
  FinishConnecting();
  EXPECT_EQ(Attempts(), 2U);
  ConnectedOn(0);
  const Titles before = ports.items();
  ClearView();
  registry.Plug("usbmodem2", folder / "two");
  EXPECT_EQ(View(), "");
  EXPECT_EQ(ports.items(), before);
  EXPECT_FALSE(test::WaitFor([this] { return Attempts() > 2; }, std::chrono::seconds(1)));
}

TEST_F(PortDiscoveryTest, ARemovalDisconnectsWhenAPortOfAnotherNameIsMetFirst) {
  registry.Attach("usbmodemA", folder / "a");
  registry.Attach("usbmodemB", folder / "b");
  registry.Attach("printer", folder / "c");
  Launch();
  ConnectedOn(1);
  registry.Unplug(folder / "c");
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, ARemovalThatLeavesTheConnectedPortAloneKeepsTheConnection) {
  registry.Attach("usbmodemA", folder / "a");
  registry.Attach("usbmodemB", folder / "b");
  Launch();
  ConnectedOn(0);
  registry.Unplug(folder / "b");
  EXPECT_TRUE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, ARemovalDisconnectsWhenAPortOfAnotherNameIsMetBehindTheConnectedOne) {
  registry.Attach("usbmodemA", folder / "a");
  registry.Attach("usbmodemB", folder / "b");
  registry.Attach("printer", folder / "c");
  Launch();
  ConnectedOn(0);
  registry.Unplug(folder / "c");
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, ARemovalThatLeavesOnlyPortsOfTheConnectedNameKeepsTheConnection) {
  registry.Attach("Tavo-1", folder / "a");
  registry.Attach("Tavo-2", folder / "b");
  registry.Attach("printer", folder / "c");
  Launch();
  ConnectedOn(1);
  registry.Unplug(folder / "c");
  EXPECT_TRUE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, RemovingTheConnectedPortWhenItWasTheLastDisconnects) {
  registry.Attach("usbmodem1", folder / "one");
  Launch();
  ConnectedOn(0);
  ClearView();
  registry.Unplug(folder / "one");
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, ARemovalWhileDisconnectedOnlyBringsTheListUpToDate) {
  registry.Attach("usbmodem1", folder / "one");
  Launch();
  ClearView();
  registry.Unplug(folder / "one");
  EXPECT_EQ(View(), "");
  EXPECT_EQ(ports.items(), (Titles{"None", "None"}));
}

TEST_F(PortDiscoveryTest, ArmingCountsNothingAsAnArrival) {
  registry.Attach("usbmodem1", folder / "one");
  Launch();
  EXPECT_EQ(Attempts(), 1U);
  EXPECT_EQ(log.Count("deviceAdded"), 1U);
  EXPECT_EQ(log.Count("deviceRemoved"), 1U);
  EXPECT_EQ(registry.objectsHeld(), 0) << "every object taken was released";
}

TEST_F(PortDiscoveryTest, TheNotificationIsArmedAgainAfterEachChange) {
  Launch();
  for (int round = 0; round < 3; ++round) {
    registry.Plug("usbmodem1", folder / "one");
    FinishConnecting();
    EXPECT_EQ(ports.items().back(), "usbmodem1");
    registry.Unplug(folder / "one");
    mainQueue.RunAll();
    EXPECT_EQ(ports.items(), (Titles{"None", "None"}));
  }
}

TEST_F(PortDiscoveryTest, ADisconnectByUnpluggingLeavesTheExtraEntriesThatTheRulesLeave) {
  registry.Attach("usbmodem1", folder / "one");
  Launch();
  ConnectedOn(0);
  registry.Unplug(folder / "one");
  mainQueue.RunAll();
  EXPECT_EQ(ports.items(), (Titles{"None", "None", "None"}));
  registry.Plug("usbmodem1", folder / "one");
  FinishConnecting();
  EXPECT_EQ(ports.items(), (Titles{"None", "None", "usbmodem1"}));
  // The entry that stands for the port by its position is the one preselected.
  EXPECT_EQ(ports.SelectedItem(), 1);
}

TEST_F(PortDiscoveryTest, APortIsPreselectedAndAChosenOneStaysChosen) {
  registry.Attach("usbmodem1", folder / "one");
  registry.Attach("usbmodem2", folder / "two");
  Launch();
  EXPECT_EQ(ports.SelectedItem(), 1);
  ports.SelectItem(2);
  registry.Plug("printer", folder / "printer");
  FinishConnecting();
  EXPECT_EQ(ports.ItemTitle(ports.SelectedItem()), "usbmodem2");
}

TEST_F(PortDiscoveryTest, NoMoreThan32DevicesAreLookedAt) {
  for (int i = 0; i < 31; ++i) registry.Attach("printer", folder / "printer");
  registry.Attach("usbmodem1", folder / "one");
  registry.Attach("usbmodem2", folder / "two");
  Launch();
  EXPECT_TRUE(log.Has("-[SyncController findSerialPorts][32]"));
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem1"}));
}

TEST_F(PortDiscoveryTest, StoppingReleasesTheIteratorsAndThePortAndMayBeRepeated) {
  Launch();
  EXPECT_EQ(registry.iterators(), 2U);
  controller.stopNotification();
  EXPECT_EQ(registry.iterators(), 0U);
  EXPECT_FALSE(registry.HasPort());
  EXPECT_EQ(controller.notifyPort, 0U);
  controller.stopNotification();
}

}  // namespace
}  // namespace quillet
