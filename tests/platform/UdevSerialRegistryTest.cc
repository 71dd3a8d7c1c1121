#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/UdevSerialRegistry.h"
#include "tests/platform/MockedUdev.h"

namespace {

/// Makes the next receive fail as the kernel does when it had to drop events.
std::atomic<bool> eventsWereLost = false;

}  // namespace

// Stands before the C library's function of this name, for libudev too.
extern "C" ssize_t recvmsg(int descriptor, msghdr* message, int flags) {
  static const auto next =
      reinterpret_cast<ssize_t (*)(int, msghdr*, int)>(dlsym(RTLD_NEXT, "recvmsg"));
  if (eventsWereLost.exchange(false)) {
    errno = ENOBUFS;
    return -1;
  }
  return next(descriptor, message, flags);
}

namespace quillet::platform::linux_desktop {
namespace {

using Event = SerialRegistry::Event;
using Handle = SerialRegistry::Handle;
using Devices = std::vector<std::pair<std::string, std::string>>;  // name, path

/// Does what the program does: reads the devices and empties the iterator whenever it is called.
class Listener {
 public:
  Listener(SerialRegistry& registry, SerialRegistry::NotifyPort port, Event event)
      : registry_(registry),
        iterator_(registry.AddMatchingNotification(port, event, &Listener::Called, this)) {}

  int Empty() {
    int taken = 0;
    while (const Handle object = registry_.Next(iterator_)) {
      registry_.Release(object);
      ++taken;
    }
    return taken;
  }

  Handle Iterator() const { return iterator_; }

  int calls = 0;
  int objects = 0;  ///< taken off within the calls
  std::function<void()> action;

 private:
  static void Called(void* context, Handle iterator) {
    auto& self = *static_cast<Listener*>(context);
    EXPECT_EQ(iterator, self.iterator_);
    ++self.calls;
    if (self.action) self.action();
    self.objects += self.Empty();
  }

  SerialRegistry& registry_;
  const Handle iterator_;
};

class UdevSerialRegistryTest : public testing::Test {
 protected:
  Devices Read(std::size_t room = 32) {
    std::vector<std::string> names(room);
    std::vector<std::string> paths(room);
    const auto count = static_cast<std::size_t>(registry_.ReadSerialStreams(names, paths));
    EXPECT_LE(count, room);
    Devices devices;
    for (std::size_t i = 0; i < count; ++i) devices.emplace_back(names[i], paths[i]);
    return devices;
  }

  /// Registers for both kinds of event and empties the iterators.
  void Listen() {
    port_ = registry_.CreateNotifyPort();
    ASSERT_NE(port_, 0U);
    arrivals_.emplace(registry_, port_, Event::FirstMatch);
    removals_.emplace(registry_, port_, Event::Terminate);
    arrivals_->Empty();
    removals_->Empty();
  }

  void ExpectHeard(int arrivals, int removals) {
    loop_.RunUntilQuiet();
    EXPECT_EQ(arrivals_->objects, arrivals);
    EXPECT_EQ(removals_->objects, removals);
  }

  test::MockedUdev system_;
  test::PollLoop loop_;
  UdevSerialRegistry registry_{loop_};
  SerialRegistry::NotifyPort port_ = 0;
  std::optional<Listener> arrivals_;
  std::optional<Listener> removals_;
};

const std::pair<std::string, std::string> kScanner{"usbmodem310", "/dev/ttyACM0"};

TEST_F(UdevSerialRegistryTest, AModemClassDeviceIsNamedAfterItsPlace) {
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  EXPECT_EQ(Read(), Devices{kScanner});
}

TEST_F(UdevSerialRegistryTest, TwoScannersDifferAndASocketKeepsItsName) {
  const std::string first = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  system_.AddUsbModem("3-2:1.0", "ttyACM1");
  EXPECT_EQ(Read(), (Devices{kScanner, {"usbmodem320", "/dev/ttyACM1"}}));
  system_.Remove(first);
  system_.AddUsbModem("3-1:1.0", "ttyACM2");
  EXPECT_EQ(Read(), (Devices{{"usbmodem320", "/dev/ttyACM1"}, {"usbmodem310", "/dev/ttyACM2"}}));
}

TEST_F(UdevSerialRegistryTest, HubsAndFurtherInterfacesAreInTheName) {
  system_.AddUsbModem("3-1.4.10:1.0", "ttyACM0");
  system_.AddUsbModem("3-1.4.2:1.2", "ttyACM1");
  EXPECT_EQ(Read(),
            (Devices{{"usbmodem3149100", "/dev/ttyACM0"}, {"usbmodem31422", "/dev/ttyACM1"}}));
}

TEST_F(UdevSerialRegistryTest, AModemClassDeviceIsKnownByItsDriverAlone) {
  // As the kernel shows it where udev adds nothing, and as udev tells it where sysfs is silent.
  const std::string usb = "/devices/pci0000:00/0000:00:14.0/usb3/3-";
  const auto add = [&](const std::string& port, const std::string& interfaceLines,
                       const std::string& terminal, const std::string& terminalLines) {
    const std::string device = usb + port;
    const std::string interface = device + "/3-" + port + ":1.0";
    system_.Add("P: " + device + "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n");
    system_.Add("P: " + interface + "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n" +
                interfaceLines);
    system_.Add("P: " + interface + "/tty/" + terminal + "" +
                "\nE: SUBSYSTEM=tty\nE: USEC_INITIALIZED=5\nE: DEVNAME=/dev/" + terminal + "\n" +
                terminalLines);
  };
  add("1", "E: DRIVER=cdc_acm\nL: driver=../../../../../../bus/usb/drivers/cdc_acm\n", "ttyACM0",
      "");
  add("2", "", "ttyACM1", "E: ID_USB_DRIVER=cdc_acm\n");
  EXPECT_EQ(Read(), (Devices{kScanner, {"usbmodem320", "/dev/ttyACM1"}}));
}

TEST_F(UdevSerialRegistryTest, AModemAtAnUnreadablePlaceHasTheKernelsName) {
  system_.Add("P: /devices/odd\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n");
  system_.Add("P: /devices/odd/one\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n");
  system_.Add(
      "P: /devices/odd/one/tty/ttyACM7\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/ttyACM7\n"
      "E: USEC_INITIALIZED=5\nE: ID_USB_DRIVER=cdc_acm\n");
  EXPECT_EQ(Read(), (Devices{{"usbmodemttyACM7", "/dev/ttyACM7"}}));
}

TEST_F(UdevSerialRegistryTest, AnotherUsbDeviceIsNamedAfterItsModel) {
  system_.AddUsbConverter("3-2:1.0", "ttyUSB0", "USB-Serial\\x20Controller", "not this");
  system_.AddUsbConverter("3-3:1.0", "ttyUSB1", "", "Tavo Cradle");
  system_.AddUsbConverter("3-4:1.0", "ttyUSB2", "", "");
  EXPECT_EQ(Read(), (Devices{{"USB-Serial Controller-ttyUSB0", "/dev/ttyUSB0"},
                             {"Tavo Cradle-ttyUSB1", "/dev/ttyUSB1"},
                             {"ttyUSB2", "/dev/ttyUSB2"}}));
}

TEST_F(UdevSerialRegistryTest, ARealUartIsNamedByTheKernelAndAPlaceholderIsNone) {
  system_.AddUart("ttyS0", 4);
  system_.AddUart("ttyS1", 0);
  EXPECT_EQ(Read(), (Devices{{"ttyS0", "/dev/ttyS0"}}));
}

TEST_F(UdevSerialRegistryTest, TerminalsWithoutHardwareAreNone) {
  for (const char* name : {"console", "tty", "tty0", "tty1", "ptmx", "ttyprintk"}) {
    system_.AddVirtualTerminal(name);
  }
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, TheOrderIsThatOfTheKernelsNumbers) {
  system_.AddUsbModem("3-3:1.0", "ttyACM10");
  system_.AddUart("ttyS0", 4);
  system_.AddUsbModem("3-2:1.0", "ttyACM9");
  system_.AddUsbModem("3-1:1.0", "ttyACM1");
  EXPECT_EQ(Read(), (Devices{{"usbmodem310", "/dev/ttyACM1"},
                             {"usbmodem320", "/dev/ttyACM9"},
                             {"usbmodem330", "/dev/ttyACM10"},
                             {"ttyS0", "/dev/ttyS0"}}));
}

TEST_F(UdevSerialRegistryTest, ADeviceIsReadOnlyAfterUdevHasProcessedIt) {
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  system_.Add("P: /devices/new\nE: SUBSYSTEM=platform\n");
  system_.Add("P: /devices/new/tty/ttyX0\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/ttyX0\n");
  const UdevOwner<udev> context(udev_new());
  Devices expected{kScanner};
  if (!UdevIsActive(context.get())) expected.emplace_back("ttyX0", "/dev/ttyX0");
  EXPECT_EQ(Read(), expected);
}

TEST_F(UdevSerialRegistryTest, ARemovedDeviceIsNotReadEvenWhileSysfsStillShowsIt) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  system_.Send(scanner, "remove");
  ExpectHeard(0, 1);
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, AReplacedDeviceIsAbsentWhileItsRemovalIsHandled) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  std::vector<Devices> seen;
  arrivals_->action = [&] { seen.push_back(Read()); };
  removals_->action = [&] { seen.push_back(Read()); };
  system_.Remove(scanner);
  system_.AddUsbModem("3-1:1.0", "ttyACM1");  // still held open, ttyACM0 is not free again
  ExpectHeard(1, 1);
  EXPECT_EQ(seen, (std::vector<Devices>{{}, {{"usbmodem310", "/dev/ttyACM1"}}}));
}

TEST_F(UdevSerialRegistryTest, OtherSerialDevicesAreHeardToo) {
  Listen();
  const std::string converter = system_.AddUsbConverter("3-2:1.0", "ttyUSB0", "Model");
  const std::string uart = system_.AddUart("ttyS4", 4);
  ExpectHeard(2, 0);
  system_.Remove(converter);
  system_.Remove(uart);
  ExpectHeard(2, 2);
}

TEST_F(UdevSerialRegistryTest, WhatIsNoSerialStreamDeviceIsNotHeard) {
  Listen();
  const std::string console = system_.AddVirtualTerminal("tty1");
  const std::string placeholder = system_.AddUart("ttyS1", 0);
  system_.Remove(console);
  system_.Remove(placeholder);
  system_.Add("P: /devices/disk\nE: SUBSYSTEM=block\n");
  ExpectHeard(0, 0);
}

TEST_F(UdevSerialRegistryTest, EventsOfADeviceAlreadyToldAreNoNews) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  for (const char* action : {"add", "change", "bind", "add"}) system_.Send(scanner, action);
  ExpectHeard(0, 0);
  system_.Send(scanner, "remove");
  system_.Send(scanner, "remove");
  ExpectHeard(0, 1);
}

TEST_F(UdevSerialRegistryTest, ADeviceRemovedBeforeItsArrivalIsNotNotified) {
  Listen();
  system_.Remove(system_.AddUsbModem("3-1:1.0", "ttyACM0"));
  ExpectHeard(0, 0);
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, EveryOneOfManyArrivalsAndRemovalsIsHeard) {
  Listen();
  std::vector<std::string> terminals;
  for (int i = 0; i < 40; ++i) {
    terminals.push_back(
        system_.AddUsbModem("3-" + std::to_string(i + 1) + ":1.0", "ttyACM" + std::to_string(i)));
    loop_.RunUntilQuiet();
  }
  ExpectHeard(40, 0);
  for (int i = 0; i < 40; ++i) {
    system_.Remove(terminals[static_cast<std::size_t>(i)]);
    if (i % 4 == 3) loop_.RunUntilQuiet();  // the mocked socket holds ten events
  }
  ExpectHeard(40, 40);
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, OneEventIsHandledInOneTurnOfTheMainLoop) {
  Listen();
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  system_.AddUsbModem("3-2:1.0", "ttyACM1");
  EXPECT_TRUE(loop_.Turn());
  EXPECT_EQ(arrivals_->calls, 1);
  EXPECT_EQ(Read(), Devices{kScanner});
  EXPECT_TRUE(loop_.Turn());
  EXPECT_EQ(arrivals_->calls, 2);
}

TEST_F(UdevSerialRegistryTest, DestroyingThePortEndsTheWatch) {
  Listen();
  EXPECT_EQ(loop_.Watches(), 1U);
  registry_.Release(arrivals_->Iterator());
  registry_.Release(removals_->Iterator());
  registry_.DestroyNotifyPort(port_);
  EXPECT_EQ(loop_.Watches(), 0U);
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  EXPECT_FALSE(loop_.Turn());
  EXPECT_EQ(Read(), Devices{kScanner});
  registry_.DestroyNotifyPort(port_);
  registry_.DestroyNotifyPort(0);
}

TEST_F(UdevSerialRegistryTest, AfterADestroyedPortANewOneHearsAgain) {
  Listen();
  registry_.DestroyNotifyPort(port_);
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  system_.AddUsbModem("3-2:1.0", "ttyACM1");
  ExpectHeard(1, 0);
}

TEST_F(UdevSerialRegistryTest, StaleHandlesDoNothing) {
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  port_ = registry_.CreateNotifyPort();
  const auto add = [&] {
    return registry_.AddMatchingNotification(
        port_, Event::FirstMatch, [](void*, Handle) {}, this);
  };
  const Handle first = add();
  const Handle object = registry_.Next(first);
  registry_.Release(first);
  const Handle second = add();
  for (const Handle stale : {first, object, object, Handle{0}, Handle{4711}}) {
    EXPECT_NE(stale, second);
    registry_.Release(stale);
    EXPECT_EQ(registry_.Next(stale), 0U);
  }
  EXPECT_NE(registry_.Next(second), 0U);
}

TEST_F(UdevSerialRegistryTest, AfterLostEventsTheDevicesAreComparedWithThoseTold) {
  const std::string gone = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  const std::string changed = system_.AddUsbModem("3-2:1.0", "ttyACM1");
  system_.AddUsbModem("3-3:1.0", "ttyACM2");
  Listen();
  std::vector<Devices> seen;
  arrivals_->action = [&] { seen.push_back(Read()); };
  removals_->action = [&] { seen.push_back(Read()); };
  system_.Remove(gone);
  system_.Remove(changed);
  system_.AddUsbModem("3-2:1.0", "ttyACM1");  // plugged in again
  system_.AddUsbModem("3-4:1.0", "ttyACM3");
  eventsWereLost = true;
  ExpectHeard(2, 2);
  const std::pair<std::string, std::string> second{"usbmodem320", "/dev/ttyACM1"};
  const std::pair<std::string, std::string> third{"usbmodem330", "/dev/ttyACM2"};
  const std::pair<std::string, std::string> fourth{"usbmodem340", "/dev/ttyACM3"};
  EXPECT_EQ(seen, (std::vector<Devices>{
                      {second, third}, {third}, {second, third}, {second, third, fourth}}));
}

TEST_F(UdevSerialRegistryTest, LostEventsWithoutADifferenceAreNoNews) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  system_.Send(scanner, "change");
  eventsWereLost = true;
  ExpectHeard(0, 0);
  EXPECT_FALSE(eventsWereLost);
}

TEST_F(UdevSerialRegistryTest, ThePortMayBeDestroyedWhileLostEventsAreMadeUpFor) {
  const std::string first = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  const std::string second = system_.AddUsbModem("3-2:1.0", "ttyACM1");
  Listen();
  removals_->action = [&] { registry_.DestroyNotifyPort(port_); };
  system_.Remove(first);
  system_.Remove(second);
  const std::string third = system_.AddUsbModem("3-3:1.0", "ttyACM2");
  eventsWereLost = true;
  loop_.RunUntilQuiet();
  EXPECT_EQ(removals_->calls, 1);
  EXPECT_EQ(arrivals_->calls, 0);
  system_.Remove(third);
  Listener later(registry_, registry_.CreateNotifyPort(), Event::FirstMatch);
  EXPECT_EQ(later.Empty(), 0);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
