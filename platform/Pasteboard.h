#pragma once

#include <string_view>

namespace quillet::platform {

/// The system clipboard.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  /// Replaces the contents with plain text. Waits for the main thread, but at most 2 s, because the
  /// main loop may have ended. On any other thread, may first wait until a program has read the
  /// previous text, but at most until 2 s after it was set. Any thread.
  /// @param text  UTF-8
  /// @return false if the text was not stored and will not be stored later
  virtual bool SetString(std::string_view text) = 0;

  /// Makes the contents survive this process. Call before the process ends. Waits for other
  /// programs, but at most 1 s. Main thread.
  virtual void Keep() {}
};

}  // namespace quillet::platform
