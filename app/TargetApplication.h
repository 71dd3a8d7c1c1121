#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "app/Platform.h"
#include "app/StatusStrip.h"
#include "base/SharedText.h"

namespace quillet {

/// Starts the application that the user chose as the destination. If it cannot be started, shows
/// the reason in the status strip. The log lines name SyncController functions. Any thread.
class TargetApplication {
 public:
  /// @param platform  provides the applications and the log
  /// @param strip     shows the message; must outlive this object
  /// @param choose    lets the user choose another application; main thread
  TargetApplication(const Platform& platform, StatusStrip& strip, std::function<void()> choose)
      : platform_(platform), strip_(strip), choose_(std::move(choose)) {}

  /// Stores the path in `applicationPath` and starts that application or brings it to the front.
  /// @return true if it is running afterwards
  bool Run(const std::string& application);

  bool IsRunning();  ///< returns true if the application at `applicationPath` is running

  /// Shows a message if the destination's application does not exist. Otherwise removes the
  /// message.
  /// @param destination  see Settings
  /// @param application  the path in the settings
  void Check(std::int32_t destination, const std::string& application);

  SharedText applicationPath;  ///< path last passed to Run; initially empty

 private:
  void Show(const std::string& application, const char* problem);

  const Platform platform_;
  StatusStrip& strip_;
  const std::function<void()> choose_;
  std::mutex showing_;   // guards message_
  std::string message_;  // text of the message kTargetMissing
};

}  // namespace quillet
