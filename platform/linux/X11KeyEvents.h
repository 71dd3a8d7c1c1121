#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/SystemLog.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {

class X11KeySequence;
class X11Keyboard;
class X11OwnedProperty;
class X11SpareKeys;
struct X11KeyboardState;

/// Posts key events through the X server's XTEST extension. Uses a separate connection, opened by
/// the first call and reopened after the server has exited. Any thread.
///
/// Searches all groups of the server's keymap for the keys that type a character. Binds characters
/// without a key to key codes that have no symbols. Before sending keys, releases the keys that the
/// user holds. Changes locks, latches and the group in order to type. Afterwards, restores them and
/// presses the user's modifier keys again.
class X11KeyEvents final : public KeyEvents {
 public:
  /// @param log    receives one line if the server cannot be reached or has no XTEST extension;
  ///               must outlive this object
  /// @param clock  used for pauses; must outlive this object
  /// @param ownKeys  X11OwnKeys::window; if 0, the program's windows treat the keys as the user's
  X11KeyEvents(SystemLog& log, Clock& clock, std::uint32_t ownKeys = 0);
  ~X11KeyEvents() override;

  /// Sends all events without waiting for applications to process them. Pauses 0.1 s after each
  /// change of the keymap, so that applications read the new keymap before they receive the keys.
  void Post(std::span<const KeyEvent> events) override;
  std::string Untypable(std::string_view text) override;
  void Prepare() override;
  /// Restores the keymap, group and locks. If there is nothing to restore, takes only a few round
  /// trips to the server.
  void Recover() override;
  void End() override;
  std::string Problem() override;
  std::string InputMethod() override;

 private:
  bool Connect();
  void Forget();
  void RestoreAbandoned();
  bool Fail(const char* reason);
  bool PostSome(std::span<const KeyEvent>& events);
  bool BindFirst(std::span<const KeyEvent> events, const X11KeyboardState& state);
  bool Bind(std::span<const KeyEvent> events, const X11KeyboardState& state);
  void Unbind();
  void RestoreLocks(const std::vector<std::uint32_t>& mark);
  void Mark(const X11KeySequence& sequence);
  void Unmark();
  bool SendSome(std::span<const KeyEvent>& events, const X11KeyboardState& expected);
  void Send(const X11KeySequence& sequence);
  void ReleaseUnheld(std::vector<std::uint8_t> codes, const X11KeyboardState& before);

  Clock& clock_;
  const std::uint32_t ownKeys_;
  std::atomic<bool> ended_ = false;
  std::mutex mutex_;  // guards the members below
  TypingFailure failure_;
  std::unique_ptr<X11Keyboard> keyboard_;
  std::unique_ptr<X11SpareKeys> spare_;
  // The property exists while a record is being typed and while pressedAgain_ is not empty.
  std::unique_ptr<X11OwnedProperty> typing_;
  std::vector<std::uint32_t> mark_;         // value of the property if it exists, else empty
  bool hasBound_ = false;                   // BindFirst is done for the current record
  bool isBindingNew_ = false;               // no key has been sent since the last binding
  std::vector<std::uint8_t> pressedAgain_;  // keys held by the user, pressed again with XTEST
  std::chrono::nanoseconds lastKey_{};      // time at which the last keys were sent
};

}  // namespace quillet::platform::linux_desktop
