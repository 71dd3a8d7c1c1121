#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "platform/posix/TerminationSignals.h"
#include "tests/platform/Child.h"

namespace quillet::platform::posix {
namespace {

using test::Child;

/// Watches one descriptor. Run() acts as the main loop.
class OneWatch final : public DescriptorWatcher {
 public:
  std::unique_ptr<DescriptorWatch> Watch(int descriptor, std::function<void()> ready) override {
    descriptor_ = descriptor;
    ready_ = std::move(ready);
    return std::make_unique<DescriptorWatch>();
  }

  /// Waits up to `limit` milliseconds for the descriptor and calls its callback.
  void Run(int limit) {
    pollfd polled{descriptor_, POLLIN, 0};
    while (poll(&polled, 1, limit) < 0) continue;
    if (polled.revents != 0) ready_();
  }

 private:
  int descriptor_ = -1;
  std::function<void()> ready_;
};

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

TEST(TerminationSignals, KeepIgnoringSignalsIgnoredAtStartup) {
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

TEST(TerminationSignals, EndAHangingProcessWithinTwoSeconds) {
  using namespace std::chrono;
  const auto start = steady_clock::now();
  EXPECT_EQ(Child([] {
              std::signal(SIGTERM, SIG_DFL);
              OneWatch loop;
              const TerminationSignals signals(loop, [] {});
              raise(SIGTERM);
              while (true) std::this_thread::sleep_for(seconds(60));
              return 0;
            }).Wait(),
            EXIT_FAILURE);
  EXPECT_LT(steady_clock::now() - start, seconds(2));
}

}  // namespace
}  // namespace quillet::platform::posix
