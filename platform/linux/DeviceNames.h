#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quillet::platform::linux_desktop {

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
/// @param usb_interface  the kernel's name of the USB interface: bus, ports, configuration and
///                       interface, for example "3-1.4:1.0" (sysfs-bus-usb in the kernel's ABI
///                       documents). The configuration is left out: a device has one at a time.
/// @return for example "usbmodem3140"; nothing when the text is not such a name or has a number
///         above 998 (USB itself ends at 255).
std::optional<std::string> UsbModemName(std::string_view usb_interface);

/// The name of another USB serial device: its model, "-", and the kernel's name of the device,
/// for example "USB-Serial Controller-ttyUSB0".
/// @param model        as from DecodeModel; when it is empty the kernel's name stands alone
/// @param kernel_name  for example "ttyUSB0"
std::string UsbSerialName(std::string_view model, std::string_view kernel_name);

/// The model name out of udev's property ID_MODEL_ENC, in which it writes each byte that is not
/// plain as `\xHH` (udev_util_encode_string in libudev). Blanks around the name are taken off, and
/// control characters, which a device can put there, become blanks.
std::string DecodeModel(std::string_view encoded);

/// Whether one kernel name comes before another in the order that people expect: runs of digits
/// compare as numbers, so ttyACM2 stands before ttyACM10. A strict order over all texts.
bool ComesBefore(std::string_view first, std::string_view second);

}  // namespace quillet::platform::linux_desktop
