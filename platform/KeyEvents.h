#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace quillet::platform {

/// The modifier of a key-down event.
enum class KeyFlag { kNone, kShift, kCommand };

/// A synthetic keyboard event.
struct KeyEvent {
  std::uint16_t virtualKey = 0;   ///< ANSI virtual key code: 0 is A, 36 Return, 48 Tab, 49 Space
  bool down = false;              ///< true for key-down, false for key-up
  KeyFlag flag = KeyFlag::kNone;  ///< modifier; key-down events only
  char character = 0;             ///< ASCII character to type, or the letter of a Command shortcut
  bool operator==(const KeyEvent&) const = default;  ///< compares all members
};

/// Posts keyboard events to the application that has focus.
class KeyEvents {
 public:
  virtual ~KeyEvents() = default;

  /// Posts the events in order. A backend may pause if the system cannot accept more events. Any
  /// thread, one at a time. Post a record in a single call: some backends send it as a whole.
  ///
  /// If the system refuses or does not support synthetic events, the backend logs this failure once
  /// and drops the events.
  ///
  /// For a key-down with a flag, Linux backends press the modifier key, press the key, and release
  /// the modifier key. They use Control for Command. If Caps Lock is known to be on, they type the
  /// same characters as without Caps Lock, and leave Caps Lock on.
  virtual void Post(std::span<const KeyEvent> events) = 0;

  /// Returns the characters of `text` that cannot be typed now, without duplicates. Call it before
  /// typing a record, so that no record is typed partially. Same threads as Post.
  /// @param text  ASCII characters that will be passed to Post
  virtual std::string Untypable([[maybe_unused]] std::string_view text) { return {}; }

  /// Returns the name of an active input method that may change the typed text, such as "libpinyin
  /// (IBus)". Returns an empty string if none is known. Takes up to 0.4 s. Same threads as Post.
  virtual std::string InputMethod() { return {}; }

  /// Gets ready to type, for example by asking the user for permission. Returns without waiting for
  /// the answer. Call it when the user chooses a destination that requires typing. Any thread.
  virtual void Prepare() {}

  /// Sets the function to call after Prepare, whenever the object determines whether keys can be
  /// typed. Call OnReadiness at most once, before Prepare.
  /// @param changed  receives the reason why keys cannot be typed, as in Problem, or an empty
  ///                 string. Called on any thread. Must not call this object.
  virtual void OnReadiness(
      [[maybe_unused]] const std::function<void(const std::string& problem)>& changed) {}

  /// After Prepare, waits until it is known whether keys can be typed. Waits no longer than Post
  /// would. The next Post then does not wait. Any thread, even while another thread is in Post.
  virtual void AwaitReadiness() {}

  /// Undoes changes to the system that an earlier process left behind when it was killed. Requests
  /// no permission. Call it once at the start, before the other functions, even if no records will
  /// be typed. Any thread.
  virtual void Recover() {}

  /// Undoes the backend's changes to the system. Post then drops all events. May take up to 1.2 s.
  /// Call it when the process ends. Any thread, even while another thread is in Post.
  virtual void End() {}

  /// Returns the reason why the last Post dropped its events, as a sentence fragment. Returns an
  /// empty string if the system accepted the events. Same threads as Post.
  virtual std::string Problem() { return {}; }
};

}  // namespace quillet::platform
