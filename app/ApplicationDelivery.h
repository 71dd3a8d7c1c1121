#pragma once

#include <string>

#include "app/Platform.h"
#include "base/SharedText.h"
#include "output/KeyTables.h"

namespace quillet {

/// Delivers records into other applications: types or pastes them, and starts applications. It logs
/// under the name of the controller, whose operations these are.
///
/// Read thread; Run also on the thread that begins a run.
class ApplicationDelivery {
 public:
  /// @param platform  its clock, keys, pasteboard and applications are used
  explicit ApplicationDelivery(const Platform& platform) : platform_(platform) {}

  /// Types a record, or pastes it. A record with a character outside ASCII is not typed.
  void Deliver(const std::string& record, bool paste);

  /// Presses and releases a key, with Shift if its bit is set.
  void SendKeyCode(KeyValue key);

  /// Presses the key for pasting: V with Command, which is Control where there is no Command.
  void SendCommandAndV();

  /// Starts an application, or brings it to the front, and remembers it in `applicationPath`.
  /// @return whether it was seen running.
  bool Run(const std::string& application);

  /// Whether `applicationPath` is among the running applications.
  bool IsRunning();

  SharedText applicationPath;  ///< the last application, empty at first

 private:
  void Paste(const std::string& record);

  const Platform platform_;
};

}  // namespace quillet
