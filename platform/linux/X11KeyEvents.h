#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {

/// Key events through the X server's XTEST extension. Uses a separate connection, opened by the
/// first Post and reopened after the server has ended. One thread at a time.
///
/// The server must use the US layout. While Caps Lock is on, Shift is inverted for letters (key
/// type ALPHABETIC of the X keyboard extension).
class X11KeyEvents final : public KeyEvents {
 public:
  /// @param log  receives one line if the server cannot be reached or has no XTEST extension;
  ///             outlives this object
  /// @param ownKeys  X11OwnKeys::window, or 0 if the program's windows must not ignore the keys
  explicit X11KeyEvents(SystemLog& log, std::uint32_t ownKeys = 0);
  ~X11KeyEvents() override;

  /// Sends all events without waiting for the server to process them.
  void Post(std::span<const KeyEvent> events) override;
  std::string Problem() override { return failure_.Reason(); }

 private:
  class Connection;

  bool Connect();

  TypingFailure failure_;
  const std::uint32_t ownKeys_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace quillet::platform::linux_desktop
