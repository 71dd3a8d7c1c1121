#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "platform/posix/TerminationSignals.h"
#include "tests/platform/Child.h"
#include "tests/platform/OneWatch.h"

namespace quillet::platform::posix {
namespace {

using test::Child;
using test::OneWatch;

TEST(TerminationSignals, CallTheHandlerFromTheMainLoop) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    EXPECT_EQ(Child([&] {
                std::signal(signal, SIG_DFL);
                OneWatch loop;
                const TerminationSignals signals(loop, [] { _exit(7); });
                loop.Run(0);
                raise(signal);
                loop.Run(0);
                return 1;
              }).Wait(),
              7);
  }
}

TEST(TerminationSignals, StayIgnoredIfIgnoredAtStartup) {
  EXPECT_EQ(Child([] {
              std::signal(SIGHUP, SIG_IGN);
              OneWatch loop;
              const TerminationSignals signals(loop, [] { _exit(1); });
              raise(SIGHUP);
              loop.Run(0);
              return 0;
            }).Wait(),
            0);
}

TEST(TerminationSignals, EndAHungProcessWithinTwoSeconds) {
  using namespace std::chrono;
  const auto start = steady_clock::now();
  EXPECT_EQ(Child([] {
              std::signal(SIGTERM, SIG_DFL);
              OneWatch loop;
              const TerminationSignals signals(loop, [] {});
              for (int i = 0; i < 100; ++i) {
                raise(SIGTERM);
                std::this_thread::sleep_for(milliseconds(50));
              }
              return 0;
            }).Wait(),
            EXIT_FAILURE);
  EXPECT_LT(steady_clock::now() - start, seconds(2));
}

}  // namespace
}  // namespace quillet::platform::posix
