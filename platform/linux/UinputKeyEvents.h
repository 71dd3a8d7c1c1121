#pragma once

#include <cstddef>
#include <functional>
#include <optional>

#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/SystemLog.h"
#include "platform/posix/Descriptor.h"

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
/// the keyboard's Caps Lock, the letters' Shift is turned round.
///
/// One thread at a time.
class UinputKeyEvents final : public KeyEvents {
 public:
  using MakeKeyboard = std::function<int()>;

  /// @param log    told once of a system that refuses; it outlives this object
  /// @param clock  for the pauses; it outlives this object
  /// @param make   makes the keyboard, as MakeVirtualKeyboard does
  UinputKeyEvents(
      SystemLog& log, Clock& clock,
      MakeKeyboard make = [] { return MakeVirtualKeyboard("/dev/uinput"); });

  /// Pauses after every so many keys, not behind each: the kernel keeps a limited number of events
  /// for a desktop that has not come to read them, and drops the next.
  void Post(std::span<const KeyEvent> events) override;

 private:
  bool HaveKeyboard();
  void ReadLights();
  void LetTheDesktopRead(std::size_t count);
  void Complain(int error);

  SystemLog& log_;
  Clock& clock_;
  const MakeKeyboard make_;
  std::optional<posix::Descriptor> keyboard_;
  bool complained_ = false;
  bool capsLock_ = false;
  std::size_t unread_ = 0;  // events since the last pause
};

}  // namespace quillet::platform::linux_desktop
