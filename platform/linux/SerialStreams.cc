#include "platform/linux/SerialStreams.h"

#include <algorithm>
#include <string_view>

#include "platform/linux/DeviceNames.h"

namespace quillet::platform::linux_desktop {

namespace {

std::string_view TextOrEmpty(const char* text) {
  return text == nullptr ? "" : text;
}

std::string_view Property(udev_device* device, const char* key) {
  return TextOrEmpty(udev_device_get_property_value(device, key));
}

/// The kernel puts a terminal that has no parent device into this folder (get_device_parent in
/// its drivers/base/core.c). There are some seventy of them, so it pays to tell them by their path.
bool IsVirtual(std::string_view system_path) {
  return system_path.starts_with("/sys/devices/virtual/tty/");
}

/// The kernel's 8250 driver makes ttyS0 to ttyS3, or as many as it was built for, whether the
/// hardware is there or not. Attribute "type" shows what was found, 0 meaning PORT_UNKNOWN: no
/// UART (sysfs-tty in the kernel's ABI documents; linux/serial_core.h). Only UART drivers have
/// the attribute.
bool IsPlaceholder(udev_device* device) {
  return TextOrEmpty(udev_device_get_sysattr_value(device, "type")) == "0";
}

std::string ModelOf(udev_device* device, udev_device* usb_device) {
  const std::string_view encoded = Property(device, "ID_MODEL_ENC");
  if (!encoded.empty()) return DecodeModel(encoded);
  const std::string_view plain = Property(device, "ID_MODEL");
  if (!plain.empty()) return DecodeModel(plain);
  // Without udevd there are no properties; the kernel shows the device's own text.
  return DecodeModel(TextOrEmpty(udev_device_get_sysattr_value(usb_device, "product")));
}

std::string NameOf(udev_device* device, const std::string& kernel_name) {
  // The parents belong to `device` (libudev.h).
  udev_device* const usb_device =
      udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
  udev_device* const usb_interface =
      udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_interface");
  if (usb_device == nullptr || usb_interface == nullptr) return kernel_name;
  const bool is_modem = Property(device, "ID_USB_DRIVER") == "cdc_acm" ||
                        TextOrEmpty(udev_device_get_driver(usb_interface)) == "cdc_acm";
  if (!is_modem) return UsbSerialName(ModelOf(device, usb_device), kernel_name);
  // A place that cannot be told in digits leaves a name that is none the less unique.
  return UsbModemName(TextOrEmpty(udev_device_get_sysname(usb_interface)))
      .value_or("usbmodem" + kernel_name);
}

}  // namespace

bool UdevIsActive(udev* context) {
  const UdevOwner<udev_queue> queue(udev_queue_new(context));
  return queue != nullptr && udev_queue_get_udev_is_active(queue.get()) != 0;
}

std::optional<SerialStream> ReadSerialStream(udev* context, const char* system_path) {
  if (IsVirtual(system_path)) return std::nullopt;
  const UdevOwner<udev_device> owner(udev_device_new_from_syspath(context, system_path));
  udev_device* const device = owner.get();
  if (device == nullptr) return std::nullopt;
  const std::string_view node = TextOrEmpty(udev_device_get_devnode(device));
  const std::string_view since = Property(device, "USEC_INITIALIZED");
  const bool is_pending = since.empty() && UdevIsActive(context);
  if (node.empty() || is_pending || IsPlaceholder(device)) return std::nullopt;
  const std::string kernel_name(TextOrEmpty(udev_device_get_sysname(device)));
  return SerialStream{.system_path = system_path,
                      .kernel_name = kernel_name,
                      .name = NameOf(device, kernel_name),
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
    return ComesBefore(a.kernel_name, b.kernel_name);
  });
  return streams;
}

}  // namespace quillet::platform::linux_desktop
