#pragma once

#include "base/SystemLog.h"
#include "platform/KeyEvents.h"

namespace quillet::platform::macos {

/// Key events by Quartz event services, posted to the application that has the keyboard's focus.
///
/// A modifier is a flag of the key-down and not a key. What a key types is the layout that the user
/// has chosen, which has to be the US one.
///
/// macOS delivers posted events only of an application that the user has allowed to control the
/// computer (System Settings, Privacy & Security, Accessibility). The first Post looks whether that
/// is so and, if not, says so in the log and has the system ask the user. Events are posted all the
/// same: a permission that is given meanwhile is in effect for the next ones.
class QuartzKeyEvents final : public KeyEvents {
 public:
  /// @param log  told once that the permission is missing; it outlives this object
  explicit QuartzKeyEvents(SystemLog& log) : log_(log) {}

  void Post(std::span<const KeyEvent> events) override;

 private:
  void AskForPermission();

  SystemLog& log_;
  bool asked_ = false;
};

}  // namespace quillet::platform::macos
