#pragma once

#include <umockdev.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "platform/DescriptorWatch.h"

namespace quillet::test {

/// A system whose devices the test makes up: sysfs and udev's events as umockdev shows them to
/// the real libudev. The test program must run under umockdev-wrapper.
class MockedUdev {
 public:
  MockedUdev();
  ~MockedUdev();
  MockedUdev(const MockedUdev&) = delete;
  MockedUdev& operator=(const MockedUdev&) = delete;

  /// A USB device with one interface of class CDC-ACM. Arriving sends the event.
  /// @param place  as the kernel writes it, "3-1.4:1.0"
  /// @return the terminal's path in sysfs
  std::string AddUsbModem(const std::string& place, const std::string& kernelName);

  /// A USB serial converter of another driver. An empty model sends none of udev's properties.
  std::string AddUsbConverter(const std::string& place, const std::string& kernelName,
                              const std::string& encodedModel, const std::string& product = {});

  /// A port of the 8250 driver.
  /// @param type  as in linux/serial_core.h: 0 no UART, 4 a 16550A
  std::string AddUart(const std::string& kernelName, int type);

  /// A terminal without hardware.
  std::string AddVirtualTerminal(const std::string& kernelName);

  /// A device as `description` has it, in umockdev's language.
  void Add(const std::string& description);

  /// Takes a terminal away as the kernel does: sysfs first, then the event.
  void Remove(const std::string& terminal);

  /// Sends an event.
  void Send(const std::string& terminal, const char* action);

  /// Takes a terminal from sysfs without an event.
  void Vanish(const std::string& terminal);

 private:
  /// Adds a device that several terminals may share, unless it is there.
  void AddParent(const std::string& path, const std::string& lines);
  void AddUsbParents(const std::string& place, const std::string& driver,
                     const std::string& product);
  std::string Terminal(const std::string& parent, const std::string& kernelName,
                       const std::string& more);

  UMockdevTestbed* const testbed_;
  std::set<std::string> parents_;
  long microseconds_ = 1'000'000;  ///< udev's time stamp of the next device
};

/// A main loop.
class PollLoop final : public platform::DescriptorWatcher {
 public:
  std::unique_ptr<platform::DescriptorWatch> Watch(int descriptor,
                                                   std::function<void()> ready) override;

  /// Calls what is ready, once.
  /// @return false when nothing was
  bool Turn();

  /// Turns until nothing is ready any more.
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
