#pragma once

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/SerialLine.h"

namespace quillet::test {

/// A serial line in memory. Every path can be opened. Stores the written bytes. Reads return the
/// bytes passed to Arrive.
class ScriptedLine final : public platform::SerialLine {
 public:
  std::int32_t Open(const char* path, Access, const platform::LineSettings&) override {
    if (onOpen) onOpen(path);
    return opens ? kFirstNumber + opened_++ : -1;
  }
  bool Reserve(std::int32_t line) override { return line >= 0 && !reservedElsewhere; }
  std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) override {
    const std::lock_guard lock(mutex_);
    if (line < 0 || std::find(closed.begin(), closed.end(), line) != closed.end()) return 0;
    const std::size_t count = std::min(buffer.size(), arrived_.size());
    std::copy_n(arrived_.begin(), count, buffer.begin());
    arrived_.erase(0, count);
    return static_cast<std::int32_t>(count);
  }
  bool IsHungUp(std::int32_t) override { return hungUp; }
  void Write(std::int32_t line, std::uint8_t byte) override {
    if (line < 0) return;
    const std::lock_guard lock(mutex_);
    sent_.push_back(static_cast<char>(byte));
  }
  void Close(std::int32_t line) override {
    const std::lock_guard lock(mutex_);
    closed.push_back(line);
  }

  /// Returns the bytes written since the last call.
  std::string Sent() {
    const std::lock_guard lock(mutex_);
    return std::exchange(sent_, {});
  }

  /// Adds bytes for Read to return.
  void Arrive(std::string_view bytes) {
    const std::lock_guard lock(mutex_);
    arrived_.append(bytes);
  }

  bool opens = true;                        ///< whether paths can be opened
  bool hungUp = false;                      ///< result of IsHungUp
  bool reservedElsewhere = false;           ///< whether another program has reserved the device
  std::function<void(std::string)> onOpen;  ///< called with each path before it is opened
  std::vector<std::int32_t> closed;         ///< handles of the closed lines, in order

  static constexpr std::int32_t kFirstNumber = 100;

 private:
  std::mutex mutex_;
  std::string sent_;
  std::string arrived_;
  std::int32_t opened_ = 0;
};

}  // namespace quillet::test
