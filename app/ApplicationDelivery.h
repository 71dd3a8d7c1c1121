#pragma once

#include <mutex>
#include <string>

#include "app/Platform.h"
#include "base/SharedText.h"
#include "output/KeyTables.h"

namespace quillet {

/// Delivers records to other applications: types or pastes them, and starts applications. Log lines
/// contain names of SyncController functions.
///
/// Deliver: any thread; whole records alternate. Run: any thread. All others: read thread.
class ApplicationDelivery {
 public:
  /// @param platform  provides the clock, key events, pasteboard and applications
  explicit ApplicationDelivery(const Platform& platform) : platform_(platform) {}

  /// Pastes or types a record. Records with non-ASCII characters are not typed.
  void Deliver(const std::string& record, bool paste);

  void SendKeyCode(KeyValue key);  ///< types a key, with Shift if `key` has the Shift bit
  void SendCommandAndV();          ///< types Command-V (Control-V on Linux)

  /// Stores the path in `applicationPath` and starts that application or brings it to the front.
  /// @return true if it is running afterwards
  bool Run(const std::string& application);

  bool IsRunning();  ///< returns true if the application at `applicationPath` is running

  SharedText applicationPath;  ///< path last passed to Run; initially empty

 private:
  void Paste(const std::string& record);

  const Platform platform_;
  std::mutex delivering_;  // held while a record is typed or pasted
};

}  // namespace quillet
