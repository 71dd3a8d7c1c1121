#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

#include "base/SystemLog.h"
#include "base/UniqueFd.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {

/// Makes a virtual keyboard with the keys that ToKeyStrokes needs, and a Caps Lock light
/// (kernel: Documentation/input/uinput.rst).
/// @param path  the device that makes devices, /dev/uinput
/// @return the descriptor on which its events are written, close-on-exec and never waiting; -1
///         with errno when the system refuses
int MakeVirtualKeyboard(const char* path);

/// Key events by a virtual keyboard, for desktops that let no program type into another one.
///
/// The keyboard is created when it is first needed; the desktop then gets 1.5 s to notice it. The
/// desktop's layout has to be the US one. While the desktop lights the keyboard's Caps Lock, the
/// Shift of letters is inverted. A keyboard that fails is closed, which releases its keys, and
/// created again at the next key. One thread at a time.
class UinputKeyEvents final : public KeyEvents {
 public:
  using MakeKeyboard = std::function<int()>;

  /// @param log    receives one line if the system refuses; it outlives this object
  /// @param clock  for the pauses; it outlives this object
  /// @param make   creates the keyboard, as MakeVirtualKeyboard does
  UinputKeyEvents(
      SystemLog& log, Clock& clock,
      MakeKeyboard make = [] { return MakeVirtualKeyboard("/dev/uinput"); });

  /// Pauses when keys are posted faster than a busy desktop may read them: the kernel keeps a
  /// limited number of unread events and drops the next. About 24 characters are sent at once, more
  /// at 320 per second.
  void Post(std::span<const KeyEvent> events) override;

 private:
  class Report;

  bool HaveKeyboard();
  void ReadLights();
  void Write(const Report& report);
  void LetTheDesktopRead(std::size_t count);
  void GiveUpKeyboard(int error);

  Clock& clock_;
  const MakeKeyboard make_;
  TypingFailure failure_;
  std::optional<UniqueFd> keyboard_;
  bool capsLock_ = false;
  // When a desktop that reads at the steady rate has read what was written.
  std::chrono::nanoseconds allRead_{};
};

}  // namespace quillet::platform::linux_desktop
