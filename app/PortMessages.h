#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "app/BackgroundWork.h"
#include "app/Platform.h"
#include "app/PortTable.h"
#include "app/StatusStrip.h"

namespace quillet {

/// Shows in the status strip why an attempt to connect has failed.
class PortMessages {
 public:
  /// All references must outlive this object.
  /// @param platform  provides the clipboard, and the registry to find the cause of a failure
  /// @param ports     the ports that are present
  /// @param strip     shows the messages
  /// @param tryAgain  starts another attempt to connect; main thread
  PortMessages(const Platform& platform, const PortTable& ports, StatusStrip& strip,
               std::function<void()> tryAgain);

  ///@{ Queues a message. Any thread; returns immediately.
  void NotOpened(const std::string& path);      ///< the port cannot be opened
  void Silent(const std::string& path);         ///< the scanner did not answer
  void NoThread(const std::string& path = {});  ///< no thread could be started; `path` may be empty
  ///@}

  void Withdraw();         ///< queues the removal of all messages; any thread, returns immediately
  void WithdrawRemoved();  ///< removes the messages about ports that have been removed; main thread

 private:
  void Inspect(const std::string& path);
  void Show(const std::string& path, const platform::PortObstacle& obstacle);
  void ShowDenied(const std::string& path, const platform::PortObstacle& obstacle);
  void Raise(Notice notice, const std::string& path, const std::string& text,
             std::vector<StripAction> actions);
  StripAction TryAgain() const { return {"Try again", tryAgain_}; }
  StripAction Copy(const std::string& command) const;

  const Platform& platform_;
  const PortTable& ports_;
  StatusStrip& strip_;
  const std::function<void()> tryAgain_;
  BackgroundWork inspections_;  // in the background: looking up user accounts can take minutes

  // Main thread only.
  std::map<Notice, std::string> paths_;  // path of the port that a message is about, or empty
  int withdrawals_ = 0;
};

}  // namespace quillet
