#pragma once

#include <string>
#include <utility>

#include "base/SystemLog.h"

namespace quillet::platform::linux_desktop {

/// Tells the log once, however many keys follow, that keys cannot be pressed. One thread at a time.
class TypingFailure {
 public:
  /// @param log  outlives this object
  explicit TypingFailure(SystemLog& log) : log_(log) {}

  /// @param reason  why not, behind a colon
  void Tell(const std::string& reason) {
    if (!std::exchange(told_, true)) log_.Write("Cannot type on this desktop: " + reason);
  }

 private:
  SystemLog& log_;
  bool told_ = false;
};

}  // namespace quillet::platform::linux_desktop
