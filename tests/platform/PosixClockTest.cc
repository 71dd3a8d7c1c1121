#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <thread>

#include "platform/posix/PosixClock.h"
#include "tests/support/Variable.h"

namespace quillet::platform::posix {
namespace {

using std::chrono::milliseconds;
using Steady = std::chrono::steady_clock;

std::time_t AsUtc(const CalendarTime& time) {
  std::tm calendar{};
  calendar.tm_year = time.year - 1900;
  calendar.tm_mon = time.month - 1;
  calendar.tm_mday = time.day;
  calendar.tm_hour = time.hour;
  calendar.tm_min = time.minute;
  calendar.tm_sec = time.second;
  return timegm(&calendar);
}

TEST(PosixClock, LocalTimeIsTheWallClockInTheCalendar) {
  const test::Variable zone("TZ", "UTC0");
  const std::time_t before = std::time(nullptr);
  const std::time_t read = AsUtc(PosixClock().LocalTime());
  EXPECT_GE(read, before);
  EXPECT_LE(read, std::time(nullptr));
}

TEST(PosixClock, AChangedTimeZoneTakesEffectAtTheNextCall) {
  PosixClock clock;
  std::time_t inUtc = 0;
  {
    const test::Variable zone("TZ", "UTC0");
    inUtc = AsUtc(clock.LocalTime());
  }
  const test::Variable zone("TZ", "XXX-5:30");
  const std::time_t east = AsUtc(clock.LocalTime());
  EXPECT_NEAR(static_cast<double>(east - inUtc), 5.5 * 3600, 2);
}

TEST(PosixClock, SignalsDoNotShortenASleep) {
  static std::atomic<int> signals;
  struct sigaction action {};
  struct sigaction before {};
  action.sa_handler = [](int) { ++signals; };
  sigaction(SIGUSR1, &action, &before);
  std::atomic<bool> asleep = true;
  std::atomic<bool> begun = false;
  Steady::duration slept{};
  std::thread sleeper([&] {
    const auto start = Steady::now();
    begun = true;
    PosixClock().Sleep(milliseconds(100));
    slept = Steady::now() - start;
    asleep = false;
  });
  while (!begun) std::this_thread::yield();
  while (asleep) {
    pthread_kill(sleeper.native_handle(), SIGUSR1);
    std::this_thread::sleep_for(milliseconds(2));
  }
  sleeper.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GT(signals.load(), 0);
  EXPECT_GE(slept, milliseconds(100));
}

}  // namespace
}  // namespace quillet::platform::posix
