#pragma once

#include <memory>

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"
#include "platform/linux/TypingFailure.h"

namespace quillet::platform::linux_desktop {

/// Key events by the X test extension, on a connection to the X server of its own, so that any
/// thread may post. The connection is made at the first Post, and again at a later one when the
/// server has gone meanwhile; a server that goes takes nothing else with it.
///
/// Keys are posted by their place on the keyboard; what a key types is the server's layout, which
/// has to be the US one. Caps Lock is followed as the server tells of it: the letters' Shift is
/// turned round while it is on (the X keyboard extension's ALPHABETIC key type, under which Shift
/// and Caps Lock undo each other), and the lock itself is not touched.
///
/// One thread at a time.
class X11KeyEvents final : public KeyEvents {
 public:
  /// @param log  told once of a server that cannot be reached or has no test extension; it
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
