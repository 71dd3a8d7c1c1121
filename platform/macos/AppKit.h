#pragma once

#include "platform/Pasteboard.h"
#include "platform/Workspace.h"
#include "platform/macos/ObjectiveC.h"

namespace quillet::platform::macos {

/// The general pasteboard of macOS. The text is there when a call returns, whichever thread makes
/// it; nothing waits for the main thread. One thread at a time.
class GeneralPasteboard final : public Pasteboard {
 public:
  GeneralPasteboard();
  ~GeneralPasteboard() override;
  GeneralPasteboard(const GeneralPasteboard&) = delete;
  GeneralPasteboard& operator=(const GeneralPasteboard&) = delete;

  bool SetString(std::string_view text) override;

 private:
  /// Whom the pasteboard takes for the owner of what is on it. It would be asked for data that was
  /// promised; nothing is, since the text is put there at once.
  const id owner_;
};

/// The application object that this process shares with the toolkit. Main thread only, once the
/// toolkit has made it.
class SharedApplication final : public Workspace {
 public:
  /// Since macOS 14 the system takes this as a request and may leave another application in front.
  void ActivateIgnoringOtherApps() override;
};

}  // namespace quillet::platform::macos
