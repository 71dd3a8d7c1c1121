#pragma once

#include "platform/MainQueue.h"
#include "platform/Pasteboard.h"

namespace quillet::platform::qt {

/// The clipboard, through Qt. Qt allows only the main thread to use it.
///
/// A call from another thread waits until the main thread has set the text, for at most two
/// seconds. If the main queue drops the work, the wait ends at once. After a failure the text is
/// never set.
class QtPasteboard final : public Pasteboard {
 public:
  /// @param queue  the main thread's queue; it outlives this object
  explicit QtPasteboard(MainQueue& queue) : queue_(queue) {}

  bool SetString(std::string_view text) override;

 private:
  MainQueue& queue_;
};

}  // namespace quillet::platform::qt
