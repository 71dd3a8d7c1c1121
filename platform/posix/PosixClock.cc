#include "platform/posix/PosixClock.h"

#include <cerrno>
#include <ctime>

namespace quillet::platform::posix {

CalendarTime PosixClock::LocalTime() {
  // POSIX obliges localtime() but not localtime_r() to look for a changed time zone
  // (localtime(3p)); tzset() makes it so.
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

void PosixClock::Sleep(std::chrono::microseconds duration) {
  using std::chrono::duration_cast;
  using std::chrono::nanoseconds;
  using std::chrono::seconds;
  if (duration <= duration.zero()) return;
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  const seconds whole = duration_cast<seconds>(duration);
  deadline.tv_sec += whole.count();
  deadline.tv_nsec += nanoseconds(duration - whole).count();
  if (deadline.tv_nsec >= 1'000'000'000) {
    deadline.tv_nsec -= 1'000'000'000;
    ++deadline.tv_sec;
  }
  // An absolute deadline, so that a stream of signals does not add up rounding errors. The result
  // is the error number itself (clock_nanosleep(3p)).
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
  }
}

}  // namespace quillet::platform::posix
