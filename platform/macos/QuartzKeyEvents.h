#pragma once

#include <atomic>
#include <string>

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"
#include "platform/OwnKeys.h"

namespace quillet::platform::macos {

/// Posts key events through Quartz event services to the application that has focus.
///
/// A modifier is a flag of the key-down event, not a key. The key-down event of a printable
/// character also contains the character, so that programs receive it with any keyboard layout
/// (Apple, Quartz Event Services, CGEventKeyboardSetUnicodeString). Programs that read key codes
/// still require the US layout.
///
/// macOS delivers the events only with the user's permission (System Settings, Privacy & Security,
/// Accessibility). If the permission is missing, the first Prepare triggers the system's permission
/// prompt, and the first Post logs a message. Events are posted anyway, because the user may grant
/// the permission at any time.
class QuartzKeyEvents final : public KeyEvents {
 public:
  /// @param log  receives the message about the missing permission; must outlive this object
  explicit QuartzKeyEvents(SystemLog& log) : log_(log) {}

  void Post(std::span<const KeyEvent> events) override;
  void Prepare() override;
  std::string Problem() override;

 private:
  void LogMissingPermission();

  SystemLog& log_;
  std::atomic<bool> hasAsked_ = false;
  bool hasLogged_ = false;
};

/// Recognizes the events of QuartzKeyEvents by their user data.
class QuartzOwnKeys final : public OwnKeys {
 public:
  /// @param event  an NSEvent
  bool IsOwnEvent(const void* event) override;
  bool IsOwnKey(const WindowKey&) override { return false; }
};

}  // namespace quillet::platform::macos
