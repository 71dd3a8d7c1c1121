#pragma once

#include <wayland-server-core.h>
#include <xkbcommon/xkbcommon.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"

namespace quillet::test {

/// A Wayland compositor with a seat and virtual keyboards. It has no screen and serves only the
/// test. The constructor sets XDG_RUNTIME_DIR and WAYLAND_DISPLAY.
class Compositor {
 public:
  /// A key event that a virtual keyboard sent.
  struct Key {
    std::uint32_t time;  ///< milliseconds
    std::uint32_t code;  ///< evdev code
    bool down;
    std::uint32_t modifiers;  ///< mask of the modifiers that are down
    std::string text;         ///< text that the keymap assigns to a press; empty for a release
  };

  /// @param offersKeyboards  whether clients can create virtual keyboards
  /// @param layouts          XKB layouts of the user's keyboard, separated by commas
  /// @param reportsKeyStates whether org_kde_kwin_keystate is offered
  explicit Compositor(bool offersKeyboards = true, std::string layouts = "us",
                      bool reportsKeyStates = false);
  ~Compositor();

  std::vector<Key> keys() const;      ///< all key events so far
  std::string text() const;           ///< the text typed so far
  void Stop() { isStopped_ = true; }  ///< stops responding until Continue
  void Continue() { isStopped_ = false; }

  /// Sets the state that is reported to clients for a key.
  /// @param key    platform::linux_desktop::KeyStateKey
  /// @param state  see platform::linux_desktop::kStateChanged
  void SetKeyState(std::uint32_t key, std::uint32_t state);

  void Disconnect();  ///< ends the connections of all clients

 private:
  struct Protocol;
  friend Protocol;

  void Run();

  const TemporaryFolder folder_;
  const Variable runtime_{"XDG_RUNTIME_DIR", folder_.path()};
  const Variable socket_{"WAYLAND_DISPLAY", "wayland-test"};
  const std::string layouts_;
  wl_display* const display_;
  xkb_context* const xkb_;
  std::atomic<bool> isEnding_ = false;
  std::atomic<bool> disconnects_ = false;
  std::atomic<bool> isStopped_ = false;

  mutable std::mutex mutex_;  // guards the members below
  std::vector<Key> keys_;
  xkb_keymap* keymap_ = nullptr;
  std::uint32_t modifiers_ = 0;
  std::map<std::uint32_t, std::uint32_t> keyStates_;

  std::thread thread_;
};

}  // namespace quillet::test
