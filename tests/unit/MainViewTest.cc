#include <gtest/gtest.h>

#include "app/MainView.h"
#include "tests/support/FakePlatform.h"

namespace quillet {
namespace {

class MainViewTest : public testing::Test {
 protected:
  MainViewTest() {
    view_.OnRecordsRemoved([this] { ++removals; });
  }

  /// Adds numbered records of 1,000 bytes each, `size` bytes in total.
  void AddRecords(std::size_t size) {
    for (std::size_t added = 0; added < size; added += 1'000) {
      std::string record = std::to_string(next++) + ":";
      record.resize(999, 'x');
      view_.Append(record + "\n", TextKind::kRecord);
    }
  }

  test::FakeMainQueue queue;
  test::FakeTextView text;
  MainView view_{queue, text};
  int next = 0;
  int removals = 0;
};

TEST_F(MainViewTest, MergesConsecutiveTextIntoOneQueueEntry) {
  view_.Append("a", TextKind::kMessage);
  view_.Append("b", TextKind::kRecord);
  EXPECT_EQ(queue.Size(), 1U);
  std::string atChange;
  view_.Post([&] { atChange = text.text(); });
  view_.Append("c", TextKind::kMessage);
  EXPECT_EQ(queue.Size(), 3U);
  queue.RunAll();
  EXPECT_EQ(atChange, "ab");
  EXPECT_EQ(text.text(), "abc");
  EXPECT_TRUE(text.scrolledToEnd());
  view_.Append("d", TextKind::kRecord);
  queue.RunAll();
  EXPECT_EQ(text.text(), "abcd");
}

TEST_F(MainViewTest, DropsOldestQueuedRecordsButKeepsMessages) {
  view_.Append("first\n", TextKind::kMessage);
  AddRecords(TextBacklog::kMostRecordText / 2);
  view_.Append("second\n", TextKind::kMessage);
  AddRecords(2 * TextBacklog::kMostRecordText);
  EXPECT_EQ(queue.Size(), 1U);
  queue.RunAll();
  const std::string& shown = text.text();
  EXPECT_LE(shown.size(), TextBacklog::kMostRecordText + 20'000);
  EXPECT_GE(shown.size(), TextBacklog::kMostRecordText - 20'000);
  EXPECT_TRUE(shown.starts_with("first\nsecond\n")) << shown.substr(0, 30);
  EXPECT_NE(shown.find("\n" + std::to_string(next - 1) + ":"), std::string::npos);
  EXPECT_EQ(removals, 1);
}

TEST_F(MainViewTest, ReportsRemovedRecordsOnlyOncePerClear) {
  for (int round = 1; round <= 2; ++round) {
    view_.Append("x", TextKind::kRecord);
    queue.RunAll();
    text.RemoveRecords();
    text.RemoveRecords();
    EXPECT_EQ(removals, round);
    view_.Clear();
  }
}

TEST_F(MainViewTest, ClearKeepsQueuedText) {
  view_.Append("shown", TextKind::kRecord);
  queue.RunAll();
  view_.Append("queued", TextKind::kRecord);
  view_.Clear();
  EXPECT_EQ(text.text(), "");
  queue.RunAll();
  EXPECT_EQ(text.text(), "queued");
}

}  // namespace
}  // namespace quillet
