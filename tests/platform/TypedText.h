#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <string>

struct xkb_context;
struct xkb_keymap;

namespace quillet::test {

/// An X client with a window that has focus. Like a toolkit, it translates keys with a copy of the
/// server's keymap and reads the keymap again after each change.
class TypedText {
 public:
  TypedText();
  ~TypedText();
  TypedText(const TypedText&) = delete;
  TypedText& operator=(const TypedText&) = delete;

  /// Handles pending events, then returns all text received so far.
  const std::string& Text();

  /// Waits until the text is `expected`. @return the text
  std::string WaitFor(const std::string& expected);

  int Group();                ///< returns the server's current group
  void LockGroup(int group);  ///< changes the server's current group

  int LockedModifiers();              ///< mask of real modifiers: 2 is Caps Lock, 16 is Num Lock
  void LockModifiers(int modifiers);  ///< locks exactly these modifiers

  /// Turns accessibility settings on or off.
  /// @param controls  mask of XCB_XKB_BOOL_CTRL_* values, such as XCB_XKB_BOOL_CTRL_SLOW_KEYS
  void SetControls(std::uint32_t controls, bool on);

  int KeysDown();  ///< returns the number of keys that are down

  /// Returns the Control-V and Shift-Insert strokes received so far, as "^V" and "^I".
  const std::string& Shortcuts() const { return shortcuts_; }

 private:
  void ReadKeymap();
  void Take(const xcb_key_press_event_t& event);

  xcb_connection_t* const xcb_;
  xkb_context* const context_;
  xkb_keymap* keymap_ = nullptr;
  std::uint8_t keyboardEvent_ = 0;
  std::string text_;
  std::string shortcuts_;
};

}  // namespace quillet::test
