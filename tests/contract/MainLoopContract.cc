// Contract tests of the main queue, the ticker and the pasteboard, on the fakes and on Qt.

#include <QApplication>
#include <QClipboard>
#include <QTimer>
#include <functional>
#include <string>
#include <thread>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtPasteboard.h"
#include "platform/qt/QtTicker.h"
#include "tests/contract/Contract.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/WaitFor.h"
#include "tests/window/MainLoop.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;

struct LoopHarness {
  virtual ~LoopHarness() = default;
  virtual platform::MainQueue& Queue() = 0;
  virtual platform::Ticker& Ticker() = 0;
  virtual platform::Pasteboard& Pasteboard() = 0;
  /// Returns the text that another program would paste.
  virtual std::string Paste() = 0;
  /// Runs the main loop until `condition` is true. @return false on time-out (one minute)
  virtual bool RunUntil(const std::function<bool()>& condition) = 0;
  /// Runs a nested main loop, as a modal dialog does. Returns when several ticks have passed and no
  /// work is queued.
  virtual void RunUntilIdle() = 0;
  /// Ends the main loop. Calls `last` in its final pass.
  virtual void EndLoop(const std::function<void()>& last) = 0;
};

struct FakeLoopHarness final : LoopHarness {
  static constexpr char kName[] = "Fake";
  platform::MainQueue& Queue() override { return queue; }
  platform::Ticker& Ticker() override { return ticker; }
  platform::Pasteboard& Pasteboard() override { return pasteboard; }
  std::string Paste() override { return pasteboard.texts().back(); }
  bool RunUntil(const std::function<bool()>& condition) override {
    return WaitFor([&] {
      queue.RunAll();
      ticker.Tick();
      return condition();
    });
  }
  void RunUntilIdle() override {
    queue.RunAll();
    for (int i = 0; i < 10; ++i) ticker.Tick();
  }
  void EndLoop(const std::function<void()>& last) override {
    last();
    queue.End();
  }

  FakeMainQueue queue;
  FakeTicker ticker;
  FakePasteboard pasteboard;
};

struct QtLoopHarness final : LoopHarness {
  static constexpr char kName[] = "Qt";
  platform::MainQueue& Queue() override { return queue; }
  platform::Ticker& Ticker() override { return ticker; }
  platform::Pasteboard& Pasteboard() override { return pasteboard; }
  std::string Paste() override { return QGuiApplication::clipboard()->text().toStdString(); }
  bool RunUntil(const std::function<bool()>& condition) override {
    return window_tests::SpinUntil(condition);
  }
  void RunUntilIdle() override { window_tests::SpinUntilIdle(); }
  void EndLoop(const std::function<void()>& last) override {
    QTimer::singleShot(0, qApp, [&] {
      QCoreApplication::exit(0);
      last();
    });
    QApplication::exec();
  }

  platform::qt::QtMainQueue queue;
  platform::qt::QtTicker ticker;
  platform::qt::QtPasteboard pasteboard{queue};
};

const auto kLoops = Implementations<LoopHarness, FakeLoopHarness, QtLoopHarness>();

class MainQueueContract : public Contract<LoopHarness> {
 protected:
  platform::MainQueue& queue_ = harness_->Queue();
};

TEST_P(MainQueueContract, AsyncReturnsBeforeTheWorkRuns) {
  bool ran = false;
  queue_.Async([&] { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_TRUE(harness_->RunUntil([&] { return ran; }));
}

TEST_P(MainQueueContract, RunsWorkInTheOrderItWasQueued) {
  std::string order;
  queue_.Async([&] {
    order += "a";
    queue_.Async([&] { order += "c"; });
    order += "A";
  });
  queue_.Async([&] { order += "b"; });
  ASSERT_TRUE(harness_->RunUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order, "aAbc");
}

TEST_P(MainQueueContract, RunsEachThreadsWorkInOrderOnTheMainThread) {
  constexpr std::size_t kThreads = 4;
  constexpr int kEach = 5000;
  std::vector<int> next(kThreads, 0);
  int total = 0;
  int wrong = 0;
  const auto mainThread = std::this_thread::get_id();
  const auto queueAll = [&](std::size_t thread) {
    for (int i = 0; i < kEach; ++i) {
      queue_.Async([&, thread, i] {
        if (std::this_thread::get_id() != mainThread || next[thread]++ != i) ++wrong;
        ++total;
      });
    }
  };
  std::vector<std::thread> threads;
  for (std::size_t thread = 1; thread < kThreads; ++thread) threads.emplace_back(queueAll, thread);
  queueAll(0);
  EXPECT_TRUE(harness_->RunUntil([&] { return total == kThreads * kEach; }));
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST_P(MainQueueContract, DoesNotRunQueuedWorkInANestedLoop) {
  std::string order;
  queue_.Async([&] {
    order += "<";
    queue_.Async([&] { order += "c"; });
    harness_->RunUntilIdle();
    order += ">";
  });
  queue_.Async([&] { order += "b"; });
  ASSERT_TRUE(harness_->RunUntil([&] { return order.size() == 4; }));
  EXPECT_EQ(order, "<>bc");
}

TEST_P(MainQueueContract, DropsWorkAfterTheLoopHasEnded) {
  int ran = 0;
  const auto witness = std::make_shared<int>(0);
  const auto work = [&ran, witness] { ++ran; };
  const long held = witness.use_count();
  harness_->EndLoop([&] { queue_.Async(work); });
  queue_.Async(work);
  std::thread([&] { queue_.Async(work); }).join();
  harness_->RunUntilIdle();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(witness.use_count(), held) << "the dropped work is destroyed";
}

INSTANTIATE_TEST_SUITE_P(Queue, MainQueueContract, kLoops, kNameOf);

class TickerContract : public Contract<LoopHarness> {
 protected:
  platform::Ticker& ticker_ = harness_->Ticker();
};

TEST_P(TickerContract, CallsTheActionRepeatedlyUntilStopped) {
  int calls = 0;
  ticker_.Stop();
  harness_->RunUntilIdle();
  ticker_.Start(1ms, [&] { ++calls; });
  EXPECT_EQ(calls, 0) << "called before Start returned";
  ASSERT_TRUE(harness_->RunUntil([&] { return calls >= 5; }));
  ticker_.Stop();
  const int before = calls;
  harness_->RunUntilIdle();
  EXPECT_EQ(calls, before);
}

TEST_P(TickerContract, CanBeStoppedFromItsAction) {
  int calls = 0;
  ticker_.Start(1ms, [&] {
    ++calls;
    ticker_.Stop();
  });
  ASSERT_TRUE(harness_->RunUntil([&] { return calls > 0; }));
  harness_->RunUntilIdle();
  EXPECT_EQ(calls, 1);
}

TEST_P(TickerContract, CanBeRestartedFromItsAction) {
  int first = 0;
  int second = 0;
  ticker_.Start(1ms, [&] {
    ++first;
    ticker_.Start(1ms, [&] { ++second; });
  });
  ASSERT_TRUE(harness_->RunUntil([&] { return second >= 3; }));
  EXPECT_EQ(first, 1);
}

INSTANTIATE_TEST_SUITE_P(Ticker, TickerContract, kLoops, kNameOf);

class PasteboardContract : public Contract<LoopHarness> {};

TEST_P(PasteboardContract, SetStringReplacesTheTextImmediately) {
  for (const std::string text : {"4006381333931\r\n", "Ma\xC3\x9F 5 \xE2\x82\xAC\t", "", "x"}) {
    EXPECT_TRUE(harness_->Pasteboard().SetString(text));
    EXPECT_EQ(harness_->Paste(), text);
  }
}

INSTANTIATE_TEST_SUITE_P(Pasteboard, PasteboardContract, kLoops, kNameOf);

}  // namespace
}  // namespace quillet::test
