#pragma once

#include "platform/Pasteboard.h"
#include "platform/Workspace.h"
#include "platform/macos/ObjectiveC.h"

namespace quillet::platform::macos {

/// The general pasteboard of macOS. Any thread, one at a time. Never waits for the main thread.
class GeneralPasteboard final : public Pasteboard {
 public:
  GeneralPasteboard() : owner_(Send<id>(Send<id>(ClassNamed("NSObject"), "alloc"), "init")) {}
  ~GeneralPasteboard() override { Send<void>(owner_, "release"); }
  GeneralPasteboard(const GeneralPasteboard&) = delete;
  GeneralPasteboard& operator=(const GeneralPasteboard&) = delete;

  bool SetString(std::string_view text) override;

 private:
  const id owner_;  // owner of the contents, which declareTypes:owner: requires
};

/// The shared NSApplication object, which the toolkit must have created. Main thread only.
class SharedApplication final : public Workspace {
 public:
  /// Since macOS 14, this is only a request that the system may ignore.
  void ActivateIgnoringOtherApps() override;
  bool IsActive() override;
  void ShowInFolder(const std::string& path) override;
  void OpenFile(const std::string& path) override;
};

}  // namespace quillet::platform::macos
