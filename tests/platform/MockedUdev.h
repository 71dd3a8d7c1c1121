#pragma once

#include <umockdev.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/DescriptorWatch.h"

namespace quillet::test {

/// Mocked devices for libudev. umockdev provides sysfs and udev's events. The test program must run
/// under umockdev-wrapper. Adding a device triggers its udev event.
class MockedUdev {
 public:
  MockedUdev();
  ~MockedUdev();
  MockedUdev(const MockedUdev&) = delete;
  MockedUdev& operator=(const MockedUdev&) = delete;

  /// Adds a USB device with one interface of class CDC-ACM.
  /// @param place  the kernel's name for the interface, for example "3-1.4:1.0"
  /// @return the terminal's path in sysfs
  std::string AddUsbModem(const std::string& place, const std::string& kernelName);

  /// Adds a USB serial converter. The terminal has udev's USB properties unless `encodedModel` is
  /// empty.
  std::string AddUsbConverter(const std::string& place, const std::string& kernelName,
                              const std::string& encodedModel, const std::string& product = {});

  /// Adds a port of the 8250 driver.
  /// @param type  see linux/serial_core.h; 0: no UART, 4: 16550A
  std::string AddUart(const std::string& kernelName, int type);

  /// Adds a terminal without hardware.
  std::string AddVirtualTerminal(const std::string& kernelName);

  /// Adds the devices from a description in umockdev's format.
  void Add(const std::string& description);

  /// Removes a terminal. By the time the event is read, the terminal is no longer in sysfs.
  void Remove(const std::string& terminal);

  /// Sends an event for a terminal.
  void Send(const std::string& terminal, const char* action);

 private:
  /// Adds a parent device if it does not exist yet. Terminals can share a parent.
  void AddParent(const std::string& path, const std::string& lines);
  void AddUsbParents(const std::string& place, const std::string& driver,
                     const std::string& product);
  std::string Terminal(const std::string& parent, const std::string& kernelName,
                       const std::string& more);

  UMockdevTestbed* const testbed_;
  std::set<std::string> parents_;
  long microseconds_ = 1'000'000;  ///< time at which udev first saw the latest device, in µs
};

/// A main loop based on poll(2).
class PollLoop final : public platform::DescriptorWatcher {
 public:
  std::unique_ptr<platform::DescriptorWatch> Watch(int descriptor,
                                                   std::function<void()> ready) override;

  /// Calls the callback of each readable descriptor. Waits at most 20 ms.
  /// @return false if none was readable
  bool Turn();

  /// Runs until no descriptor is readable.
  void RunUntilQuiet();

  std::size_t Watches() const { return watches_.size(); }

 private:
  class Registration;
  struct Entry {
    int descriptor;
    std::function<void()> ready;
  };
  std::map<int, Entry> watches_;
  int next_ = 0;
};

}  // namespace quillet::test
