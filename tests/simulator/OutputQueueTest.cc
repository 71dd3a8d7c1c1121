#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "simulator/OutputQueue.h"

namespace quillet::simulator {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

/// 10,000 bit/s is one byte per millisecond.
constexpr std::uint64_t kByteEachMillisecond = 10'000;
constexpr Time kQueueStart{seconds(1000)};

std::string TakeDue(OutputQueue& queue, Time now) {
  std::string text;
  for (auto due = queue.Due(now); !due.empty(); due = queue.Due(now)) {
    text.append(due.begin(), due.end());
    queue.Consume(due.size(), now);
  }
  return text;
}

TEST(OutputQueue, WithoutLineTimeEverythingIsDueAtItsTime) {
  OutputQueue queue(0);
  queue.Append(ToBytes("abc"), kQueueStart + milliseconds(2));
  EXPECT_EQ(queue.NextDue(), kQueueStart + milliseconds(2));
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(2) - nanoseconds(1)), "");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(2)), "abc");
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_EQ(queue.NextDue(), Time::max());
}

TEST(OutputQueue, AByteIsDueWhenItsLastBitHasPassed) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("abc"), kQueueStart);
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(999)), "");
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(1000)), "a");
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(2999)), "b");
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(3000)), "c");
}

TEST(OutputQueue, ALateCallerGetsAllThatIsDueAndTheLineLosesNoTime) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("abcdefgh"), kQueueStart);
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(5400)), "abcde");
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(6000)), "f");
}

TEST(OutputQueue, ALongBurstTakesTheLinesOwnTime) {
  constexpr std::size_t kSize = 400'000;
  OutputQueue queue(115'200);
  queue.Append(Bytes(kSize), kQueueStart);
  Time now = kQueueStart;
  while (!queue.IsEmpty()) {
    now = queue.NextDue() + microseconds(37);  // somebody who always wakes a little late
    TakeDue(queue, now);
  }
  const double taken = std::chrono::duration<double>(now - kQueueStart).count();
  EXPECT_NEAR(taken, kSize * 10 / 115'200.0, 0.0001);
}

TEST(OutputQueue, AnswersFollowEachOtherWithoutOverlapping) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("ab"), kQueueStart);
  queue.Append(ToBytes("cd"), kQueueStart);
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(2)), "ab");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(3)), "c");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(4)), "d");
}

TEST(OutputQueue, APauseBeginsWhenTheBytesBeforeHaveLeft) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("ab"), kQueueStart);
  queue.Append(ToBytes("c"), kQueueStart, milliseconds(10));
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(12'999)), "ab");
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(13'000)), "c");
}

TEST(OutputQueue, AWakeUpIsWantedAboutEveryMillisecond) {
  OutputQueue queue(115'200);
  queue.Append(Bytes(1000), kQueueStart);
  EXPECT_GT(queue.NextDue(), kQueueStart + microseconds(900));
  EXPECT_LT(queue.NextDue(), kQueueStart + microseconds(1100));
}

TEST(OutputQueue, ASlowLineWantsAWakeUpForEachByte) {
  OutputQueue queue(300);
  queue.Append(Bytes(2), kQueueStart);
  EXPECT_GT(queue.NextDue(), kQueueStart + milliseconds(33));
  EXPECT_LT(queue.NextDue(), kQueueStart + milliseconds(34));
}

TEST(OutputQueue, InsertedBytesComeWithinTheAnswerUnderWay) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("abcd"), kQueueStart);
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(2)), "ab");
  queue.InsertNow(ToBytes("XY"), kQueueStart + milliseconds(2));
  EXPECT_EQ(queue.size(), 4U);
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(5)), "XYc");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(6)), "d");
}

TEST(OutputQueue, InsertedBytesDoNotWaitForADelayedAnswer) {
  OutputQueue queue(0);
  queue.Append(ToBytes("late"), kQueueStart + seconds(5));
  queue.InsertNow(ToBytes("now"), kQueueStart);
  EXPECT_EQ(TakeDue(queue, kQueueStart), "now");
  EXPECT_EQ(TakeDue(queue, kQueueStart + seconds(4)), "");
  EXPECT_EQ(TakeDue(queue, kQueueStart + seconds(5)), "late");
}

TEST(OutputQueue, AHeldLineGoesOnAfterwardsAtItsSpeed) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("abcd"), kQueueStart);
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(2)), "ab");
  queue.HoldUntil(kQueueStart + milliseconds(50));
  EXPECT_EQ(TakeDue(queue, kQueueStart + microseconds(50'999)), "");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(51)), "c");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(52)), "d");
}

TEST(OutputQueue, DroppedBytesAreLostAcrossPieces) {
  OutputQueue queue(0);
  queue.Append(ToBytes("abcd"), kQueueStart);
  queue.Append(ToBytes("efgh"), kQueueStart);
  queue.Consume(1, kQueueStart);
  queue.Drop(4);
  EXPECT_EQ(queue.size(), 3U);
  EXPECT_EQ(TakeDue(queue, kQueueStart), "fgh");
  queue.Drop(10);
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(OutputQueue, AStalledLineDoesNotMakeUpForTheTime) {
  OutputQueue queue(kByteEachMillisecond);
  queue.Append(ToBytes("abcdef"), kQueueStart);
  queue.Consume(2, kQueueStart + milliseconds(2));
  queue.Stall(kQueueStart + milliseconds(100));
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(100)), "");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(101)), "c");
  EXPECT_EQ(TakeDue(queue, kQueueStart + milliseconds(102)), "d");
}

TEST(OutputQueue, ClearingForgetsWhatHasNotLeft) {
  OutputQueue queue(0);
  queue.Append(ToBytes("abcd"), kQueueStart);
  queue.Clear();
  EXPECT_TRUE(queue.IsEmpty());
  EXPECT_EQ(queue.size(), 0U);
  EXPECT_EQ(TakeDue(queue, kQueueStart), "");
}

TEST(OutputQueue, NoBytesAreNoPiece) {
  OutputQueue queue(0);
  queue.Append({}, kQueueStart);
  queue.InsertNow({}, kQueueStart);
  EXPECT_TRUE(queue.IsEmpty());
}

}  // namespace
}  // namespace quillet::simulator
