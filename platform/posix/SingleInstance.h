#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/UniqueFd.h"
#include "platform/DescriptorWatch.h"

namespace quillet::platform::posix {

/// Keeps a user from running the program twice on the same display: a second process passes a
/// request to the running instance. The running instance holds a lock on a file (flock(2)), which
/// the system releases when the process ends or executes another program. It receives requests over
/// a Unix socket next to that file. Both are in $XDG_RUNTIME_DIR (freedesktop.org, XDG Base
/// Directory). If the variable is not set or the folder is not private, both are in the private
/// folder /tmp/quillet-UID.
///
/// Main thread only.
class SingleInstance {
 public:
  /// @param display  name of the display; if empty, any number of instances may run
  explicit SingleInstance(std::string_view display);

  /// Takes the lock. If another instance holds the lock, passes the request to that instance and
  /// waits up to 1 s until the request has been handled. A busy instance handles the request later.
  /// Also returns true if the system refuses the lock, or if the other instance does not accept the
  /// request within 1 s.
  /// @param request  at most 4096 bytes
  /// @return true if this process must run, false if another instance has received the request
  bool Begin(std::string_view request);

  /// Calls a function with each request. Call once, after Begin has returned true.
  /// @param watcher  must outlive this object
  /// @param handle   receives the request; also called from nested main loops
  void Listen(DescriptorWatcher& watcher, std::function<void(const std::string&)> handle);

  /// Stops receiving requests and releases the lock, so that another process can take the lock.
  void End();

 private:
  enum class Delivery { kReceived, kNoInstance };

  bool Lock();
  void OpenSocket();
  Delivery Pass(std::string_view request, int milliseconds) const;
  void Receive(const std::function<void(const std::string&)>& handle);

  const std::string lockPath_;  // empty if there is no display or no private folder
  const std::string socketPath_;
  UniqueFd lock_;
  UniqueFd listener_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace quillet::platform::posix
