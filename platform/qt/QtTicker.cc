#include "platform/qt/QtTicker.h"

#include <utility>

namespace quillet::platform::qt {

QtTicker::QtTicker() {
  QObject::connect(&timer_, &QTimer::timeout, [this] { Tick(); });
}

void QtTicker::Start(std::chrono::milliseconds period, std::function<void()> action) {
  action_ = std::move(action);
  timer_.start(period);
}

void QtTicker::Stop() {
  timer_.stop();
}

void QtTicker::Tick() {
  const auto action = action_;  // may be replaced by itself
  if (action) action();
}

}  // namespace quillet::platform::qt
