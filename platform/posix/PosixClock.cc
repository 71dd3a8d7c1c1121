#include "platform/posix/PosixClock.h"

#ifdef __APPLE__
#include <pthread.h>
#include <pthread/qos.h>
#else
#include <sys/prctl.h>
#endif

#include <ctime>
#include <thread>

namespace quillet::platform::posix {

CalendarTime PosixClock::LocalTime() {
  // localtime_r() may ignore a change of the time zone (localtime(3p)). tzset() reads the zone.
  tzset();
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&now, &local) == nullptr) return {};
  return {.year = local.tm_year + 1900,
          .month = local.tm_mon + 1,
          .day = local.tm_mday,
          .hour = local.tm_hour,
          .minute = local.tm_min,
          .second = local.tm_sec};
}

std::chrono::nanoseconds PosixClock::Now() {
  return std::chrono::steady_clock::now().time_since_epoch();
}

void PosixClock::Sleep(std::chrono::microseconds duration) {
  if (duration <= duration.zero()) return;
  // With an absolute deadline, rounding errors do not add up if signals interrupt the sleep.
  std::this_thread::sleep_until(std::chrono::steady_clock::now() + duration);
}

void PosixClock::SetSleepSlack(std::chrono::microseconds slack) {
#ifdef __APPLE__
  pthread_set_qos_class_self_np(slack > slack.zero() ? QOS_CLASS_UTILITY : QOS_CLASS_DEFAULT, 0);
#else
  prctl(PR_SET_TIMERSLACK, std::chrono::nanoseconds(slack).count(), 0, 0, 0);
#endif
}

}  // namespace quillet::platform::posix
