#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QPaintEvent>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <thread>

#include "platform/qt/QtMainQueue.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtMainQueue;

TEST(MainQueue, WakesTheSleepingMainLoopFromAnotherThread) {
  QtMainQueue queue;
  QTimer::singleShot(60'000, qApp, [] { QCoreApplication::exit(1); });
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    queue.Async([] { QCoreApplication::exit(0); });
  });
  EXPECT_EQ(QApplication::exec(), 0);
  other.join();
}

TEST(MainQueue, SpreadsLongWorkOverSeveralLoopIterations) {
  QtMainQueue queue;
  int done = 0;
  int turnsBetween = 0;
  QTimer other;
  QObject::connect(&other, &QTimer::timeout, [&] {
    if (done > 0 && done < 50) ++turnsBetween;
  });
  other.start(0);
  for (int i = 0; i < 50; ++i) {
    queue.Async([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      ++done;
    });
  }
  ASSERT_TRUE(SpinUntil([&] { return done == 50; }));
  EXPECT_GE(turnsBetween, 3);
}

TEST(MainQueue, MainLoopSleepsWhileTheQueueIsEmpty) {
  QtMainQueue queue;
  bool ran = false;
  queue.Async([&] { ran = true; });
  ASSERT_TRUE(SpinUntil([&] { return ran; }));
  SpinUntilIdle();
  int passes = 0;
  QObject counter;
  QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &counter,
                   [&] { ++passes; });
  QTimer::singleShot(50, qApp, [] { QCoreApplication::exit(0); });
  QApplication::exec();
  EXPECT_LT(passes, 50);
}

TEST(MainQueue, RepaintsWhileWorkKeepsArriving) {
  struct CountingWidget : QWidget {
    void paintEvent(QPaintEvent*) override { ++paints; }
    int paints = 0;
  };
  QtMainQueue queue;
  CountingWidget widget;
  widget.show();
  SpinUntilIdle();
  widget.paints = 0;
  std::atomic<bool> stop = false;
  std::thread producer([&] {
    while (!stop) {
      queue.Async([&] {
        widget.update();
        if (widget.paints >= 5) QCoreApplication::exit(0);
      });
      std::this_thread::yield();
    }
  });
  QTimer::singleShot(60'000, &widget, [] { QCoreApplication::exit(1); });
  EXPECT_EQ(QApplication::exec(), 0);
  stop = true;
  producer.join();
}

std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return std::distance(begin(descriptors), end(descriptors));
}

// If the pipe's descriptors are in the range 0 to 2, the constructor duplicates them to higher
// numbers. In this test, the second duplication fails.
TEST(MainQueue, FailedConstructorLeaksNoDescriptor) {
  int kept[3];
  for (const int number : {0, 1, 2}) {
    kept[number] = fcntl(number, F_DUPFD_CLOEXEC, 3);
    close(number);
  }
  const int first = dup(kept[0]);  // occupies descriptor 0, so that the pipe gets 1 and 2
  const int free = fcntl(kept[0], F_DUPFD_CLOEXEC, 3);
  close(free);
  const std::ptrdiff_t before = OpenDescriptors();
  rlimit usual{};
  getrlimit(RLIMIT_NOFILE, &usual);
  const rlimit oneMore{static_cast<rlim_t>(free) + 1, usual.rlim_max};
  setrlimit(RLIMIT_NOFILE, &oneMore);
  EXPECT_THROW(QtMainQueue(), std::system_error);
  setrlimit(RLIMIT_NOFILE, &usual);
  const std::ptrdiff_t after = OpenDescriptors();
  close(first);
  for (const int number : {0, 1, 2}) {
    dup2(kept[number], number);
    close(kept[number]);
  }
  EXPECT_EQ(after, before);
}

}  // namespace
}  // namespace quillet::window_tests
