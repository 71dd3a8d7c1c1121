#include "platform/linux/SerialStreams.h"

#include <string.h>

#include <algorithm>
#include <charconv>

namespace quillet::platform::linux_desktop {
namespace {

// Removes a decimal number from the front of `text` and returns it. Returns no value if `text` does
// not begin with a number or the number is too large.
std::optional<unsigned> TakeNumber(std::string_view& text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{}) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

bool TakeCharacter(std::string_view& text, char character) {
  if (text.empty() || text.front() != character) return false;
  text.remove_prefix(1);
  return true;
}

// Appends a number in the encoding of UsbModemName; returns false if the number is above 998.
bool AppendDigits(std::string& digits, unsigned number) {
  if (number > 998) return false;
  const std::string decimal = std::to_string(number);
  if (number >= 99) {
    digits.append("999").append(decimal.size() < 3 ? "0" : "");
  } else if (number >= 9) {
    digits.append("9").append(decimal.size() < 2 ? "0" : "");
  }
  digits.append(decimal);
  return true;
}

// Removes one byte, escaped or not, from the front of `encoded` and returns it. `encoded` must not
// be empty.
char TakeByte(std::string_view& encoded) {
  if (encoded.size() >= 4 && encoded.starts_with("\\x")) {
    unsigned value = 0;
    const char* const end = encoded.data() + 4;
    if (std::from_chars(encoded.data() + 2, end, value, 16).ptr == end) {
      encoded.remove_prefix(4);
      return static_cast<char>(value);
    }
  }
  const char byte = encoded.front();
  encoded.remove_prefix(1);
  return byte;
}

std::string_view TextOrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

std::string_view Property(udev_device* device, const char* key) {
  return TextOrEmpty(udev_device_get_property_value(device, key));
}

// The kernel puts terminals without a parent device into the folder virtual/tty
// (drivers/base/core.c, get_device_parent). About 70 devices are of this kind. Checking the path is
// faster than reading each device.
bool IsVirtual(std::string_view systemPath) {
  return systemPath.starts_with("/sys/devices/virtual/tty/");
}

// The 8250 driver creates a fixed number of ttyS devices. The attribute "type" of a device without
// hardware is 0, PORT_UNKNOWN (kernel documentation, ABI/testing/sysfs-tty; linux/serial_core.h).
bool IsPlaceholder(udev_device* device) {
  return TextOrEmpty(udev_device_get_sysattr_value(device, "type")) == "0";
}

std::string ModelOf(udev_device* device, udev_device* usbDevice) {
  const std::string_view encoded = Property(device, "ID_MODEL_ENC");
  if (!encoded.empty()) return DecodeModel(encoded);
  const std::string_view plain = Property(device, "ID_MODEL");
  if (!plain.empty()) return DecodeModel(plain);
  // Without udevd, devices have no properties, but sysfs has the product name.
  return DecodeModel(TextOrEmpty(udev_device_get_sysattr_value(usbDevice, "product")));
}

std::string NameOf(udev_device* device, const std::string& kernelName) {
  // `device` owns its parents, so they are not released (libudev.h).
  udev_device* const usbDevice =
      udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
  udev_device* const usbInterface =
      udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_interface");
  if (usbDevice == nullptr || usbInterface == nullptr) return kernelName;
  const bool isModem = Property(device, "ID_USB_DRIVER") == "cdc_acm" ||
                       TextOrEmpty(udev_device_get_driver(usbInterface)) == "cdc_acm";
  if (!isModem) return UsbSerialName(ModelOf(device, usbDevice), kernelName);
  // The kernel name is the fallback: it is unique but depends on the order in which devices are
  // plugged in.
  return UsbModemName(TextOrEmpty(udev_device_get_sysname(usbInterface)))
      .value_or("usbmodem" + kernelName);
}

}  // namespace

std::optional<std::string> UsbModemName(std::string_view usbInterface) {
  std::string name = "usbmodem";
  const auto bus = TakeNumber(usbInterface);
  if (!bus || !AppendDigits(name, *bus) || !TakeCharacter(usbInterface, '-')) return std::nullopt;
  do {
    const auto port = TakeNumber(usbInterface);
    if (!port || !AppendDigits(name, *port)) return std::nullopt;
  } while (TakeCharacter(usbInterface, '.'));
  if (!TakeCharacter(usbInterface, ':') || !TakeNumber(usbInterface) ||
      !TakeCharacter(usbInterface, '.')) {
    return std::nullopt;
  }
  const auto interface = TakeNumber(usbInterface);
  if (!interface || !AppendDigits(name, *interface) || !usbInterface.empty()) return std::nullopt;
  return name;
}

std::string UsbSerialName(std::string_view model, std::string_view kernelName) {
  std::string name(model);
  if (!name.empty()) name += '-';
  return name.append(kernelName);
}

std::string DecodeModel(std::string_view encoded) {
  std::string model;
  while (!encoded.empty()) {
    const char byte = TakeByte(encoded);
    const auto value = static_cast<unsigned char>(byte);
    model += value < 0x20 || value == 0x7F ? ' ' : byte;
  }
  const std::size_t first = model.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return model.substr(first, model.find_last_not_of(' ') - first + 1);
}

bool ComesBefore(const std::string& first, const std::string& second) {
  return strverscmp(first.c_str(), second.c_str()) < 0;
}

bool UdevIsActive(udev* context) {
  const UdevOwner<udev_queue> queue(udev_queue_new(context));
  return queue != nullptr && udev_queue_get_udev_is_active(queue.get()) != 0;
}

std::optional<SerialStream> ReadSerialStream(udev* context, const char* systemPath) {
  if (IsVirtual(systemPath)) return std::nullopt;
  const UdevOwner<udev_device> owner(udev_device_new_from_syspath(context, systemPath));
  udev_device* const device = owner.get();
  if (device == nullptr) return std::nullopt;
  const std::string_view node = TextOrEmpty(udev_device_get_devnode(device));
  const std::string_view since = Property(device, "USEC_INITIALIZED");
  const bool isPending = since.empty() && UdevIsActive(context);
  if (node.empty() || isPending || IsPlaceholder(device)) return std::nullopt;
  const std::string kernelName(TextOrEmpty(udev_device_get_sysname(device)));
  return SerialStream{.systemPath = systemPath,
                      .kernelName = kernelName,
                      .name = NameOf(device, kernelName),
                      .node = std::string(node),
                      .since = std::string(since)};
}

std::vector<SerialStream> ListSerialStreams(udev* context) {
  std::vector<SerialStream> streams;
  const UdevOwner<udev_enumerate> enumeration(udev_enumerate_new(context));
  if (enumeration == nullptr || udev_enumerate_add_match_subsystem(enumeration.get(), "tty") < 0 ||
      udev_enumerate_scan_devices(enumeration.get()) < 0) {
    return streams;
  }
  udev_list_entry* entry = nullptr;
  udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get())) {
    if (auto stream = ReadSerialStream(context, udev_list_entry_get_name(entry))) {
      streams.push_back(*std::move(stream));
    }
  }
  std::sort(streams.begin(), streams.end(), [](const SerialStream& a, const SerialStream& b) {
    return ComesBefore(a.kernelName, b.kernelName);
  });
  return streams;
}

}  // namespace quillet::platform::linux_desktop
