#pragma once

#include <string_view>

namespace quillet {

/// The system's log: syslog on Linux and other POSIX systems, the unified log on macOS.
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one line, in call order per thread. Any thread; returns without waiting for the log
  /// unless the backend's stated backlog is full. Never fails towards the caller.
  /// @param line  the text, any length, without a line end; control characters have been made
  ///              visible by the caller.
  virtual void Write(std::string_view line) = 0;
};

}  // namespace quillet
