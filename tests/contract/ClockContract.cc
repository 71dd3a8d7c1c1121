#include <algorithm>
#include <chrono>

#include "platform/posix/PosixClock.h"
#include "tests/contract/Contract.h"
#include "tests/support/FakeClock.h"
#include "tests/support/NoClock.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;

class ClockHarness {
 public:
  virtual ~ClockHarness() = default;
  virtual platform::Clock& Clock() = 0;
};

template <class Backend>
struct ClockOf final : ClockHarness {
  static constexpr const char* kName = std::is_same_v<Backend, FakeClock> ? "Fake"
                                       : std::is_same_v<Backend, NoClock> ? "NoClock"
                                                                          : "Posix";
  platform::Clock& Clock() override { return clock; }

  Backend clock;
};

class ClockContract : public Contract<ClockHarness> {
 protected:
  platform::Clock& clock_ = harness_->Clock();
};

TEST_P(ClockContract, LocalTimeIsAValidDateAndTime) {
  const CalendarTime now = clock_.LocalTime();
  EXPECT_TRUE((std::chrono::year(now.year) / now.month / now.day).ok());
  EXPECT_GT(now.year, 2000);
  EXPECT_TRUE(now.hour >= 0 && now.hour <= 23);
  EXPECT_TRUE(now.minute >= 0 && now.minute <= 59);
  EXPECT_TRUE(now.second >= 0 && now.second <= 60);
}

TEST_P(ClockContract, SleepIsNeverShorterThanRequested) {
  for (const auto duration : {1us, 300us, 20'000us, 0us, -1us, std::chrono::microseconds(-100h)}) {
    const auto before = clock_.Now();
    clock_.Sleep(duration);
    EXPECT_GE(clock_.Now() - before, std::max(duration, 0us));
  }
}

INSTANTIATE_TEST_SUITE_P(Clock, ClockContract,
                         (Implementations<ClockHarness, ClockOf<FakeClock>, ClockOf<NoClock>,
                                          ClockOf<platform::posix::PosixClock>>()),
                         kNameOf);

}  // namespace
}  // namespace quillet::test
