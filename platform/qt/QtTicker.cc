#include "platform/qt/QtTicker.h"

#include <utility>

namespace quillet::platform::qt {

using std::chrono::steady_clock;

QtTicker::QtTicker() {
  QObject::connect(&timer_, &QTimer::timeout, [this] { Tick(); });
}

void QtTicker::Start(std::chrono::milliseconds period, std::function<void(Time)> action) {
  action_ = std::move(action);
  timer_.start(period);
}

void QtTicker::Stop() {
  timer_.stop();
}

void QtTicker::Tick() {
  const auto action = action_;  // may be replaced by itself
  if (action) action(std::chrono::duration_cast<Time>(steady_clock::now().time_since_epoch()));
}

}  // namespace quillet::platform::qt
