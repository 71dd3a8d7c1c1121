#pragma once

#include <functional>
#include <memory>

#include "platform/DescriptorWatch.h"

namespace quillet::platform::qt {

/// Watches descriptors with Qt's main loop. Main thread only; needs an application object.
class QtDescriptorWatcher final : public DescriptorWatcher {
 public:
  std::unique_ptr<DescriptorWatch> Watch(int descriptor, std::function<void()> ready) override;
};

}  // namespace quillet::platform::qt
