#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "device/CommandQueue.h"

namespace quillet {
namespace {

TEST(CommandQueueTest, EntriesComeOutInTheOrderOfAppending) {
  CommandQueue queue;
  queue.Append({0x01, 'M'});
  queue.Append({0x03, 'w', '1', '#'});
  auto head = queue.Head();
  ASSERT_TRUE(head);
  EXPECT_EQ(head->type, 'M');
  EXPECT_EQ(head->commandLength, 1U);
  ASSERT_TRUE(queue.Consume(*head));
  head = queue.Head();
  ASSERT_TRUE(head);
  EXPECT_EQ(head->type, 'w');
  EXPECT_EQ(head->commandLength, 3U);
  EXPECT_EQ(head->command[2], '#');
  ASSERT_TRUE(queue.Consume(*head));
  EXPECT_FALSE(queue.Head());
}

TEST(CommandQueueTest, AWakeupIsTwoBytesWhateverItsArgument) {
  for (const std::uint8_t argument : {std::uint8_t{0}, std::uint8_t{1}, std::uint8_t{7}}) {
    CommandQueue queue;
    queue.Append({argument, 'W'});
    queue.Append({0x01, 'N'});
    ASSERT_TRUE(queue.Consume(*queue.Head()));
    EXPECT_EQ(queue.cmdRead(), 2);
    EXPECT_EQ(queue.Head()->type, 'N');
  }
}

TEST(CommandQueueTest, AnEntryThatDoesNotFitIsRefusedWhole) {
  CommandQueue queue;
  int accepted = 0;
  while (queue.Append({0x04, '2', 'Z', 'S', 'G'})) ++accepted;
  EXPECT_EQ(accepted, 256 / 5);
  EXPECT_EQ(queue.cmdWrite(), 255);
  EXPECT_FALSE(queue.Append({0x01, 'M'}));
  EXPECT_EQ(queue.cmdWrite(), 255);
  queue.Reset();
  EXPECT_TRUE(queue.Append({0x01, 'M'}));
}

TEST(CommandQueueTest, WhatWasAppendedAfterAResetSurvivesTheTakingOfAnOlderEntry) {
  CommandQueue queue;
  queue.Append({0x01, 'p'});
  const auto old = queue.Head();
  queue.Reset();
  queue.Append({0x00, 'W'});
  EXPECT_FALSE(queue.Consume(*old));
  EXPECT_EQ(queue.Head()->type, 'W');
}

TEST(CommandQueueTest, ConcurrentAppendsAndRewindsLoseAndTearNothing) {
  CommandQueue queue;
  constexpr int kWriters = 3;
  constexpr int kEntries = 20000;
  std::atomic<bool> finished{false};
  std::vector<std::thread> writers;
  for (int writer = 0; writer < kWriters; ++writer) {
    writers.emplace_back([&, writer] {
      for (int i = 0; i < kEntries; ++i) {
        const auto high = static_cast<std::uint8_t>(i >> 8);
        const auto low = static_cast<std::uint8_t>(i);
        const auto sum = static_cast<std::uint8_t>(writer + high + low);
        while (!queue.Append({0x05, 'x', static_cast<std::uint8_t>(writer), high, low, sum})) {
          std::this_thread::yield();
        }
      }
    });
  }
  std::thread rewinder([&] {
    while (!finished) queue.RewindIfEmpty();
  });

  std::vector<int> next(kWriters, 0);
  int taken = 0;
  while (taken < kWriters * kEntries) {
    const auto entry = queue.Head();
    if (!entry) {
      std::this_thread::yield();
      continue;
    }
    const auto& bytes = entry->command;
    ASSERT_EQ(entry->commandLength, 5U);
    ASSERT_EQ(static_cast<std::uint8_t>(bytes[1] + bytes[2] + bytes[3]), bytes[4]);
    ASSERT_EQ(bytes[2] << 8 | bytes[3], next[bytes[1]]++) << "of writer " << int{bytes[1]};
    ASSERT_TRUE(queue.Consume(*entry));
    ++taken;
  }
  finished = true;
  rewinder.join();
  for (auto& writer : writers) writer.join();
  EXPECT_FALSE(queue.Head());
}

TEST(CommandQueueTest, AResetTearsNoEntryThatIsBeingLookedAt) {
  CommandQueue queue;
  std::atomic<bool> finished{false};
  std::thread reconnecting([&] {
    while (!finished) {
      queue.Reset();
      queue.Append({0x00, 'W'});
      queue.Append({0x01, 'M'});
      queue.Reset();
      queue.Append({0x05, 'x', 1, 2, 3, 4});
    }
  });
  int long_entries = 0;
  while (long_entries < 20000) {
    const auto entry = queue.Head();
    if (!entry) continue;
    if (entry->type == 'x') {
      ASSERT_EQ(entry->commandLength, 5U);
      for (std::uint8_t i = 1; i < 5; ++i) ASSERT_EQ(entry->command[i], i);
      ++long_entries;
    } else {
      ASSERT_EQ(entry->commandLength, 1U);
      ASSERT_TRUE((entry->first == 0 && entry->type == 'W') ||
                  (entry->first == 1 && entry->type == 'M'));
      queue.Consume(*entry);
    }
  }
  finished = true;
  reconnecting.join();
}

TEST(CommandQueueTest, AByteAloneIsNoEntry) {
  CommandQueue queue;
  queue.Append({0x01});
  EXPECT_FALSE(queue.Head());
}

}  // namespace
}  // namespace quillet
