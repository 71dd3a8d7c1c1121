#pragma once

#include <memory>

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {

/// Key events by the X test extension, on a connection of this object, so that any thread may post.
/// It connects at the first Post, and again after the server has ended; a server that ends does not
/// end the process.
///
/// Keys are posted by their place on the keyboard; the server's layout has to be the US one. While
/// Caps Lock is on, the Shift of letters is inverted (ALPHABETIC key type of the X keyboard
/// extension: Shift and Caps Lock undo each other). The lock itself is not touched.
///
/// One thread at a time.
class X11KeyEvents final : public KeyEvents {
 public:
  /// @param log  receives one line if the server cannot be reached or has no test extension; it
  ///             outlives this object
  explicit X11KeyEvents(SystemLog& log);
  ~X11KeyEvents() override;

  /// All requests of one call leave together; nothing waits for the server to act on them.
  void Post(std::span<const KeyEvent> events) override;

 private:
  class Connection;

  bool Connect();

  TypingFailure failure_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace quillet::platform::linux_desktop
