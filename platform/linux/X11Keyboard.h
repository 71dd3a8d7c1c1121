#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/KeymapSearch.h"
#include "platform/linux/Xcb.h"

struct xkb_context;

namespace quillet::platform::linux_desktop {

/// The modifiers and the group that are locked or latched. The modifiers are real modifiers: Shift
/// is bit 0.
struct X11Locks {
  std::uint8_t lockedModifiers = 0;   ///< for example Lock while Caps Lock is on
  std::uint8_t lockedGroup = 0;       ///< counted from 0
  std::uint8_t latchedModifiers = 0;  ///< in effect until the next key (sticky keys)
  std::uint8_t latchedGroup = 0;      ///< added to the locked group until the next key
  bool operator==(const X11Locks&) const = default;  ///< compares all members
};

/// The state of the X server's keyboard.
struct X11KeyboardState {
  X11Locks locks;                    ///< locks and latches
  std::vector<std::uint8_t> down;    ///< codes of the keys that are down on any device
  std::vector<std::uint8_t> tested;  ///< codes of the keys that are down on the XTEST keyboard
  bool operator==(const X11KeyboardState&) const = default;  ///< compares all members
};

/// A connection to the X server, and the server's keymap. One thread at a time.
///
/// The keymap is that of the XTEST keyboard. This keyboard is a separate device, which can have a
/// different keymap (setxkbmap(1)). The server copies the keymap of the XTEST keyboard to the core
/// keyboard when it receives the first XTEST key event.
class X11Keyboard : public XcbConnection {
 public:
  X11Keyboard();
  ~X11Keyboard();

  bool CanTest() const { return canTest_; }  ///< true if the server has the XTEST extension
  bool HasKeymap() const { return search_ != nullptr; }  ///< true if the keymap can be read
  KeymapSearch& Search() { return *search_; }            ///< call only if HasKeymap returns true
  xcb_connection_t* Xcb() const { return xcb_; }         ///< the connection

  /// Reads the state in one round trip.
  X11KeyboardState ReadState();

  /// Returns true if Slow Keys or Bounce Keys are on. The server then ignores short presses, or
  /// presses in quick succession. Waits for the server's reply.
  bool IgnoresFastKeys();

  /// Reads the keymap again if the server has reported a change. Waits for the server's reply.
  /// @return true if the keymap differs from the previous one or can no longer be read
  bool UpdateKeymap();

  /// Returns true if the server has reported a keymap change since UpdateKeymap.
  bool IsKeymapChanged();

  /// Returns the key codes that have no symbols on any keyboard. Waits for the server's reply.
  std::vector<std::uint32_t> SpareCodes();

  /// Returns those of `codes` whose keys are down on one of the user's keyboards. Waits for the
  /// server's reply.
  std::vector<std::uint8_t> HeldByUser(const std::vector<std::uint8_t>& codes);

  /// Grab queues a request to serve only this connection. Ungrab queues a request to serve all
  /// connections again. Both do nothing if the server is on another computer, because a lost or
  /// slow connection would block that computer's screen.
  void Grab();
  void Ungrab();

  void PutKey(std::uint8_t code, bool down);  ///< queues a key event from the XTEST keyboard

  /// Queues a change to the locks.
  /// @param locks    the new locks
  /// @param latches  true to change the latches, too
  void PutLocks(const X11Locks& locks, bool latches);

 private:
  void FindDevices();
  void ReadDevices();
  void FollowKeymap();
  void SelectEvents(std::uint16_t device);
  void LoadKeymap();

  bool canTest_ = false;
  const bool isLocal_;
  bool hasInput_ = false;            // the server supports the X Input extension
  std::uint8_t keyboardEvent_ = 0;   // event type of XKB; 0 if XKB is not available
  std::uint16_t tester_;             // device ID of the XTEST keyboard
  std::vector<std::uint8_t> users_;  // device IDs of the other keyboards
  bool isChanged_ = false;
  xkb_context* context_ = nullptr;
  std::string text_;  // the keymap as text
  std::unique_ptr<KeymapSearch> search_;
};

}  // namespace quillet::platform::linux_desktop
