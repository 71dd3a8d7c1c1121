#include <gtest/gtest.h>

#include <string>

#include "simulator/OutputQueue.h"

namespace quillet::simulator {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr Time kQueueStart{seconds(1000)};

/// Fixture with two queues: one on a line that takes 1 ms per byte, one on a line of unlimited
/// speed. Times are relative to kQueueStart.
class OutputQueueTest : public testing::Test {
 protected:
  void Append(std::string_view text, Duration pause = Duration::zero()) {
    queue_.Append(ToBytes(text), kQueueStart, pause);
  }

  std::string Take(Duration time) { return Take(queue_, time); }

  static std::string Take(OutputQueue& queue, Duration time) {
    std::string text;
    const Time now = kQueueStart + time;
    for (auto due = queue.Due(now); !due.empty(); due = queue.Due(now)) {
      text.append(due.begin(), due.end());
      queue.Consume(due.size(), now);
    }
    return text;
  }

  OutputQueue queue_{10'000};
  OutputQueue instant_{0};
};

TEST_F(OutputQueueTest, ReleasesAllBytesAtOnceAtUnlimitedSpeed) {
  instant_.Append(ToBytes("abc"), kQueueStart + milliseconds(2));
  EXPECT_EQ(instant_.NextDue(), kQueueStart + milliseconds(2));
  EXPECT_EQ(Take(instant_, microseconds(1999)), "");
  EXPECT_EQ(Take(instant_, milliseconds(2)), "abc");
  EXPECT_TRUE(instant_.IsEmpty());
  EXPECT_EQ(instant_.NextDue(), Time::max());
}

TEST_F(OutputQueueTest, ReleasesBytesAtLineSpeed) {
  Append("abcdefgh");
  EXPECT_EQ(Take(microseconds(999)), "");
  EXPECT_EQ(Take(microseconds(1000)), "a");
  EXPECT_EQ(Take(microseconds(2999)), "b");
  EXPECT_EQ(Take(microseconds(3000)), "c");
  // Late calls do not slow the line down.
  EXPECT_EQ(Take(microseconds(5400)), "de");
  EXPECT_EQ(Take(microseconds(6000)), "f");
}

TEST_F(OutputQueueTest, MaintainsLineSpeedDuringALongBurst) {
  constexpr std::size_t kSize = 400'000;
  OutputQueue queue(115'200);
  queue.Append(Bytes(kSize), kQueueStart);
  Time now = kQueueStart;
  while (!queue.IsEmpty()) {
    now = queue.NextDue() + microseconds(37);  // the caller always wakes up late
    Take(queue, now - kQueueStart);
  }
  const double taken = std::chrono::duration<double>(now - kQueueStart).count();
  EXPECT_NEAR(taken, kSize * 10 / 115'200.0, 0.0001);
}

TEST_F(OutputQueueTest, SendsAnswersInSequenceWithPauses) {
  Append("ab");
  Append("cd");
  Append("e", milliseconds(10));
  EXPECT_EQ(Take(milliseconds(2)), "ab");
  EXPECT_EQ(Take(milliseconds(3)), "c");
  // The pause starts after the last byte of the previous answer.
  EXPECT_EQ(Take(microseconds(14'999)), "d");
  EXPECT_EQ(Take(microseconds(15'000)), "e");
}

TEST_F(OutputQueueTest, NextDueIsAtLeastOneMillisecondAndOneByteAway) {
  OutputQueue fast(115'200);
  fast.Append(Bytes(1000), kQueueStart);
  EXPECT_GT(fast.NextDue(), kQueueStart + microseconds(900));
  EXPECT_LT(fast.NextDue(), kQueueStart + microseconds(1100));
  OutputQueue slow(300);
  slow.Append(Bytes(2), kQueueStart);
  EXPECT_GT(slow.NextDue(), kQueueStart + milliseconds(33));
  EXPECT_LT(slow.NextDue(), kQueueStart + milliseconds(34));
}

TEST_F(OutputQueueTest, InsertsBytesIntoOrBeforeAPendingAnswer) {
  Append("abcd");
  EXPECT_EQ(Take(milliseconds(2)), "ab");
  queue_.InsertNow(ToBytes("XY"), kQueueStart + milliseconds(2));
  EXPECT_EQ(Take(milliseconds(5)), "XYc");
  EXPECT_EQ(Take(milliseconds(6)), "d");

  instant_.Append(ToBytes("late"), kQueueStart + seconds(5));
  instant_.InsertNow(ToBytes("now"), kQueueStart);
  EXPECT_EQ(Take(instant_, seconds(0)), "now");
  EXPECT_EQ(Take(instant_, seconds(4)), "");
  EXPECT_EQ(Take(instant_, seconds(5)), "late");
}

TEST_F(OutputQueueTest, ResumesAtLineSpeedWhenTheHoldExpires) {
  Append("abcd");
  EXPECT_EQ(Take(milliseconds(2)), "ab");
  queue_.HoldUntil(kQueueStart + milliseconds(50));
  EXPECT_EQ(Take(microseconds(50'999)), "");
  EXPECT_EQ(Take(milliseconds(51)), "c");
  EXPECT_EQ(Take(milliseconds(52)), "d");
}

TEST_F(OutputQueueTest, DropRemovesBytesFromSeveralAnswers) {
  instant_.Append(ToBytes("abcd"), kQueueStart);
  instant_.Append(ToBytes("efgh"), kQueueStart);
  instant_.Consume(1, kQueueStart);
  instant_.Drop(4);
  EXPECT_EQ(Take(instant_, seconds(0)), "fgh");
  instant_.Append(ToBytes("ij"), kQueueStart);
  instant_.Drop(10);
  EXPECT_TRUE(instant_.IsEmpty());
}

TEST_F(OutputQueueTest, ContinuesAtLineSpeedAfterAStall) {
  Append("abcdef");
  queue_.Consume(2, kQueueStart + milliseconds(2));
  queue_.Stall(kQueueStart + milliseconds(100));
  EXPECT_EQ(Take(milliseconds(100)), "");
  EXPECT_EQ(Take(milliseconds(101)), "c");
  EXPECT_EQ(Take(milliseconds(102)), "d");
}

TEST_F(OutputQueueTest, StaysEmptyAfterClearIfZeroBytesAreAdded) {
  Append("abcd");
  queue_.Clear();
  queue_.Append({}, kQueueStart);
  queue_.InsertNow({}, kQueueStart);
  EXPECT_TRUE(queue_.IsEmpty());
  EXPECT_EQ(Take(seconds(1)), "");
}

}  // namespace
}  // namespace quillet::simulator
