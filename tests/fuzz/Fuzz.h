#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include "base/SystemLog.h"
#include "device/Settings.h"

namespace quillet::fuzz {

/// Ends the process with a message if `condition` is false. The fuzzer then saves the input.
inline void Require(bool condition, const char* expected) {
  if (condition) return;
  std::fprintf(stderr, "Not met: %s\n", expected);
  std::abort();
}

/// Reads the bytes of a fuzzer input in order.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  bool IsEmpty() const { return rest_.empty(); }

  /// Returns the next byte, or 0 at the end.
  std::uint8_t Byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  /// Returns the next `count` bytes, or fewer at the end.
  std::span<const std::uint8_t> Bytes(std::size_t count) {
    const auto taken = rest_.first(count < rest_.size() ? count : rest_.size());
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::span<const std::uint8_t> Rest() { return Bytes(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

/// Runs the test with one input. Each fuzzer defines this function.
void Run(Input& input);

/// Reads the settings that determine the layout of a line. Numbers may be out of range.
inline void TakeSettings(Input& input, Settings& settings) {
  const auto number = [&input] { return static_cast<std::int8_t>(input.Byte()); };
  settings.bAttachType = input.Byte();
  settings.bAttachSerial = input.Byte();
  settings.bAttachTimestamp = input.Byte();
  settings.datadelimiter = number();
  settings.recorddelimiter = number();
  settings.sn_position = number();
  settings.dataorder = number();
}

/// A log that fails the test if a line contains control characters.
class StrictLog final : public SystemLog {
 public:
  void Write(std::string_view line) override {
    for (const char character : line) {
      const auto byte = static_cast<unsigned char>(character);
      Require(byte >= 0x20 && byte != 0x7F, "log lines contain no control characters");
    }
  }
};

}  // namespace quillet::fuzz
