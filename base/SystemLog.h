#pragma once

#include <string_view>

namespace quillet {

/// The system's log: syslog on Linux and other POSIX systems, the unified log on macOS.
class SystemLog {
 public:
  virtual ~SystemLog() = default;

  /// Writes one line. Lines from one thread keep their order. Waits only if the backend's backlog
  /// is full. Errors are not reported. Any thread.
  /// @param line  text of any length without a line end; control characters are already escaped
  virtual void Write(std::string_view line) = 0;
};

/// A log that drops every line.
class NoLog final : public SystemLog {
 public:
  void Write(std::string_view) override {}
};

}  // namespace quillet
