#pragma once

#include <libudev.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillet::platform::linux_desktop {

/// Gives a libudev object back.
struct UdevRelease {
  void operator()(udev* object) const { udev_unref(object); }
  void operator()(udev_device* object) const { udev_device_unref(object); }
  void operator()(udev_enumerate* object) const { udev_enumerate_unref(object); }
  void operator()(udev_monitor* object) const { udev_monitor_unref(object); }
  void operator()(udev_queue* object) const { udev_queue_unref(object); }
};
/// Owns a libudev object.
template <typename Object>
using UdevOwner = std::unique_ptr<Object, UdevRelease>;

/// A serial stream device as udev and sysfs show it.
struct SerialStream {
  std::string system_path;  ///< its folder in sysfs, which tells it from every other device
  std::string kernel_name;  ///< for example "ttyACM0"
  std::string name;         ///< the name for people; see DeviceNames.h
  std::string node;         ///< the path to open, for example "/dev/ttyACM0"
  /// When udev first saw it, in microseconds since the system's start. It tells a device from its
  /// successor at the same place. Empty where udev does not run.
  std::string since;
};

/// Whether udevd runs and looks after the devices. It does not in most containers. Any thread.
bool UdevIsActive(udev* context);

/// Reads a device of the subsystem tty as sysfs and udev show it now.
/// @param context      udev's library
/// @param system_path  its folder in sysfs
/// @return nothing when it is not a serial stream device: when it has no node, is virtual (a
///         console, a pseudo-terminal, the kernel's message terminal) or stands for a UART that
///         is not there; when it has gone; and, while udevd runs, when udevd has not dealt with
///         it yet: its permissions and properties are still to come, and so is the event of its
///         arrival
std::optional<SerialStream> ReadSerialStream(udev* context, const char* system_path);

/// Reads the serial stream devices present now, in ComesBefore order of their kernel names.
/// @return empty also when sysfs cannot be read
std::vector<SerialStream> ListSerialStreams(udev* context);

}  // namespace quillet::platform::linux_desktop
