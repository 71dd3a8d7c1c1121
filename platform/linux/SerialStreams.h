#pragma once

#include <libudev.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
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
  std::string systemPath;  ///< its folder in sysfs, which tells it from every other device
  std::string kernelName;  ///< for example "ttyACM0"
  std::string name;        ///< the name for people; see below
  std::string node;        ///< the path to open, for example "/dev/ttyACM0"
  /// When udev first saw it, in microseconds since the system's start. It tells a device from its
  /// successor at the same place. Empty where udev does not run.
  std::string since;
};

/// Whether udevd runs and looks after the devices. It does not in most containers. Any thread.
bool UdevIsActive(udev* context);

/// Reads a device of the subsystem tty as sysfs and udev show it now.
/// @param context      udev's library
/// @param systemPath  its folder in sysfs
/// @return nothing if it has no node, is virtual (a console, a pseudo-terminal, the kernel's
/// message
///         terminal), stands for a UART that does not exist, or has been removed; and, while udevd
///         runs, before udevd has processed it: the event of its arrival is still to come
std::optional<SerialStream> ReadSerialStream(udev* context, const char* systemPath);

/// Reads the serial stream devices present now, in ComesBefore order of their kernel names.
/// @return empty also when sysfs cannot be read
std::vector<SerialStream> ListSerialStreams(udev* context);

// The names under which serial stream devices are known to the program. Plain functions; any
// thread.

/// The name of a USB modem-class (CDC-ACM) device: "usbmodem" and digits that say where it is
/// plugged in, so that two devices differ and a socket keeps its name whatever is plugged into it
/// and in whatever order.
///
/// The digits are the bus number, the number of each hub port on the way from the root hub, and
/// the interface number, each written as follows, one behind the other:
///
///     0 to 8      that digit                                 3 -> 3
///     9 to 98     "9" and two digits                        12 -> 912
///     99 to 998   "999" and three digits                   127 -> 999127
///
/// No number's digits begin with another number's digits, so the row can be taken apart again in
/// one way only: two different places never share a name.
///
/// @param usbInterface  the kernel's name of the USB interface: bus, ports, configuration and
///                       interface, for example "3-1.4:1.0" (sysfs-bus-usb in the kernel's ABI
///                       documents). The configuration is left out: a device has one at a time.
/// @return for example "usbmodem3140"; nothing when the text is not such a name or has a number
///         above 998 (USB itself ends at 255).
std::optional<std::string> UsbModemName(std::string_view usbInterface);

/// The name of another USB serial device: its model, "-", and the kernel's name of the device,
/// for example "USB-Serial Controller-ttyUSB0".
/// @param model        as from DecodeModel; when it is empty the kernel's name stands alone
/// @param kernelName  for example "ttyUSB0"
std::string UsbSerialName(std::string_view model, std::string_view kernelName);

/// The model name out of udev's property ID_MODEL_ENC, in which it writes each byte that is not
/// plain as `\xHH` (udev_util_encode_string in libudev). Blanks around the name are taken off, and
/// control characters, which a device can put there, become blanks.
std::string DecodeModel(std::string_view encoded);

/// Whether one kernel name comes before another in the order that people expect: runs of digits
/// compare as numbers, so ttyACM2 stands before ttyACM10. A strict order over all texts.
bool ComesBefore(std::string_view first, std::string_view second);

}  // namespace quillet::platform::linux_desktop
