#pragma once

#include <functional>
#include <memory>

#include "base/UniqueFd.h"
#include "platform/DescriptorWatch.h"

namespace quillet::platform::posix {

/// Calls a function on the main thread when the process receives SIGTERM, SIGINT or SIGHUP. The
/// function must end the process. If the process is still running 1.5 s after the first signal, it
/// ends with status 1.
///
/// A signal that is ignored when the object is created stays ignored, as nohup(1) requires.
///
/// Create at most one object per process, on the main thread. Do not destroy it while signals may
/// arrive.
class TerminationSignals {
 public:
  /// @param watcher  watches a pipe that the signal handler writes to; must outlive this object
  /// @param end      ends the process; also called from nested main loops
  TerminationSignals(DescriptorWatcher& watcher, std::function<void()> end);
  TerminationSignals(const TerminationSignals&) = delete;
  TerminationSignals& operator=(const TerminationSignals&) = delete;

 private:
  UniqueFd reader_;
  UniqueFd writer_;
  std::unique_ptr<DescriptorWatch> watch_;
};

}  // namespace quillet::platform::posix
