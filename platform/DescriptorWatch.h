#pragma once

#include <functional>
#include <memory>

namespace quillet::platform {

/// A watch on a file descriptor. Its destructor ends the watch, even if called from the watch's
/// action. Destroy it before closing the descriptor. Main thread only.
class DescriptorWatch {
 public:
  virtual ~DescriptorWatch() = default;
};

/// Watches file descriptors from the main loop. Main thread only.
class DescriptorWatcher {
 public:
  virtual ~DescriptorWatcher() = default;

  /// Calls `ready` on the main thread repeatedly while a read would not block (data, end of file or
  /// an error). `ready` must read the descriptor to stop the calls.
  /// @param descriptor  an open descriptor; stays owned by the caller
  /// @param ready       called until the watch is destroyed
  /// @return the watch, never null
  virtual std::unique_ptr<DescriptorWatch> Watch(int descriptor, std::function<void()> ready) = 0;
};

}  // namespace quillet::platform
