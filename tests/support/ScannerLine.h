#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "base/Word.h"
#include "platform/SerialLine.h"
#include "simulator/TavoDevice.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

using simulator::Bytes;

/// Returns the settings of a scanner with these records.
inline simulator::DeviceSettings Scanner(const std::vector<std::string>& records = {}) {
  simulator::DeviceSettings settings;
  settings.serial = "0000123456";
  settings.storeLiveScans = false;
  for (const std::string& text : records) {
    settings.records.emplace_back().data = simulator::ToBytes(text);
  }
  return settings;
}

/// Serial lines in memory with simulated scanners that answer at once. Only attached paths can
/// be opened. Any thread may use them.
class ScannerLine final : public platform::SerialLine {
 public:
  void Attach(const std::string& path, simulator::DeviceSettings settings) {
    const std::lock_guard lock(mutex_);
    scanners_[path].emplace(std::move(settings), [] { return std::chrono::seconds(0); });
  }

  /// Adds a device that can be opened but never answers.
  void AttachSilent(const std::string& path) {
    const std::lock_guard lock(mutex_);
    scanners_[path] = std::nullopt;
  }

  /// Scans a barcode and waits until the program has received it.
  void Scan(std::string_view text) {
    {
      const std::lock_guard lock(mutex_);
      simulator::ScanRecord record;
      record.data = simulator::ToBytes(text);
      simulator::Append(unread_, scanner_->Scan(record));
    }
    WaitUntilRead();
  }

  /// Sets the scanner's answer to `command`.
  void Answer(const std::string& command, const Bytes& answer) {
    const std::lock_guard lock(mutex_);
    answers_[command] = answer;
  }

  /// Delays the next answer to `command` until Release is called. The program's time-out does not
  /// expire in the meantime.
  void Hold(const std::string& command) {
    const std::lock_guard lock(mutex_);
    heldCommand_ = command;
  }
  void WaitUntilHeld() {
    WaitUntil([this] { return holding_; });
  }
  /// Sends the next `count` bytes of the delayed answer.
  void Release(std::size_t count = SIZE_MAX) {
    const std::lock_guard lock(mutex_);
    const auto end = held_.begin() + static_cast<long>(std::min(count, held_.size()));
    unread_.insert(unread_.end(), held_.begin(), end);
    held_.erase(held_.begin(), end);
    holding_ = !held_.empty();
  }

  /// Waits until the program has handled all bytes that the scanner has sent.
  void WaitUntilRead() {
    WaitUntil(
        [this] { return unread_.empty() && !reading_ && (!holding_ || role_ == Role::kOther); });
  }

  /// Waits until the program has handled the pending answer. Returns at once on the read thread.
  /// Call this whenever a thread of the program is about to sleep, so that time-outs do not expire
  /// on a slow machine.
  void Settle(const Word<bool>& connected) {
    if (role_ == Role::kReader) return;
    if (role_ != Role::kConnector) return WaitUntilRead();
    WaitUntil([&] { return scanner_ == nullptr || connected; });
  }

  /// Returns the commands that the scanner has received, each followed by a space.
  std::string Commands() {
    const std::lock_guard lock(mutex_);
    std::string all;
    for (const std::string& command : scanner_->Report().commandsSeen) all += command + " ";
    return all;
  }

  bool IsOpen() {
    const std::lock_guard lock(mutex_);
    return !open_.empty();
  }

  std::int32_t Open(const char* path, Access, const platform::LineSettings&) override {
    const std::lock_guard lock(mutex_);
    role_ = Role::kConnector;
    const auto found = scanners_.find(path);
    if (found == scanners_.end()) return -1;
    scanner_ = found->second ? &*found->second : nullptr;
    open_.insert(++last_);
    return last_;
  }

  bool Reserve(std::int32_t line) override {
    const std::lock_guard lock(mutex_);
    return open_.contains(line);
  }

  std::int32_t Read(std::int32_t line, std::span<std::uint8_t> buffer) override {
    const std::lock_guard lock(mutex_);
    role_ = Role::kReader;
    if (!open_.contains(line)) unread_.clear();
    const std::size_t count = std::min(buffer.size(), unread_.size());
    reading_ = count > 0;
    std::copy_n(unread_.begin(), count, buffer.begin());
    unread_.erase(unread_.begin(), unread_.begin() + static_cast<long>(count));
    return static_cast<std::int32_t>(count);
  }

  void Write(std::int32_t line, std::uint8_t byte) override {
    const std::lock_guard lock(mutex_);
    role_ = Role::kSender;
    if (scanner_ == nullptr || !open_.contains(line)) return;
    const auto command = scanner_->Receive(byte);
    if (!command) return;
    Bytes answer = scanner_->Execute(*command).value_or(Bytes{});
    if (const auto own = answers_.find(command->text); own != answers_.end()) answer = own->second;
    holding_ = command->text == heldCommand_;
    if (holding_) heldCommand_.clear();
    simulator::Append(holding_ ? held_ : unread_, answer);
  }

  void Close(std::int32_t line) override {
    const std::lock_guard lock(mutex_);
    open_.erase(line);
    holding_ = false;
    held_.clear();
  }

 private:
  enum class Role { kOther, kConnector, kReader, kSender };

  template <class Condition>
  void WaitUntil(Condition condition) {
    WaitFor([&] {
      const std::lock_guard lock(mutex_);
      return condition();
    });
  }

  static inline thread_local Role role_ = Role::kOther;  // set by Open, Read and Write

  std::mutex mutex_;
  std::map<std::string, std::optional<simulator::TavoDevice>> scanners_;  // nullopt: silent device
  simulator::TavoDevice* scanner_ = nullptr;  // scanner of the last opened path; null if silent
  std::set<std::int32_t> open_;
  std::int32_t last_ = 100;
  Bytes unread_;
  bool reading_ = false;  // true while the read thread is handling bytes
  std::map<std::string, Bytes> answers_;
  std::string heldCommand_;
  Bytes held_;
  bool holding_ = false;
};

}  // namespace quillet::test
