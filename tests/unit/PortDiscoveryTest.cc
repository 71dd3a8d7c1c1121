#include "tests/support/AppFixture.h"

namespace quillet {
namespace {

using Titles = std::vector<std::string>;

class PortDiscoveryTest : public test::AppFixture {
 protected:
  /// Adds a device that is not a scanner.
  void AttachOther(const std::string& name) { registry.Attach(name, folder / name); }
  void Unplug(const std::string& name) {
    registry.Unplug(folder / name);
    mainQueue.RunAll();
  }
};

TEST_F(PortDiscoveryTest, IgnoresDevicesBeyondTheFirst32) {
  for (int i = 0; i < 31; ++i) AttachOther("printer");
  AttachOther("usbmodem1");
  AttachOther("usbmodem2");
  Launch();
  EXPECT_TRUE(log.Has("-[SyncController findSerialPorts][32]"));
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem1"}));
  EXPECT_EQ(ports.SelectedItem(), 1);
  EXPECT_EQ(controller.numPorts, 1);
  EXPECT_EQ(controller.stream[0].Get(), "usbmodem1");
  EXPECT_EQ(controller.path[0].Get(), folder / "usbmodem1");
}

TEST_F(PortDiscoveryTest, MarksHiddenCharactersInPortNames) {
  AttachOther("Tavo\u202E1");
  Launch();
  EXPECT_EQ(ports.items(), (Titles{"None", "Tavo\uFFFD1"}));
}

TEST_F(PortDiscoveryTest, TriesToConnectToANewPortUnlessConnected) {
  Launch();
  BecomeConnected();
  EXPECT_EQ(Attempts(), 2U);
  const Titles before = ports.items();
  ClearView();
  registry.Plug("usbmodem2", folder / "two");
  EXPECT_EQ(View(), "");
  EXPECT_EQ(ports.items(), before);
  EXPECT_FALSE(controller.bConnecting);
}

TEST_F(PortDiscoveryTest, DisconnectsWhenAPortIsRemovedIfAnUnusedOneRemains) {
  AttachOther("usbmodemA");
  Attach("usbmodemB");
  AttachOther("printer");
  Launch();
  EXPECT_TRUE(controller.bIsConnected);
  Unplug("printer");
  EXPECT_FALSE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, StaysConnectedIfOnlyTheConnectedPortRemains) {
  Attach("usbmodemA");
  AttachOther("usbmodemB");
  Launch();
  Unplug("usbmodemB");
  EXPECT_TRUE(controller.bIsConnected);
}

TEST_F(PortDiscoveryTest, KeepsDuplicateNoneItemsIfTheLastPortIsRemoved) {
  LaunchConnected();
  Unplug("usbmodem1");
  EXPECT_EQ(View(), "Disconnected from Tavo[123456]|");
  EXPECT_EQ(ports.items(), (Titles{"None", "None", "None"}));
  registry.Plug("usbmodem1", "/absent");
  FinishConnecting();
  EXPECT_EQ(ports.items(), (Titles{"None", "None", "usbmodem1"}));
  // The program selects the item at the port's position in the port table, which differs from the
  // port's position in the list.
  EXPECT_EQ(ports.SelectedItem(), 1);
}

TEST_F(PortDiscoveryTest, DoesNotConnectWhenArmingNotifications) {
  AttachOther("usbmodem1");
  Launch();
  EXPECT_EQ(Attempts(), 1U);
  EXPECT_EQ(log.Count("deviceAdded"), 1U);
  EXPECT_EQ(log.Count("deviceRemoved"), 1U);
  EXPECT_EQ(registry.objectsHeld(), 0);
}

TEST_F(PortDiscoveryTest, RearmsNotificationsAfterEachChange) {
  Launch();
  for (int round = 0; round < 3; ++round) {
    registry.Plug("usbmodem1", "/one");
    FinishConnecting();
    EXPECT_EQ(ports.items().back(), "usbmodem1");
    registry.Unplug("/one");
    mainQueue.RunAll();
    EXPECT_EQ(ports.items(), (Titles{"None", "None"}));
  }
}

TEST_F(PortDiscoveryTest, KeepsTheSelectedPortWhenADeviceIsPluggedIn) {
  AttachOther("usbmodem1");
  AttachOther("usbmodem2");
  Launch();
  ports.SelectItem(2);
  registry.Plug("printer", folder / "printer");
  FinishConnecting();
  EXPECT_EQ(ports.ItemTitle(ports.SelectedItem()), "usbmodem2");
}

TEST_F(PortDiscoveryTest, KeepsTheSelectedPortIfAnotherHasTheSameTitle) {
  registry.Attach("usbmodem-1", "/one");
  registry.Attach("usbmodem-2", "/two");
  Launch();
  EXPECT_EQ(ports.items(), (Titles{"None", "usbmodem", "usbmodem"}));
  EXPECT_EQ(ports.details(), (Titles{"", "/one", "/two"}));
  ports.SelectItem(2);
  registry.Plug("usbmodem-3", "/three");
  FinishConnecting();
  EXPECT_EQ(ports.SelectedItem(), 2);
  registry.Unplug("/one");
  mainQueue.RunAll();
  EXPECT_EQ(ports.details(), (Titles{"", "/two", "/three"}));
  EXPECT_EQ(ports.SelectedItem(), 1);
  ClearView();
  connect.Press();
  FinishConnecting();
  EXPECT_EQ(View(), "|Trying to connect /two: Failed|");
}

TEST_F(PortDiscoveryTest, KeepsTheSelectedPortAfterDisconnecting) {
  registry.Attach("usbmodem-1", "/one");
  const std::string second = Attach("usbmodem-2");
  Launch();
  EXPECT_EQ(ports.details(), (Titles{"", second}));
  connect.Press();
  mainQueue.RunAll();
  EXPECT_EQ(ports.details(), (Titles{"", "/one", second}));
  EXPECT_EQ(ports.SelectedItem(), 2);
}

TEST_F(PortDiscoveryTest, ClearsAllHandlesWhenNotificationsStop) {
  Launch();
  EXPECT_EQ(registry.iterators(), 2U);
  for (int round = 0; round < 2; ++round) {
    controller.stopNotification();
    EXPECT_EQ(registry.iterators(), 0U);
    EXPECT_FALSE(registry.HasPort());
    EXPECT_EQ(controller.addIterator, 0U);
    EXPECT_EQ(controller.removeIterator, 0U);
    EXPECT_EQ(controller.notifyPort, 0U);
  }
}

}  // namespace
}  // namespace quillet
