#include "tests/platform/MockedUdev.h"

#include <poll.h>

#include <stdexcept>
#include <vector>

// GLib is built without the thread sanitizer, which therefore does not see how GLib synchronizes
// umockdev's thread with the test.
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "race:libglib-2.0.so\nrace:libgobject-2.0.so\nrace:libgio-2.0.so\nrace:libumockdev\n";
}

// The preloaded umockdev is loaded before the address sanitizer, which rejects this order by
// default. The order does not matter, because umockdev replaces no memory functions.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "verify_asan_link_order=0";
}

namespace quillet::test {

namespace {

/// Returns the sysfs path of an interface's USB device: for the interface "3-1.4:1.0", the path of
/// "3-1.4".
std::string DevicePath(const std::string& place) {
  return "/devices/pci0000:00/0000:00:14.0/" + place.substr(0, place.find(':'));
}

std::string InterfacePath(const std::string& place) {
  return DevicePath(place) + "/" + place;
}

}  // namespace

MockedUdev::MockedUdev() : testbed_(umockdev_testbed_new()) {
  if (!umockdev_in_mock_environment()) throw std::runtime_error("run this under umockdev-wrapper");
}

MockedUdev::~MockedUdev() {
  g_object_unref(testbed_);
}

void MockedUdev::Add(const std::string& description) {
  GError* error = nullptr;
  if (!umockdev_testbed_add_from_string(testbed_, description.c_str(), &error)) {
    throw std::runtime_error(error->message);
  }
}

void MockedUdev::AddParent(const std::string& path, const std::string& lines) {
  if (parents_.insert(path).second) Add("P: " + path + "\n" + lines);
}

void MockedUdev::AddUsbParents(const std::string& place, const std::string& driver,
                               const std::string& product) {
  AddParent(DevicePath(place),
            "E: SUBSYSTEM=usb\nE: DEVTYPE=usb_device\nA: product=" + product + "\n");
  AddParent(InterfacePath(place),
            "E: SUBSYSTEM=usb\nE: DEVTYPE=usb_interface\nE: DRIVER=" + driver +
                "\nL: driver=../../../../../bus/usb/drivers/" + driver + "\n");
}

std::string MockedUdev::Terminal(const std::string& parent, const std::string& kernelName,
                                 const std::string& more) {
  const std::string path = parent + "/tty/" + kernelName;
  microseconds_ += 1'000;
  Add("P: " + path + "\nE: DEVNAME=/dev/" + kernelName +
      "\nE: SUBSYSTEM=tty\nE: USEC_INITIALIZED=" + std::to_string(microseconds_) + "\n" + more);
  return "/sys" + path;
}

std::string MockedUdev::AddUsbModem(const std::string& place, const std::string& kernelName) {
  AddUsbParents(place, "cdc_acm", "Tavo Scanner");
  return Terminal(InterfacePath(place), kernelName,
                  "E: ID_BUS=usb\nE: ID_USB_DRIVER=cdc_acm\nE: ID_MODEL=Tavo_Scanner\n"
                  "E: ID_MODEL_ENC=Tavo\\x20Scanner\nE: ID_USB_INTERFACE_NUM=00\n");
}

std::string MockedUdev::AddUsbConverter(const std::string& place, const std::string& kernelName,
                                        const std::string& encodedModel,
                                        const std::string& product) {
  AddUsbParents(place, "ftdi_sio", product);
  std::string properties;
  if (!encodedModel.empty()) {
    properties = "E: ID_BUS=usb\nE: ID_USB_DRIVER=ftdi_sio\nE: ID_MODEL_ENC=" + encodedModel + "\n";
  }
  // In sysfs, a serial converter has a port device between its USB interface and its tty.
  const std::string port = InterfacePath(place) + "/" + kernelName;
  AddParent(port, "E: SUBSYSTEM=usb-serial\nE: DRIVER=ftdi_sio\n");
  return Terminal(port, kernelName, properties);
}

std::string MockedUdev::AddUart(const std::string& kernelName, int type) {
  const std::string platform = "/devices/platform/serial8250";
  AddParent(platform, "E: SUBSYSTEM=platform\nE: DRIVER=serial8250\n");
  return Terminal(platform, kernelName, "A: type=" + std::to_string(type) + "\nA: line=0\n");
}

std::string MockedUdev::AddVirtualTerminal(const std::string& kernelName) {
  return Terminal("/devices/virtual", kernelName, "");
}

void MockedUdev::Remove(const std::string& terminal) {
  Send(terminal, "remove");  // the event stays in the socket until the main loop runs
  umockdev_testbed_remove_device(testbed_, terminal.c_str());
}

void MockedUdev::Send(const std::string& terminal, const char* action) {
  umockdev_testbed_uevent(testbed_, terminal.c_str(), action);
}

class PollLoop::Registration final : public platform::DescriptorWatch {
 public:
  Registration(PollLoop& loop, int number) : loop_(loop), number_(number) {}
  ~Registration() override { loop_.watches_.erase(number_); }

 private:
  PollLoop& loop_;
  const int number_;
};

std::unique_ptr<platform::DescriptorWatch> PollLoop::Watch(int descriptor,
                                                           std::function<void()> ready) {
  watches_.emplace(++next_, Entry{descriptor, std::move(ready)});
  return std::make_unique<Registration>(*this, next_);
}

bool PollLoop::Turn() {
  constexpr int kQuietMilliseconds = 20;
  std::vector<pollfd> descriptors;
  std::vector<int> numbers;
  for (const auto& [number, entry] : watches_) {
    descriptors.push_back({entry.descriptor, POLLIN, 0});
    numbers.push_back(number);
  }
  if (poll(descriptors.data(), descriptors.size(), kQuietMilliseconds) <= 0) return false;
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    const auto found = watches_.find(numbers[i]);
    if (descriptors[i].revents == 0 || found == watches_.end()) continue;
    // Copies the callback, because the call may end the watch.
    const std::function<void()> ready = found->second.ready;
    ready();
  }
  return true;
}

void PollLoop::RunUntilQuiet() {
  while (Turn()) continue;
}

}  // namespace quillet::test
