#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <atomic>
#include <chrono>
#include <thread>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtPasteboard.h"
#include "tests/support/FakePlatform.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using namespace std::chrono_literals;
using platform::qt::QtMainQueue;
using platform::qt::QtPasteboard;

/// Calls SetString from a thread other than the main thread.
class Pasteboard : public testing::Test {
 protected:
  Pasteboard() { QGuiApplication::clipboard()->setText("before"); }

  static std::string Clipboard() { return QGuiApplication::clipboard()->text().toStdString(); }

  /// Calls SetString, which must fail because the main loop is not running. @return the duration
  static auto TimeOfAFailure(platform::MainQueue& queue) {
    const auto start = std::chrono::steady_clock::now();
    std::thread([&] { EXPECT_FALSE(QtPasteboard(queue).SetString("late")); }).join();
    return std::chrono::steady_clock::now() - start;
  }
};

TEST_F(Pasteboard, ReturnsAfterTheMainThreadHasSetTheText) {
  QtMainQueue queue;
  const std::string text = "Ma\xC3\x9F 5 \xE2\x82\xAC\r\n";
  std::atomic<bool> returned = false;
  std::thread thread([&] {
    EXPECT_TRUE(QtPasteboard(queue).SetString(text));
    returned = true;
  });
  EXPECT_TRUE(SpinUntil([&] { return returned.load(); }));
  thread.join();
  EXPECT_EQ(Clipboard(), text);
}

TEST_F(Pasteboard, FailsAtOnceAfterTheMainLoopHasEnded) {
  test::FakeMainQueue queue;
  queue.End();
  EXPECT_LT(TimeOfAFailure(queue), 1s);
}

TEST_F(Pasteboard, FailsIfTheMainThreadIsBusyForTwoSeconds) {
  test::FakeMainQueue queue;
  EXPECT_GE(TimeOfAFailure(queue), 2s);
  queue.RunAll();
  EXPECT_EQ(Clipboard(), "before");
}

TEST_F(Pasteboard, FailsIfTheMainLoopEndsDuringTheCall) {
  QtMainQueue queue;
  std::thread thread;
  std::atomic<bool> wasSet = true;
  queue.Async([&] {
    thread = std::thread([&] { wasSet = QtPasteboard(queue).SetString("late"); });
    // The main queue runs its work at short intervals. The main thread sleeps for longer than one
    // interval, then the event loop exits, so the queue cannot set the text.
    std::this_thread::sleep_for(50ms);
    QCoreApplication::exit(0);
  });
  QGuiApplication::exec();
  thread.join();
  EXPECT_FALSE(wasSet);
  SpinUntilIdle();
  EXPECT_EQ(Clipboard(), "before");
}

}  // namespace
}  // namespace quillet::window_tests
