#pragma once

#include <string_view>

namespace quillet::platform {

/// The general pasteboard, or clipboard.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  /// Clears the contents and puts a plain text there; what was there before is lost. Any thread.
  /// Returns when the text is there, or after a stated while when the main thread does not come to
  /// it, as at the end of the program.
  /// @param text  UTF-8
  /// @return false when the text is not there and will not come there later either
  virtual bool SetString(std::string_view text) = 0;
};

}  // namespace quillet::platform
