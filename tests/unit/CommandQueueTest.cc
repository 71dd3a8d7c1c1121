#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "device/CommandQueue.h"

namespace quillet {
namespace {

TEST(CommandQueueTest, ReturnsEntriesInOrder) {
  CommandQueue queue;
  queue.Append({0x01, 'M'});
  queue.Append({0x03, 'w', '1', '#'});
  const std::string commands[] = {"M", "w1#"};
  for (const std::string& command : commands) {
    const auto head = queue.Head();
    ASSERT_TRUE(head);
    EXPECT_EQ(head->type, command[0]);
    EXPECT_EQ(std::string(head->command.begin(), head->command.begin() + head->commandLength),
              command);
    ASSERT_TRUE(queue.Consume(*head));
  }
  EXPECT_FALSE(queue.Head());
  queue.Append({0x01});
  EXPECT_FALSE(queue.Head()) << "an entry of a single byte";
}

TEST(CommandQueueTest, StoresAWakeupInTwoBytes) {
  for (std::uint8_t argument = 0; argument < 8; ++argument) {
    CommandQueue queue;
    queue.Append({argument, 'W'});
    queue.Append({0x01, 'N'});
    ASSERT_TRUE(queue.Consume(*queue.Head()));
    EXPECT_EQ(queue.cmdRead(), 2);
    EXPECT_EQ(queue.Head()->type, 'N');
  }
}

TEST(CommandQueueTest, FindsQueuedCommandsByType) {
  CommandQueue queue;
  queue.Append({0x05, 'W'});  // a wake-up: 0x05 is its argument, not a length
  queue.Append({0x03, '1', 'E', '0'});
  EXPECT_FALSE(queue.Holds('E')) << "no command of this type";
  queue.Append({0x01, 'E'});
  for (const std::uint8_t type : {std::uint8_t{'W'}, std::uint8_t{'1'}, std::uint8_t{'E'}}) {
    EXPECT_TRUE(queue.Holds(type));
    queue.Consume(*queue.Head());
    EXPECT_FALSE(queue.Holds(type));
  }
}

TEST(CommandQueueTest, RejectsAnEntryThatDoesNotFit) {
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

TEST(CommandQueueTest, CannotConsumeAnEntryAddedBeforeAReset) {
  CommandQueue queue;
  queue.Append({0x01, 'p'});
  const auto old = queue.Head();
  queue.Reset();
  queue.Append({0x00, 'W'});
  EXPECT_FALSE(queue.Consume(*old));
  EXPECT_EQ(queue.Head()->type, 'W');
}

TEST(CommandQueueTest, KeepsEntriesIntactDuringAppendsAndRewinds) {
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
    ASSERT_EQ(bytes[2] << 8 | bytes[3], next[bytes[1]]++) << "writer " << int{bytes[1]};
    ASSERT_TRUE(queue.Consume(*entry));
    ++taken;
  }
  finished = true;
  rewinder.join();
  for (auto& writer : writers) writer.join();
  EXPECT_FALSE(queue.Head());
}

TEST(CommandQueueTest, KeepsEntriesIntactDuringResets) {
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
  int longEntries = 0;
  while (longEntries < 20000) {
    const auto entry = queue.Head();
    if (!entry) continue;
    if (entry->type == 'x') {
      ASSERT_EQ(entry->commandLength, 5U);
      for (std::uint8_t i = 1; i < 5; ++i) ASSERT_EQ(entry->command[i], i);
      ++longEntries;
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

}  // namespace
}  // namespace quillet
