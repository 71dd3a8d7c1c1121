#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Clock.h"
#include "platform/linux/PortalTypist.h"
#include "platform/linux/SentKeys.h"
#include "platform/linux/SessionLayout.h"
#include "platform/linux/TypingWatch.h"

namespace quillet::platform::linux_desktop {

class RemoteDesktop;

/// Types by sending keysyms to the portal, which presses their keys in the user's active layout.
/// Used if libei is not available. Sends only keysyms that the desktop presses correctly, because
/// the desktop reports success even if it drops a keysym. If the layout is unknown, types nothing.
class KeysymTypist final : public PortalTypist {
 public:
  /// All arguments must outlive this object.
  /// @param desktop  a session with permission to type
  /// @param layout   the user's layout; null if it is unknown
  /// @param clock    used for pauses
  /// @param sent     notified of the strokes that are sent
  KeysymTypist(RemoteDesktop& desktop, SessionLayout* layout, Clock& clock, SentKeys& sent);

  /// Returns an empty string if the layout is unknown. In that case, Type reports the problem.
  std::string Untypable(std::string_view text) override;
  void Begin() override { watch_.BeginRecord(); }
  const char* Type(std::span<const KeyEvent> presses) override;

 private:
  TypingWatch::State Read();
  bool Press(const Keysyms& keysyms);

  RemoteDesktop& desktop_;
  SessionLayout* const layout_;
  Clock& clock_;
  SentKeys& sent_;
  TypingWatch watch_;
};

}  // namespace quillet::platform::linux_desktop
