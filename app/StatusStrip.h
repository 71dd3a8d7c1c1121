#pragma once

#include <string>
#include <string_view>

#include "app/RunProgress.h"
#include "platform/Controls.h"

namespace quillet {

/// The line below the main view. Shows the progress of a run, and otherwise the latest message.
/// Main thread.
class StatusStrip {
 public:
  /// @param display  shows the line; outlives this object
  explicit StatusStrip(platform::ProgressDisplay& display) : display_(display) {}

  void ShowProgress(const RunProgress::Shown& shown);  ///< shows progress until EndProgress
  void EndProgress();                                  ///< shows the latest message, if any

  /// Shows a message until the next one.
  /// @param message  one line of UTF-8; an empty string removes the message
  void ShowMessage(std::string_view message);

 private:
  void ShowLatest();

  platform::ProgressDisplay& display_;
  std::string message_;
  bool inProgress_ = false;
};

}  // namespace quillet
