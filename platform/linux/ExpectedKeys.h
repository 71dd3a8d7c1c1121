#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {

/// Used in place of a key code if the desktop chooses the key.
inline constexpr std::uint16_t kAnyKey = 0;

/// Keystrokes that this program has sent but its windows have not received yet. Strokes that
/// another program receives are forgotten after a minute or 4096 newer strokes. One thread at a
/// time.
///
/// Times are in milliseconds. They may wrap around.
class ExpectedKeys {
 public:
  /// Adds a stroke that is about to be sent.
  /// @param stroke    the stroke
  /// @param earliest  earliest time at which the stroke can occur, if known
  void Add(KeyStroke stroke, std::optional<std::uint32_t> earliest = {});

  /// Sets the latest time at which the strokes added so far may have occurred.
  void SetLatest(std::uint32_t latest);

  /// Removes the oldest stroke that could have occurred at `time` and either equals `stroke` or has
  /// kAnyKey and the same direction.
  /// @return false if there is none
  bool Take(KeyStroke stroke, std::uint32_t time);

 private:
  struct Expected {
    KeyStroke stroke;
    std::optional<std::uint32_t> earliest;
    std::optional<std::uint32_t> latest;
  };

  std::deque<Expected> expected_;
};

}  // namespace quillet::platform::linux_desktop
