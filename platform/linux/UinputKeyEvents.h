#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>

#include "base/SystemLog.h"
#include "base/UniqueFd.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/TypingFailure.h"

namespace quillet::platform::linux_desktop {

/// Makes a virtual keyboard with the keys that ToKeyStrokes needs, and a Caps Lock light
/// (kernel: Documentation/input/uinput.rst).
/// @param path  the device that makes devices, /dev/uinput
/// @return the descriptor on which its events are written, close-on-exec and never waiting; -1
///         with errno when the system refuses
int MakeVirtualKeyboard(const char* path);

/// Key events by a virtual keyboard, for desktops that let no program type into another one.
///
/// The keyboard is made when it is first needed, and the desktop gets a while then to notice it.
/// What its keys type is the desktop's layout, which has to be the US one. While the desktop lights
/// the keyboard's Caps Lock, the letters' Shift is turned round. A keyboard that fails is given up,
/// whereby the system lets go of its keys, and made anew at the next key.
///
/// One thread at a time.
class UinputKeyEvents final : public KeyEvents {
 public:
  using MakeKeyboard = std::function<int()>;
  using Time = std::chrono::steady_clock::time_point;

  /// @param log    told once of a system that refuses; it outlives this object
  /// @param clock  for the pauses; it outlives this object
  /// @param make   makes the keyboard, as MakeVirtualKeyboard does
  /// @param now    a clock that goes on steadily
  UinputKeyEvents(
      SystemLog& log, Clock& clock,
      MakeKeyboard make = [] { return MakeVirtualKeyboard("/dev/uinput"); },
      std::function<Time()> now = std::chrono::steady_clock::now);

  /// Pauses when keys have come faster for a while than a busy desktop may read them, and not
  /// behind each: the kernel keeps a limited number of events for a desktop that has not come to
  /// read them, and drops the next. About 24 characters leave at once, more at 320 in a second.
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
  const std::function<Time()> now_;
  TypingFailure failure_;
  std::optional<UniqueFd> keyboard_;
  bool capsLock_ = false;
  Time allRead_{};  // when a desktop that reads at the steady rate has read what was written
};

}  // namespace quillet::platform::linux_desktop
