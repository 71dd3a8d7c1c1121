#pragma once

#include <algorithm>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "base/SystemLog.h"

namespace quillet::test {

/// A log that stores every line. Any thread may use it.
class RecordingLog final : public SystemLog {
 public:
  void Write(std::string_view line) override {
    if (onWrite) onWrite(line);
    const std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }
  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }
  std::size_t Count(std::string_view line) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
  }
  bool Has(std::string_view line) const { return Count(line) > 0; }
  void Clear() {
    const std::lock_guard lock(mutex_);
    lines_.clear();
  }

  std::function<void(std::string_view line)> onWrite;  ///< called before a line is stored

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace quillet::test
