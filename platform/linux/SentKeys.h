#pragma once

#include <chrono>
#include <mutex>
#include <span>
#include <vector>

#include "platform/OwnKeys.h"
#include "platform/linux/ExpectedKeys.h"
#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {

/// Recognizes key events that this program sent on Wayland. A client cannot tell which keyboard an
/// event comes from. Each event carries the time when it was sent. The kernel sets this time if
/// uinput is used; otherwise, this program sets it. Compositors pass the time on (libinput,
/// libinput_event_keyboard_get_time). A key event is therefore recognized by its code, direction
/// and time.
///
/// Recognizes no events if the compositor uses a clock other than the monotonic clock.
class SentKeys final : public OwnKeys {
 public:
  /// @param delay  maximum time between the write and the time stamp of the event
  explicit SentKeys(std::chrono::milliseconds delay) : delay_(delay) {}

  /// Call before writing. BeginWrite and EndWrite may be called on any thread, but only on one
  /// thread at a time.
  /// @param strokes  strokes to be written
  /// @param now      current monotonic time (clock_gettime(2), CLOCK_MONOTONIC)
  void BeginWrite(std::span<const KeyStroke> strokes, std::chrono::nanoseconds now);

  void EndWrite(std::chrono::nanoseconds now);  ///< call after writing; `now` as in BeginWrite

  bool IsOwnEvent(const void*) override { return false; }
  bool IsOwnKey(const WindowKey& key) override;

 private:
  const std::chrono::milliseconds delay_;
  std::mutex mutex_;  // guards expected_
  ExpectedKeys expected_;
  std::vector<std::uint16_t> held_;  // codes of recognized keys that are down; main thread
};

}  // namespace quillet::platform::linux_desktop
