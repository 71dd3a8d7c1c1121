#include <gtest/gtest.h>

#include <QClipboard>
#include <QGuiApplication>
#include <atomic>
#include <thread>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtPasteboard.h"
#include "tests/support/FakePlatform.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtMainQueue;
using platform::qt::QtPasteboard;
using std::chrono::steady_clock;

std::string Clipboard() {
  return QGuiApplication::clipboard()->text().toStdString();
}

TEST(Pasteboard, TextIsThereWhenTheCallFromAnotherThreadReturns) {
  QtMainQueue queue;
  QtPasteboard pasteboard(queue);
  QGuiApplication::clipboard()->setText("before");
  std::atomic<bool> returned = false;
  std::thread thread([&] {
    EXPECT_TRUE(
        pasteboard.SetString("Gr\xC3\xB6\xC3\x9F"
                             "e 5 \xE2\x82\xAC\r\n"));
    returned = true;
  });
  EXPECT_TRUE(SpinUntil([&] { return returned.load(); }));
  thread.join();
  EXPECT_EQ(Clipboard(),
            "Gr\xC3\xB6\xC3\x9F"
            "e 5 \xE2\x82\xAC\r\n");
}

TEST(Pasteboard, ACallReturnsAtOnceWhenTheMainLoopHasEnded) {
  test::FakeMainQueue queue;
  queue.End();
  const auto start = steady_clock::now();
  std::thread([&] { EXPECT_FALSE(QtPasteboard(queue).SetString("late")); }).join();
  EXPECT_LT(steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(Pasteboard, ACallReturnsAfterTwoSecondsOfABusyMainThread) {
  test::FakeMainQueue queue;
  QGuiApplication::clipboard()->setText("the user's own");
  const auto start = steady_clock::now();
  std::thread([&] { EXPECT_FALSE(QtPasteboard(queue).SetString("late")); }).join();
  EXPECT_GE(steady_clock::now() - start, std::chrono::seconds(2));
  queue.RunAll();
  EXPECT_EQ(Clipboard(), "the user's own");
}

TEST(Pasteboard, ACallThatWaitsIsLetGoWhenTheMainLoopEnds) {
  QtMainQueue queue;
  QtPasteboard pasteboard(queue);
  QGuiApplication::clipboard()->setText("the user's own");
  std::thread thread;
  std::atomic<bool> came = true;
  queue.Async([&] {
    thread = std::thread([&] { came = pasteboard.SetString("late"); });
    // Longer than the queue's turn, so that the text is left for the next one, which never comes.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    QCoreApplication::exit(0);
  });
  QGuiApplication::exec();
  thread.join();
  EXPECT_FALSE(came);
  SpinUntilIdle();
  EXPECT_EQ(Clipboard(), "the user's own");
}

}  // namespace
}  // namespace quillet::window_tests
