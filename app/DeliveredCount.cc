#include "app/DeliveredCount.h"

#include <algorithm>
#include <utility>

namespace quillet {
namespace {

using namespace std::chrono_literals;

// Longest time that the main thread normally takes to handle all keys of a record.
constexpr auto kLatestKey = 1s;

}  // namespace

void DeliveredCount::Reset() {
  areMissed_ = false;
  posted_ = 0;
  missedBefore_ = 0;
}

std::int32_t DeliveredCount::Get() const {
  const std::int32_t missed = areMissed_ ? lastMissed_ - firstMissed_ + 1 : 0;
  return std::max(posted_ - missedBefore_ - missed, 0);
}

bool DeliveredCount::ExcludeLast(Time now) {
  lastIgnored_ = now;
  lastMissed_ = posted_.load();
  if (!areMissed_) firstMissed_ = posted_.load();
  return !areMissed_.exchange(true);
}

bool DeliveredCount::BeginRecord(Time now) {
  const Time previous = std::exchange(lastRecord_, now);
  if (!areMissed_ || previous <= lastIgnored_.load() ||
      previous - lastIgnored_.load() <= kLatestKey) {
    return false;
  }
  missedBefore_ = missedBefore_ + lastMissed_ - firstMissed_ + 1;
  areMissed_ = false;
  return true;
}

}  // namespace quillet
