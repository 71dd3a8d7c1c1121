#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

#include "platform/posix/PosixClock.h"
#include "tests/support/Variable.h"

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace quillet::platform::posix {
namespace {

using std::chrono::milliseconds;

/// Returns the local time in a time zone, converted to seconds since 1970 as if it were UTC.
std::time_t LocalTimeIn(const char* timeZone) {
  static PosixClock clock;
  const test::Variable zone("TZ", timeZone);
  const CalendarTime time = clock.LocalTime();
  std::tm calendar{};
  calendar.tm_year = time.year - 1900;
  calendar.tm_mon = time.month - 1;
  calendar.tm_mday = time.day;
  calendar.tm_hour = time.hour;
  calendar.tm_min = time.minute;
  calendar.tm_sec = time.second;
  return timegm(&calendar);
}

TEST(PosixClock, LocalTimeFollowsTheTimeZone) {
  const std::time_t before = std::time(nullptr);
  const std::time_t utc = LocalTimeIn("UTC0");
  EXPECT_GE(utc, before);
  EXPECT_LE(utc, std::time(nullptr));
  EXPECT_NEAR(static_cast<double>(LocalTimeIn("XXX-5:30") - utc), 5.5 * 3600, 2);
}

TEST(PosixClock, SignalsDoNotShortenASleep) {
  using Steady = std::chrono::steady_clock;
  static std::atomic<int> signals;
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { ++signals; };
  sigaction(SIGUSR1, &action, &before);
  std::atomic<bool> started = false;
  std::atomic<bool> ended = false;
  Steady::duration slept{};
  std::thread sleeper([&] {
    const auto start = Steady::now();
    started = true;
    PosixClock().Sleep(milliseconds(100));
    slept = Steady::now() - start;
    ended = true;
  });
  while (!started) std::this_thread::yield();
  while (!ended) {
    pthread_kill(sleeper.native_handle(), SIGUSR1);
    std::this_thread::sleep_for(milliseconds(2));
  }
  sleeper.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GT(signals.load(), 0);
  EXPECT_GE(slept, milliseconds(100));
}

#ifdef __linux__
TEST(PosixClock, SetsTheTimerSlackOfTheCallingThread) {
  PosixClock clock;
  const int before = prctl(PR_GET_TIMERSLACK);
  clock.SetSleepSlack(milliseconds(5));
  EXPECT_EQ(prctl(PR_GET_TIMERSLACK), 5'000'000);
  clock.SetSleepSlack(milliseconds(0));
  EXPECT_EQ(prctl(PR_GET_TIMERSLACK), before);
}
#endif

}  // namespace
}  // namespace quillet::platform::posix
