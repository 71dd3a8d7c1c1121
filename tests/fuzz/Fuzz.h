#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/SystemLog.h"
#include "device/Settings.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"

namespace quillet::fuzz {

/// Ends the process with a message, which the fuzzer reports together with the input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

/// The bytes of an input, taken from its beginning. Behind its end everything is 0.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  bool IsEmpty() const { return rest_.empty(); }
  std::uint8_t Byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t byte = rest_.front();
    rest_ = rest_.subspan(1);
    return byte;
  }
  /// As many bytes as there are, `count` at most.
  std::span<const std::uint8_t> Bytes(std::size_t count) {
    const auto taken = rest_.first(count < rest_.size() ? count : rest_.size());
    rest_ = rest_.subspan(taken.size());
    return taken;
  }
  std::span<const std::uint8_t> Rest() { return Bytes(rest_.size()); }

 private:
  std::span<const std::uint8_t> rest_;
};

/// Each fuzzer's run with one input.
void Run(Input& input);

/// The settings that decide what a line looks like; the numbers also outside their lists.
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

/// A log that holds every line to what the system log is promised: nothing in it moves a cursor or
/// ends a line.
class StrictLog final : public SystemLog {
 public:
  void Write(std::string_view line) override {
    for (const char character : line) {
      const auto byte = static_cast<unsigned char>(character);
      Require(byte >= 0x20 && byte != 0x7F, "a log line holds no control character");
    }
  }
};

/// A disk with one file, whatever its path.
class MemoryFile final : public platform::FileStore {
 public:
  explicit MemoryFile(std::optional<std::string> contents) : contents_(std::move(contents)) {}

  bool CreateFolder(const std::string&) override { return true; }
  std::optional<std::string> Read(const std::string&, std::size_t limit) override {
    if (!contents_) return contents_;
    return contents_->substr(0, limit);
  }
  bool Replace(const std::string&, std::string_view contents) override {
    contents_ = contents;
    return true;
  }

  const std::optional<std::string>& contents() const { return contents_; }

 private:
  std::optional<std::string> contents_;
};

}  // namespace quillet::fuzz
