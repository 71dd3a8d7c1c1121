#pragma once

#include <libudev.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::platform::linux_desktop {

/// Deleter for libudev objects.
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

/// A serial device.
struct SerialStream {
  std::string systemPath;  ///< unique folder in sysfs
  std::string kernelName;  ///< for example "ttyACM0"
  std::string name;        ///< display name; see UsbModemName and UsbSerialName
  std::string node;        ///< path to open, for example "/dev/ttyACM0"
  /// Time when udev first saw the device (USEC_INITIALIZED), to detect that a device at the same
  /// path was replaced. Empty if udevd is not running.
  std::string since;
};

/// Returns true if udevd is running. Most containers have no udevd. Any thread.
bool UdevIsActive(udev* context);

/// Reads a device of the tty subsystem from sysfs and udev.
/// @param context     libudev context
/// @param systemPath  folder in sysfs
/// @return no value if the device has no node, is virtual (such as a console or pseudo-terminal),
///         has no UART or has been removed. Also no value if udevd is running but has not processed
///         the device yet; its "add" event is then pending.
std::optional<SerialStream> ReadSerialStream(udev* context, const char* systemPath);

/// Lists the serial devices, sorted by kernel name with ComesBefore.
/// @return the devices; an empty list if sysfs cannot be read
std::vector<SerialStream> ListSerialStreams(udev* context);

/// Returns the name of a USB CDC-ACM device: "usbmodem" and digits that identify the USB port. The
/// name depends neither on the device nor on the order in which devices are plugged in.
///
/// The digits are the bus number, the port number of each hub and the interface number, encoded as:
///
///     0 to 8      one digit                   3 -> 3
///     9 to 98     "9" and two digits         12 -> 912
///     99 to 998   "999" and three digits    127 -> 999127
///
/// No encoded number is a prefix of another, so names of different ports differ.
///
/// @param usbInterface  kernel name of the USB interface, for example "3-1.4:1.0": bus, ports,
///                      configuration (unused) and interface (kernel documentation,
///                      ABI/testing/sysfs-bus-usb)
/// @return for example "usbmodem3140"; no value if the argument has another form or a number above
///         998. Any thread.
std::optional<std::string> UsbModemName(std::string_view usbInterface);

/// Returns the name of a USB serial device that is not CDC-ACM: model, "-" and kernel name, for
/// example "USB-Serial Controller-ttyUSB0". Any thread.
/// @param model       from DecodeModel; if empty, the result is the kernel name
/// @param kernelName  for example "ttyUSB0"
std::string UsbSerialName(std::string_view model, std::string_view kernelName);

/// Decodes udev's property ID_MODEL_ENC, which escapes special bytes as `\xHH`
/// (udev_util_encode_string in libudev). Replaces control characters with spaces, then trims
/// spaces. Any thread.
std::string DecodeModel(std::string_view encoded);

/// Compares in natural order: ttyACM2 comes before ttyACM10. Any thread.
bool ComesBefore(const std::string& first, const std::string& second);

}  // namespace quillet::platform::linux_desktop
