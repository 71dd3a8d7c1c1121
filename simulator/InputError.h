#pragma once

#include <stdexcept>
#include <string>

namespace quillet::simulator {

/// A text that somebody wrote (a file of records, a fault script) cannot be understood.
/// what() is "line 3: ..." in words for the person who wrote it.
class InputError : public std::runtime_error {
 public:
  /// `line` counts from 1.
  InputError(int line, const std::string& message)
      : std::runtime_error("line " + std::to_string(line) + ": " + message), line_(line) {}

  int line() const { return line_; }

 private:
  int line_;
};

}  // namespace quillet::simulator
