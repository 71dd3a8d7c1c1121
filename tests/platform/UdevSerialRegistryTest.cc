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
#include "tests/platform/RegistryListener.h"

namespace {

std::atomic<bool> loseEvents = false;

}  // namespace

// Overrides the C library's function, also for calls from libudev. If `loseEvents` is set, the next
// call fails as if the kernel had dropped events.
extern "C" ssize_t recvmsg(int descriptor, msghdr* message, int flags) {
  static const auto next =
      reinterpret_cast<ssize_t (*)(int, msghdr*, int)>(dlsym(RTLD_NEXT, "recvmsg"));
  if (loseEvents.exchange(false)) {
    errno = ENOBUFS;
    return -1;
  }
  return next(descriptor, message, flags);
}

namespace quillet::platform::linux_desktop {
namespace {

using Event = SerialRegistry::Event;
using Device = std::pair<std::string, std::string>;  // name, path
using Devices = std::vector<Device>;
using test::RegistryListener;

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

  /// Registers for notifications of added and removed devices. The callbacks call `onEvent_` and
  /// count the devices.
  void Listen() {
    port_ = registry_.CreateNotifyPort();
    ASSERT_NE(port_, 0U);
    Listen(arrivals_, Event::FirstMatch, arrived_);
    Listen(removals_, Event::Terminate, removed_);
  }
  void Listen(std::optional<RegistryListener>& listener, Event event, int& objects) {
    listener.emplace(registry_, port_, event);
    listener->Empty();
    listener->action = [this, &listener, &objects] {
      if (onEvent_) onEvent_();
      objects += listener->Empty();
    };
  }

  void ExpectNotified(int arrivals, int removals) {
    loop_.RunUntilQuiet();
    EXPECT_EQ(arrived_, arrivals);
    EXPECT_EQ(removed_, removals);
  }

  test::MockedUdev system_;
  test::PollLoop loop_;
  UdevSerialRegistry registry_{loop_};
  SerialRegistry::NotifyPort port_ = 0;
  std::optional<RegistryListener> arrivals_;
  std::optional<RegistryListener> removals_;
  int arrived_ = 0;
  int removed_ = 0;
  std::function<void()> onEvent_;
};

const Device kScanner{"usbmodem310", "/dev/ttyACM0"};

TEST_F(UdevSerialRegistryTest, NamesAModemAfterItsUsbInterface) {
  const std::string first = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  system_.AddUsbModem("3-2:1.0", "ttyACM1");
  system_.AddUsbModem("3-1.4.10:1.2", "ttyACM2");
  const Device second{"usbmodem320", "/dev/ttyACM1"};
  const Device behindHubs{"usbmodem3149102", "/dev/ttyACM2"};
  EXPECT_EQ(Read(), (Devices{kScanner, second, behindHubs}));
  system_.Remove(first);
  system_.AddUsbModem("3-1:1.0", "ttyACM3");
  EXPECT_EQ(Read(), (Devices{second, behindHubs, {"usbmodem310", "/dev/ttyACM3"}}));
}

TEST_F(UdevSerialRegistryTest, DetectsAModemByItsDriver) {
  const std::string usb = "/devices/pci0000:00/0000:00:14.0/usb3/3-";
  const auto add = [&](const std::string& device, const std::string& interface,
                       const std::string& interfaceLines, const std::string& terminal,
                       const std::string& terminalLines) {
    system_.Add("P: " + device + "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\n");
    system_.Add("P: " + interface + "\nE: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\n" +
                interfaceLines);
    system_.Add("P: " + interface + "/tty/" + terminal +
                "\nE: SUBSYSTEM=tty\nE: USEC_INITIALIZED=5\nE: DEVNAME=/dev/" + terminal + "\n" +
                terminalLines);
  };
  const std::string property = "E: ID_USB_DRIVER=cdc_acm\n";
  add(usb + "1", usb + "1/3-1:1.0",
      "E: DRIVER=cdc_acm\nL: driver=../../../../../../bus/usb/drivers/cdc_acm\n", "ttyACM0", "");
  add(usb + "2", usb + "2/3-2:1.0", "", "ttyACM1", property);
  add("/devices/odd", "/devices/odd/one", "", "ttyACM7", property);
  EXPECT_EQ(
      Read(),
      (Devices{kScanner, {"usbmodem320", "/dev/ttyACM1"}, {"usbmodemttyACM7", "/dev/ttyACM7"}}));
}

TEST_F(UdevSerialRegistryTest, NamesOtherUsbDevicesAfterTheirModel) {
  system_.AddUsbConverter("3-2:1.0", "ttyUSB0", "USB-Serial\\x20Controller", "not this");
  system_.AddUsbConverter("3-3:1.0", "ttyUSB1", "", "Tavo Cradle");
  system_.AddUsbConverter("3-4:1.0", "ttyUSB2", "", "");
  EXPECT_EQ(Read(), (Devices{{"USB-Serial Controller-ttyUSB0", "/dev/ttyUSB0"},
                             {"Tavo Cradle-ttyUSB1", "/dev/ttyUSB1"},
                             {"ttyUSB2", "/dev/ttyUSB2"}}));
}

TEST_F(UdevSerialRegistryTest, OmitsMissingUartsAndVirtualTerminals) {
  system_.AddUart("ttyS0", 4);
  system_.AddUart("ttyS1", 0);
  for (const char* name : {"console", "tty", "tty0", "tty1", "ptmx", "ttyprintk"}) {
    system_.AddVirtualTerminal(name);
  }
  EXPECT_EQ(Read(), (Devices{{"ttyS0", "/dev/ttyS0"}}));
}

TEST_F(UdevSerialRegistryTest, SortsByKernelNameWithNumbersInNumericOrder) {
  system_.AddUsbModem("3-3:1.0", "ttyACM10");
  system_.AddUart("ttyS0", 4);
  system_.AddUsbModem("3-2:1.0", "ttyACM9");
  system_.AddUsbModem("3-1:1.0", "ttyACM1");
  EXPECT_EQ(Read(), (Devices{{"usbmodem310", "/dev/ttyACM1"},
                             {"usbmodem320", "/dev/ttyACM9"},
                             {"usbmodem330", "/dev/ttyACM10"},
                             {"ttyS0", "/dev/ttyS0"}}));
}

TEST_F(UdevSerialRegistryTest, OmitsADeviceUntilUdevHasProcessedIt) {
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  system_.Add("P: /devices/new\nE: SUBSYSTEM=platform\n");
  system_.Add("P: /devices/new/tty/ttyX0\nE: SUBSYSTEM=tty\nE: DEVNAME=/dev/ttyX0\n");
  const UdevOwner<udev> context(udev_new());
  Devices expected{kScanner};
  if (!UdevIsActive(context.get())) expected.emplace_back("ttyX0", "/dev/ttyX0");
  EXPECT_EQ(Read(), expected);
}

TEST_F(UdevSerialRegistryTest, OmitsARemovedDeviceThatIsStillInSysfs) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  system_.Send(scanner, "remove");
  ExpectNotified(0, 1);
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, ListsAReplacementDeviceOnlyAfterItsArrivalEvent) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  std::vector<Devices> seen;
  onEvent_ = [&] { seen.push_back(Read()); };
  system_.Remove(scanner);
  system_.AddUsbModem("3-1:1.0", "ttyACM1");  // a new number because ttyACM0 is still open
  ExpectNotified(1, 1);
  EXPECT_EQ(seen, (std::vector<Devices>{{}, {{"usbmodem310", "/dev/ttyACM1"}}}));
}

TEST_F(UdevSerialRegistryTest, NotifiesOfConvertersAndUarts) {
  Listen();
  const std::string converter = system_.AddUsbConverter("3-2:1.0", "ttyUSB0", "Model");
  const std::string uart = system_.AddUart("ttyS4", 4);
  ExpectNotified(2, 0);
  system_.Remove(converter);
  system_.Remove(uart);
  ExpectNotified(2, 2);
}

TEST_F(UdevSerialRegistryTest, DoesNotReportNonSerialDevices) {
  Listen();
  const std::string console = system_.AddVirtualTerminal("tty1");
  const std::string placeholder = system_.AddUart("ttyS1", 0);
  system_.Remove(console);
  system_.Remove(placeholder);
  system_.Add("P: /devices/disk\nE: SUBSYSTEM=block\n");
  ExpectNotified(0, 0);
}

TEST_F(UdevSerialRegistryTest, NotifiesOfArrivalAndRemovalOnlyOnce) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  for (const char* action : {"add", "change", "bind", "add"}) system_.Send(scanner, action);
  ExpectNotified(0, 0);
  system_.Send(scanner, "remove");
  system_.Send(scanner, "remove");
  ExpectNotified(0, 1);
}

TEST_F(UdevSerialRegistryTest, DoesNotReportAnAlreadyRemovedDevice) {
  Listen();
  system_.Remove(system_.AddUsbModem("3-1:1.0", "ttyACM0"));
  ExpectNotified(0, 0);
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, NotifiesSeparatelyAboutEachOfFortyDevices) {
  Listen();
  std::vector<std::string> terminals;
  for (int i = 0; i < 40; ++i) {
    terminals.push_back(
        system_.AddUsbModem("3-" + std::to_string(i + 1) + ":1.0", "ttyACM" + std::to_string(i)));
    loop_.RunUntilQuiet();
  }
  ExpectNotified(40, 0);
  for (int i = 0; i < 40; ++i) {
    system_.Remove(terminals[static_cast<std::size_t>(i)]);
    if (i % 4 == 3) loop_.RunUntilQuiet();  // the mocked socket has room for ten events
  }
  ExpectNotified(40, 40);
  EXPECT_EQ(Read(), Devices{});
}

TEST_F(UdevSerialRegistryTest, HandlesOneEventPerLoopIteration) {
  Listen();
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  system_.AddUsbModem("3-2:1.0", "ttyACM1");
  EXPECT_TRUE(loop_.Turn());
  EXPECT_EQ(arrivals_->calls, 1);
  EXPECT_EQ(Read(), Devices{kScanner});
  EXPECT_TRUE(loop_.Turn());
  EXPECT_EQ(arrivals_->calls, 2);
}

TEST_F(UdevSerialRegistryTest, StopsWatchingWhenTheNotifyPortIsDestroyed) {
  Listen();
  EXPECT_EQ(loop_.Watches(), 1U);
  registry_.DestroyNotifyPort(port_);
  EXPECT_EQ(loop_.Watches(), 0U);
  system_.AddUsbModem("3-1:1.0", "ttyACM0");
  EXPECT_FALSE(loop_.Turn());
  EXPECT_EQ(Read(), Devices{kScanner});
}

TEST_F(UdevSerialRegistryTest, NotifiesOfAllChangesAfterEventsAreLost) {
  const std::string gone = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  const std::string changed = system_.AddUsbModem("3-2:1.0", "ttyACM1");
  system_.AddUsbModem("3-3:1.0", "ttyACM2");
  Listen();
  std::vector<Devices> seen;
  onEvent_ = [&] { seen.push_back(Read()); };
  system_.Remove(gone);
  system_.Remove(changed);
  system_.AddUsbModem("3-2:1.0", "ttyACM1");  // plugged in again
  system_.AddUsbModem("3-4:1.0", "ttyACM3");
  loseEvents = true;
  ExpectNotified(2, 2);
  const Device second{"usbmodem320", "/dev/ttyACM1"};
  const Device third{"usbmodem330", "/dev/ttyACM2"};
  const Device fourth{"usbmodem340", "/dev/ttyACM3"};
  EXPECT_EQ(seen, (std::vector<Devices>{
                      {second, third}, {third}, {second, third}, {second, third, fourth}}));
}

TEST_F(UdevSerialRegistryTest, DoesNotNotifyAfterLostEventsIfNothingChanged) {
  const std::string scanner = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  Listen();
  system_.Send(scanner, "change");
  loseEvents = true;
  ExpectNotified(0, 0);
  EXPECT_FALSE(loseEvents);
}

TEST_F(UdevSerialRegistryTest, CallbackCanDestroyTheNotifyPortAfterLostEvents) {
  const std::string first = system_.AddUsbModem("3-1:1.0", "ttyACM0");
  const std::string second = system_.AddUsbModem("3-2:1.0", "ttyACM1");
  Listen();
  onEvent_ = [&] { registry_.DestroyNotifyPort(port_); };
  system_.Remove(first);
  system_.Remove(second);
  const std::string third = system_.AddUsbModem("3-3:1.0", "ttyACM2");
  loseEvents = true;
  loop_.RunUntilQuiet();
  EXPECT_EQ(removals_->calls, 1);
  EXPECT_EQ(arrivals_->calls, 0);
  system_.Remove(third);
  RegistryListener later(registry_, registry_.CreateNotifyPort(), Event::FirstMatch);
  EXPECT_EQ(later.Empty(), 0);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
