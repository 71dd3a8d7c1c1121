#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QPaintEvent>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/qt/QtMainQueue.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtMainQueue;

TEST(MainQueue, NeverRunsWorkInsideTheCall) {
  QtMainQueue queue;
  bool ran = false;
  queue.Async([&] { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_TRUE(SpinUntil([&] { return ran; }));
}

TEST(MainQueue, RunsWorkInTheOrderOfTheCalls) {
  QtMainQueue queue;
  std::vector<int> order;
  for (int i = 0; i < 1000; ++i) queue.Async([&order, i] { order.push_back(i); });
  ASSERT_TRUE(SpinUntil([&] { return order.size() == 1000; }));
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(MainQueue, WorkQueuedByWorkRunsBehindWhatWasQueuedBefore) {
  QtMainQueue queue;
  std::string order;
  queue.Async([&] {
    order += "a";
    queue.Async([&] { order += "c"; });
    order += "A";
  });
  queue.Async([&] { order += "b"; });
  ASSERT_TRUE(SpinUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order, "aAbc");
}

TEST(MainQueue, RunsEverythingOnTheMainThreadAndKeepsEachThreadsOrder) {
  constexpr int kThreads = 4;
  constexpr int kEach = 5000;
  QtMainQueue queue;
  std::vector<int> next(kThreads, 0);
  int total = 0;
  int wrong = 0;
  const auto main_thread = std::this_thread::get_id();
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int i = 0; i < kEach; ++i) {
        queue.Async([&, thread, i] {
          if (std::this_thread::get_id() != main_thread) ++wrong;
          if (next[static_cast<std::size_t>(thread)]++ != i) ++wrong;
          ++total;
        });
      }
    });
  }
  EXPECT_TRUE(SpinUntil([&] { return total == kThreads * kEach; }));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(MainQueue, SleepingMainLoopIsWokenByAnotherThread) {
  QtMainQueue queue;
  bool ran = false;
  QTimer::singleShot(60'000, qApp, [] { QCoreApplication::exit(1); });
  std::thread other([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    queue.Async([&] {
      ran = true;
      QCoreApplication::exit(0);
    });
  });
  EXPECT_EQ(QApplication::exec(), 0);
  other.join();
  EXPECT_TRUE(ran);
}

TEST(MainQueue, LongWorkIsSpreadOverTurnsOfTheLoop) {
  QtMainQueue queue;
  int done = 0;
  int turns_between = 0;
  QTimer other;
  QObject::connect(&other, &QTimer::timeout, [&] {
    if (done > 0 && done < 50) ++turns_between;
  });
  other.start(0);
  for (int i = 0; i < 50; ++i) {
    queue.Async([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
      ++done;
    });
  }
  ASSERT_TRUE(SpinUntil([&] { return done == 50; }));
  EXPECT_GE(turns_between, 3);
}

TEST(MainQueue, MainLoopSleepsWhenTheQueueIsEmpty) {
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

class CountingWidget : public QWidget {
 public:
  int paints = 0;

 protected:
  void paintEvent(QPaintEvent*) override { ++paints; }
};

TEST(MainQueue, SteadyWorkLetsRepaintsThrough) {
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
  EXPECT_GE(widget.paints, 5);
}

TEST(MainQueue, WorkThatRunsALoopOfItsOwnHoldsUpWhatIsBehindIt) {
  QtMainQueue queue;
  std::string order;
  queue.Async([&] {
    order += "<";
    queue.Async([&] { order += "c"; });
    SpinUntilIdle();
    order += ">";
  });
  queue.Async([&] { order += "b"; });
  ASSERT_TRUE(SpinUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order, "<>bc");
}

TEST(MainQueue, WorkQueuedWhenTheLoopHasEndedIsNeverRun) {
  QtMainQueue queue;
  int ran = 0;
  const auto witness = std::make_shared<int>(0);
  QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); });
  QApplication::exec();
  queue.Async([&ran, witness] { ++ran; });
  std::thread other([&] { queue.Async([&ran, witness] { ++ran; }); });
  other.join();
  SpinUntilIdle();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(witness.use_count(), 1) << "the work is still held";
}

TEST(MainQueue, WorkStillQueuedWhenTheLoopEndsIsDropped) {
  QtMainQueue queue;
  int ran = 0;
  QTimer::singleShot(0, qApp, [&] {
    QCoreApplication::exit(0);
    queue.Async([&] { ++ran; });
  });
  QApplication::exec();
  SpinUntilIdle();
  EXPECT_EQ(ran, 0);
}

}  // namespace
}  // namespace quillet::window_tests
