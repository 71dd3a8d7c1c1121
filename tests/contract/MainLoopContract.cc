// The contracts of what runs on the main loop, on the fakes and on Qt.

#include <QApplication>
#include <QClipboard>
#include <QTimer>
#include <thread>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtPasteboard.h"
#include "platform/qt/QtTicker.h"
#include "tests/contract/Contract.h"
#include "tests/contract/DeliveryContract.h"
#include "tests/support/FakePlatform.h"
#include "tests/window/MainLoop.h"

namespace quillet::test {
namespace {

using namespace std::chrono_literals;

class QueueHarness {
 public:
  virtual ~QueueHarness() = default;
  virtual platform::MainQueue& Queue() = 0;
  /// Runs the main loop until `condition` holds. @return false if it never does
  virtual bool RunUntil(const std::function<bool()>& condition) = 0;
  /// Runs the main loop as a modal dialog does, until nothing is pending.
  virtual void RunUntilIdle() = 0;
  /// Runs the main loop to its end, with `last` in its last turn.
  virtual void EndLoop(const std::function<void()>& last) = 0;
};

struct FakeQueueHarness final : QueueHarness {
  static constexpr char kName[] = "Fake";
  platform::MainQueue& Queue() override { return queue; }
  bool RunUntil(const std::function<bool()>& condition) override {
    return WaitFor([&] {
      queue.RunAll();
      return condition();
    });
  }
  void RunUntilIdle() override { queue.RunAll(); }
  void EndLoop(const std::function<void()>& last) override {
    last();
    queue.End();
  }

  FakeMainQueue queue;
};

struct QtQueueHarness final : QueueHarness {
  static constexpr char kName[] = "Qt";
  platform::MainQueue& Queue() override { return queue; }
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
};

class MainQueueContract : public Contract<QueueHarness> {
 protected:
  platform::MainQueue& queue_ = harness_->Queue();
};

TEST_P(MainQueueContract, NeverRunsWorkInsideTheCall) {
  bool ran = false;
  queue_.Async([&] { ran = true; });
  EXPECT_FALSE(ran);
  EXPECT_TRUE(harness_->RunUntil([&] { return ran; }));
}

TEST_P(MainQueueContract, RunsWorkQueuedByWorkLast) {
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

TEST_P(MainQueueContract, WorkThatRunsALoopHoldsUpTheNext) {
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

TEST_P(MainQueueContract, DropsWorkOnceTheLoopHasEnded) {
  int ran = 0;
  const auto witness = std::make_shared<int>(0);
  const auto work = [&ran, witness] { ++ran; };
  const long held = witness.use_count();
  harness_->EndLoop([&] { queue_.Async(work); });
  queue_.Async(work);
  std::thread([&] { queue_.Async(work); }).join();
  harness_->RunUntilIdle();
  EXPECT_EQ(ran, 0);
  EXPECT_EQ(witness.use_count(), held) << "the work is still held";
}

INSTANTIATE_TEST_SUITE_P(Queue, MainQueueContract,
                         (Implementations<QueueHarness, FakeQueueHarness, QtQueueHarness>()),
                         kNameOf);

class TickerHarness {
 public:
  virtual ~TickerHarness() = default;
  virtual platform::Ticker& Clockwork() = 0;
  /// Lets time pass until `condition` holds. @return false if it never does
  virtual bool PassUntil(const std::function<bool()>& condition) = 0;
  /// Lets several periods pass.
  virtual void Pass() = 0;
};

struct FakeTickerHarness final : TickerHarness {
  static constexpr char kName[] = "Fake";
  platform::Ticker& Clockwork() override { return ticker; }
  bool PassUntil(const std::function<bool()>& condition) override {
    return WaitFor([&] {
      ticker.Tick();
      return condition();
    });
  }
  void Pass() override {
    for (int i = 0; i < 10; ++i) ticker.Tick();
  }

  FakeTicker ticker;
};

struct QtTickerHarness final : TickerHarness {
  static constexpr char kName[] = "Qt";
  platform::Ticker& Clockwork() override { return ticker; }
  bool PassUntil(const std::function<bool()>& condition) override {
    return window_tests::SpinUntil(condition);
  }
  void Pass() override { window_tests::SpinUntilIdle(); }

  platform::qt::QtTicker ticker;
};

class TickerContract : public Contract<TickerHarness> {
 protected:
  platform::Ticker& ticker_ = harness_->Clockwork();
};

TEST_P(TickerContract, CallsAgainAndAgain) {
  int calls = 0;
  ticker_.Start(1ms, [&] { ++calls; });
  EXPECT_EQ(calls, 0) << "within the call";
  EXPECT_TRUE(harness_->PassUntil([&] { return calls >= 5; }));
}

TEST_P(TickerContract, CallsOnlyBetweenStartAndStop) {
  int calls = 0;
  ticker_.Stop();
  harness_->Pass();
  ticker_.Start(1ms, [&] { ++calls; });
  ASSERT_TRUE(harness_->PassUntil([&] { return calls > 0; }));
  ticker_.Stop();
  const int before = calls;
  harness_->Pass();
  EXPECT_EQ(calls, before);
}

TEST_P(TickerContract, StopsWithinTheAction) {
  int calls = 0;
  ticker_.Start(1ms, [&] {
    ++calls;
    ticker_.Stop();
  });
  ASSERT_TRUE(harness_->PassUntil([&] { return calls > 0; }));
  harness_->Pass();
  EXPECT_EQ(calls, 1);
}

TEST_P(TickerContract, StartReplacesTheActionEvenWithinIt) {
  int first = 0;
  int second = 0;
  ticker_.Start(1ms, [&] {
    ++first;
    ticker_.Start(1ms, [&] { ++second; });
  });
  ASSERT_TRUE(harness_->PassUntil([&] { return second >= 3; }));
  EXPECT_EQ(first, 1);
}

INSTANTIATE_TEST_SUITE_P(Ticker, TickerContract,
                         (Implementations<TickerHarness, FakeTickerHarness, QtTickerHarness>()),
                         kNameOf);

struct FakePasteboardHarness final : PasteboardHarness {
  static constexpr char kName[] = "Fake";
  platform::Pasteboard& Board() override { return board; }
  std::optional<std::string> Paste() override { return board.texts().back(); }

  FakePasteboard board;
};

struct QtPasteboardHarness final : PasteboardHarness {
  static constexpr char kName[] = "Qt";
  platform::Pasteboard& Board() override { return board; }
  std::optional<std::string> Paste() override {
    return QGuiApplication::clipboard()->text().toStdString();
  }

  FakeMainQueue queue;  // the main thread does not need it
  platform::qt::QtPasteboard board{queue};
};

INSTANTIATE_TEST_SUITE_P(
    Pasteboard, PasteboardContract,
    (Implementations<PasteboardHarness, FakePasteboardHarness, QtPasteboardHarness>()), kNameOf);

}  // namespace
}  // namespace quillet::test
