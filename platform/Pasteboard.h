#pragma once

#include <string_view>

namespace quillet::platform {

/// The system clipboard.
class Pasteboard {
 public:
  virtual ~Pasteboard() = default;

  /// Replaces the contents with plain text. Any thread.
  ///
  /// On threads other than the main thread, may first wait until a program has read the previous
  /// text. This wait ends no later than 2 s after the previous text was set. Then waits up to 2 s
  /// for the main thread.
  /// @param text  UTF-8
  /// @return false if the text was not stored and will not be stored later
  virtual bool SetString(std::string_view text) = 0;

  /// Keeps the contents available after this process ends. Call before the process ends. Waits up
  /// to 1 s for a clipboard manager to save them. Main thread.
  virtual void Keep() {}
};

}  // namespace quillet::platform
