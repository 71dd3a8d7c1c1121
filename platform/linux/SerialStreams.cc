#include "platform/linux/SerialStreams.h"

#include <algorithm>
#include <charconv>
#include <compare>
#include <cstdint>

namespace quillet::platform::linux_desktop {

namespace {

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Takes a decimal number off the front of `text`; nothing when there is none or it is too large.
std::optional<unsigned> TakeNumber(std::string_view& text) {
  if (text.empty() || !IsDigit(text.front())) return std::nullopt;
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

/// Appends a number in the form that SerialStreams.h describes; false when it is too large.
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

std::optional<unsigned> HexDigit(char c) {
  if (IsDigit(c)) return static_cast<unsigned>(c - '0');
  if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a') + 10;
  if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A') + 10;
  return std::nullopt;
}

/// Takes one byte, escaped or not, off the front of `encoded`, which is not empty.
char TakeByte(std::string_view& encoded) {
  if (encoded.size() >= 4 && encoded.starts_with("\\x")) {
    const auto high = HexDigit(encoded[2]);
    const auto low = HexDigit(encoded[3]);
    if (high && low) {
      encoded.remove_prefix(4);
      return static_cast<char>(*high * 16 + *low);
    }
  }
  const char byte = encoded.front();
  encoded.remove_prefix(1);
  return byte;
}

/// Takes a run of digits, or a run of other characters, off the front of `text`.
std::string_view TakeRun(std::string_view& text) {
  const bool digits = !text.empty() && IsDigit(text.front());
  const auto end =
      std::find_if(text.begin(), text.end(), [&](char c) { return IsDigit(c) != digits; });
  const std::string_view run = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  text.remove_prefix(run.size());
  return run;
}

std::strong_ordering CompareNumbers(std::string_view first, std::string_view second) {
  const auto strip = [](std::string_view digits) {
    const std::size_t start = digits.find_first_not_of('0');
    return start == std::string_view::npos ? std::string_view{} : digits.substr(start);
  };
  first = strip(first);
  second = strip(second);
  if (first.size() != second.size()) return first.size() <=> second.size();
  return first <=> second;
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

bool ComesBefore(std::string_view first, std::string_view second) {
  const std::string_view wholeFirst = first;
  const std::string_view wholeSecond = second;
  while (!first.empty() && !second.empty()) {
    const std::string_view a = TakeRun(first);
    const std::string_view b = TakeRun(second);
    const bool numbers = IsDigit(a.front()) && IsDigit(b.front());
    const auto order = numbers ? CompareNumbers(a, b) : a <=> b;
    if (order != 0) return order < 0;
  }
  if (first.empty() != second.empty()) return first.empty();
  return wholeFirst < wholeSecond;  // equal but for leading zeros
}

namespace {

std::string_view TextOrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

std::string_view Property(udev_device* device, const char* key) {
  return TextOrEmpty(udev_device_get_property_value(device, key));
}

/// The kernel puts a terminal that has no parent device into this folder (get_device_parent in
/// its drivers/base/core.c). There are some seventy of them, so it pays to tell them by their path.
bool IsVirtual(std::string_view systemPath) {
  return systemPath.starts_with("/sys/devices/virtual/tty/");
}

/// The kernel's 8250 driver makes ttyS0 to ttyS3, or as many as it was built for, whether the
/// hardware is there or not. Attribute "type" shows what was found, 0 meaning PORT_UNKNOWN: no
/// UART (sysfs-tty in the kernel's ABI documents; linux/serial_core.h). Only UART drivers have
/// the attribute.
bool IsPlaceholder(udev_device* device) {
  return TextOrEmpty(udev_device_get_sysattr_value(device, "type")) == "0";
}

std::string ModelOf(udev_device* device, udev_device* usbDevice) {
  const std::string_view encoded = Property(device, "ID_MODEL_ENC");
  if (!encoded.empty()) return DecodeModel(encoded);
  const std::string_view plain = Property(device, "ID_MODEL");
  if (!plain.empty()) return DecodeModel(plain);
  // Without udevd there are no properties; the kernel shows the device's own text.
  return DecodeModel(TextOrEmpty(udev_device_get_sysattr_value(usbDevice, "product")));
}

std::string NameOf(udev_device* device, const std::string& kernelName) {
  // The parents belong to `device` (libudev.h).
  udev_device* const usbDevice =
      udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
  udev_device* const usbInterface =
      udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_interface");
  if (usbDevice == nullptr || usbInterface == nullptr) return kernelName;
  const bool isModem = Property(device, "ID_USB_DRIVER") == "cdc_acm" ||
                       TextOrEmpty(udev_device_get_driver(usbInterface)) == "cdc_acm";
  if (!isModem) return UsbSerialName(ModelOf(device, usbDevice), kernelName);
  // A place that cannot be told in digits leaves a name that is none the less unique.
  return UsbModemName(TextOrEmpty(udev_device_get_sysname(usbInterface)))
      .value_or("usbmodem" + kernelName);
}

}  // namespace

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
