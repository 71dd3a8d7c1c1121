#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/SystemLog.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"
#include "platform/KeyEvents.h"
#include "platform/linux/InputMethod.h"
#include "platform/linux/PortalKeyEvents.h"
#include "platform/linux/SentKeys.h"
#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/WaylandKeyEvents.h"

namespace quillet::platform::linux_desktop {

/// Types in one of three ways, and logs which one is used:
/// - through the desktop's portal, on GNOME, KDE Plasma and other desktops that have it;
/// - through the compositor's virtual keyboard, if programs may create one;
/// - through /dev/uinput, if neither is available.
/// Opens no device or connection before the first call.
class WaylandSessionKeys final : public KeyEvents {
 public:
  /// Properties of the session, from its environment variables.
  struct Session {
    bool hasPortal = false;  ///< the desktop is known to have a portal, which may start late
    std::string tokenFile;   ///< see PortalKeyEvents
  };

  /// `log`, `clock`, `files` and `sent` must outlive this object.
  /// @param session  see Session
  /// @param log      receives a line when a typing method is chosen or fails
  /// @param clock    used for pauses
  /// @param files    see PortalKeyEvents
  /// @param sent     notified of the strokes that are sent
  WaylandSessionKeys(const Session& session, SystemLog& log, Clock& clock, FileStore& files,
                     SentKeys& sent);

  void Prepare() override;
  void Post(std::span<const KeyEvent> events) override;
  std::string Untypable(std::string_view text) override { return Way().Untypable(text); }
  std::string Problem() override;
  void OnReadiness(const std::function<void(const std::string& problem)>& changed) override;
  std::string InputMethod() override { return ActiveInputMethod(); }
  void AwaitReadiness() override;
  void Recover() override { portal_.Recover(); }
  void End() override { portal_.End(); }

 private:
  KeyEvents& Way();
  bool UsesPortal();

  SystemLog& log_;
  const bool hasPortal_;
  SessionLayout layout_;
  PortalKeyEvents portal_;
  WaylandKeyEvents keyboard_;
  UinputKeyEvents uinput_;

  std::mutex mutex_;                // guards usesPortal_
  std::optional<bool> usesPortal_;  // unset until the first call to UsesPortal

  std::atomic<KeyEvents*> way_ = nullptr;      // the backend in use; null if unknown or the portal
  std::atomic<KeyEvents*> lastWay_ = nullptr;  // the backend that the last Post used
};

}  // namespace quillet::platform::linux_desktop
