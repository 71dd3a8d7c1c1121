#include "platform/linux/DeviceNames.h"

#include <algorithm>
#include <array>
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

/// Appends a number in the form that DeviceNames.h describes; false when it is too large.
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

std::optional<std::string> UsbModemName(std::string_view usb_interface) {
  std::string name = "usbmodem";
  const auto bus = TakeNumber(usb_interface);
  if (!bus || !AppendDigits(name, *bus) || !TakeCharacter(usb_interface, '-')) return std::nullopt;
  do {
    const auto port = TakeNumber(usb_interface);
    if (!port || !AppendDigits(name, *port)) return std::nullopt;
  } while (TakeCharacter(usb_interface, '.'));
  if (!TakeCharacter(usb_interface, ':') || !TakeNumber(usb_interface) ||
      !TakeCharacter(usb_interface, '.')) {
    return std::nullopt;
  }
  const auto interface = TakeNumber(usb_interface);
  if (!interface || !AppendDigits(name, *interface) || !usb_interface.empty()) return std::nullopt;
  return name;
}

std::string UsbSerialName(std::string_view model, std::string_view kernel_name) {
  std::string name(model);
  if (!name.empty()) name += '-';
  return name.append(kernel_name);
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
  const std::string_view whole_first = first;
  const std::string_view whole_second = second;
  while (!first.empty() && !second.empty()) {
    const std::string_view a = TakeRun(first);
    const std::string_view b = TakeRun(second);
    const bool numbers = IsDigit(a.front()) && IsDigit(b.front());
    const auto order = numbers ? CompareNumbers(a, b) : a <=> b;
    if (order != 0) return order < 0;
  }
  if (first.empty() != second.empty()) return first.empty();
  return whole_first < whole_second;  // equal but for leading zeros
}

}  // namespace quillet::platform::linux_desktop
