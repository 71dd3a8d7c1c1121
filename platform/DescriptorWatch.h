#pragma once

#include <functional>
#include <memory>

namespace quillet::platform {

/// A watch over one file descriptor. Destroying it ends the watch: its action is not called
/// again, also when it is destroyed within that action. Main thread only. The descriptor stays
/// the caller's, who destroys the watch before closing it.
class DescriptorWatch {
 public:
  virtual ~DescriptorWatch() = default;
};

/// The main loop's service of watching file descriptors. Main thread only.
class DescriptorWatcher {
 public:
  virtual ~DescriptorWatcher() = default;

  /// Calls `ready` from the main loop, on the main thread, whenever a read of the descriptor
  /// would not block (data, end of file or an error), and again as long as that stays so: the
  /// action reads what is there.
  /// @param descriptor  an open descriptor
  /// @param ready       called as long as the watch lives
  /// @return the watch, never null
  virtual std::unique_ptr<DescriptorWatch> Watch(int descriptor, std::function<void()> ready) = 0;
};

}  // namespace quillet::platform
