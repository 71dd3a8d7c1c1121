#pragma once

#include <poll.h>

#include <functional>
#include <memory>
#include <utility>

#include "platform/DescriptorWatch.h"

namespace quillet::test {

/// Watches one descriptor. Run() acts as the main loop.
class OneWatch final : public platform::DescriptorWatcher {
 public:
  std::unique_ptr<platform::DescriptorWatch> Watch(int descriptor,
                                                   std::function<void()> ready) override {
    descriptor_ = descriptor;
    ready_ = std::move(ready);
    return std::make_unique<platform::DescriptorWatch>();
  }

  /// Calls the callback if the descriptor becomes readable within `limit` milliseconds.
  void Run(int limit) {
    pollfd polled{descriptor_, POLLIN, 0};
    while (poll(&polled, 1, limit) < 0) continue;
    if (polled.revents != 0) ready_();
  }

 private:
  int descriptor_ = -1;
  std::function<void()> ready_;
};

}  // namespace quillet::test
