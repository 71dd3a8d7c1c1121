#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/SystemLog.h"
#include "base/UniqueFd.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"
#include "platform/linux/Pace.h"
#include "platform/linux/SentKeys.h"
#include "platform/linux/SessionLayout.h"

struct input_event;

namespace quillet::platform::linux_desktop {

/// Returns the reason why a device cannot be opened for typing, as in KeyEvents::Problem, or an
/// empty string. Creates no keyboard. Any thread.
/// @param path  the uinput device, /dev/uinput
std::string UinputProblem(const char* path);

/// Creates a virtual keyboard with the keys that ToKeyStrokes uses and a Caps Lock LED (kernel
/// documentation, input/uinput.rst).
/// @param path  the uinput device, /dev/uinput
/// @return a non-blocking, close-on-exec descriptor for writing events; -1 with errno on failure
int MakeVirtualKeyboard(const char* path);

/// Posts key events through a virtual keyboard, on Wayland desktops. One thread at a time.
///
/// The first Post creates the keyboard and waits 1.5 s for the desktop to detect it. If the layout
/// of the desktop is unknown, assumes the US layout. While the Caps Lock LED is on, Shift is
/// inverted for letters. A write error closes the keyboard, which releases its keys; the next Post
/// creates a new one.
class UinputKeyEvents final : public KeyEvents {
 public:
  using MakeKeyboard = std::function<int()>;

  /// @param log    receives one line if keys cannot be typed; must outlive this object
  /// @param clock  used for pauses; Now must use the monotonic clock; must outlive this object
  /// @param sent   notified of the strokes that are written; must outlive this object
  /// @param make   creates the keyboard; has the same contract as MakeVirtualKeyboard
  /// @param layout the layout of the desktop, or null; must outlive this object
  UinputKeyEvents(
      SystemLog& log, Clock& clock, SentKeys& sent,
      MakeKeyboard make = [] { return MakeVirtualKeyboard("/dev/uinput"); },
      SessionLayout* layout = nullptr);

  /// Sends about 24 characters immediately and the rest at 320 per second. The kernel drops events
  /// if the desktop does not read them fast enough.
  void Post(std::span<const KeyEvent> events) override;
  std::string Untypable(std::string_view text) override;
  std::string Problem() override { return failure_.Reason(); }

 private:
  bool HaveKeyboard();
  void ReadLights();
  std::vector<KeyStroke> StrokesFor(std::span<const KeyEvent> events);
  void Write(std::span<const KeyStroke> strokes);
  void GiveUpKeyboard(int error);

  Clock& clock_;
  SentKeys& sent_;
  const MakeKeyboard make_;
  SessionLayout* const layout_;
  TypingFailure failure_;
  std::optional<UniqueFd> keyboard_;
  bool capsLock_ = false;
  Pace pace_;
};

}  // namespace quillet::platform::linux_desktop
