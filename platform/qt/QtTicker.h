#pragma once

#include <QTimer>
#include <utility>

#include "platform/Ticker.h"

namespace quillet::platform::qt {

/// A Ticker that uses a timer of Qt's main loop. Main thread only.
class QtTicker final : public Ticker {
 public:
  void Start(std::chrono::milliseconds period, std::function<void()> action) override {
    timer_.disconnect();
    QObject::connect(&timer_, &QTimer::timeout, std::move(action));
    timer_.start(period);
  }
  void Stop() override { timer_.stop(); }

 private:
  QTimer timer_;
};

}  // namespace quillet::platform::qt
