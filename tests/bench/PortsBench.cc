// Measures how long Quillet takes to list 1, 8 and 32 serial ports on a system with 64 virtual
// terminals. Baseline: enumerating the same devices with libudev alone. For each round, prints the
// figures "ports-1", "ports-8" and "ports-32" in seconds. Run under umockdev-wrapper.

#include <array>
#include <cstdlib>
#include <string>

#include "platform/linux/SerialStreams.h"
#include "platform/linux/UdevSerialRegistry.h"
#include "tests/bench/Figure.h"
#include "tests/platform/MockedUdev.h"

namespace {

using namespace quillet;
using namespace quillet::bench;
using platform::linux_desktop::UdevOwner;

constexpr int kVirtualTerminals = 64;  // tty0 to tty63
constexpr int kRounds = 9;

template <class Work>
double Duration(Work&& work) {
  const auto start = Clock::now();
  work();
  return Seconds(Clock::now() - start);
}

// Enumerates all terminals and creates a udev_device for each one that is not virtual.
void Enumerate(udev* context) {
  const UdevOwner<udev_enumerate> walk(udev_enumerate_new(context));
  udev_enumerate_add_match_subsystem(walk.get(), "tty");
  udev_enumerate_scan_devices(walk.get());
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(walk.get())) {
    const std::string path = udev_list_entry_get_name(entry);
    if (path.starts_with("/sys/devices/virtual/tty/")) continue;
    const UdevOwner<udev_device> device(udev_device_new_from_syspath(context, path.c_str()));
    if (device == nullptr) std::abort();
  }
}

}  // namespace

int main() {
  test::MockedUdev devices;
  for (int i = 0; i < kVirtualTerminals; ++i) {
    devices.AddVirtualTerminal("tty" + std::to_string(i));
  }
  test::PollLoop loop;
  const UdevOwner<udev> context(udev_new());
  std::array<std::string, 32> names;
  std::array<std::string, 32> paths;
  int present = 0;
  for (const int ports : {1, 8, 32}) {
    for (; present < ports; ++present) {
      devices.AddUsbModem("3-" + std::to_string(present + 1) + ":1.0",
                          "ttyACM" + std::to_string(present));
    }
    platform::linux_desktop::UdevSerialRegistry registry(loop);
    for (int round = 0; round < kRounds; ++round) {
      int found = 0;
      const double ours = Duration([&] { found = registry.ReadSerialStreams(names, paths); });
      if (found != ports) std::abort();
      PrintFigure(("ports-" + std::to_string(ports)).c_str(), ours,
                  Duration([&] { Enumerate(context.get()); }));
    }
  }
}
