#pragma once

#include <QTimer>
#include <functional>

#include "platform/Ticker.h"

namespace quillet::platform::qt {

/// A timer of Qt's main loop as the program's Ticker. Main thread only.
class QtTicker final : public Ticker {
 public:
  QtTicker();

  void Start(std::chrono::milliseconds period, std::function<void()> action) override;
  void Stop() override;

 private:
  void Tick();

  QTimer timer_;
  std::function<void()> action_;
};

}  // namespace quillet::platform::qt
