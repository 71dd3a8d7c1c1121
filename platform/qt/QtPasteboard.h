#pragma once

#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"

namespace quillet::platform::qt {

/// The clipboard by Qt, which lets the main thread only use it.
///
/// A call from another thread waits until the main thread has come to it, at most two seconds, and
/// no longer than the main loop runs: work that the queue drops ends the wait at once. A text that
/// was given up is not put there later. The main thread waits for nobody, so neither can wait for
/// the other.
class QtPasteboard final : public Pasteboard {
 public:
  /// @param queue  the main thread's queue; it outlives this object
  explicit QtPasteboard(MainQueue& queue) : queue_(queue) {}

  bool SetString(std::string_view text) override;

 private:
  MainQueue& queue_;
};

}  // namespace quillet::platform::qt
