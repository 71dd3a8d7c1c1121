#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "base/SharedText.h"

namespace quillet {
namespace {

TEST(SharedTextTest, KeepsEarlierReferencesValidAfterSet) {
  SharedText text("old");
  const std::string& before = text.Get();
  text.Set("new");
  EXPECT_EQ(before, "old");
  EXPECT_EQ(text.Get(), "new");
}

TEST(SharedTextTest, StoresARepeatedValueOnlyOnce) {
  SharedText text("a");
  const std::string* first = &text.Get();
  text.Set("b");
  text.Set("a");
  EXPECT_EQ(&text.Get(), first);
}

TEST(SharedTextTest, ReturnsCompleteValuesDuringConcurrentWrites) {
  SharedText text(std::string(1000, 'a'));
  std::atomic<bool> stop{false};
  std::thread writer([&] {
    for (int i = 0; !stop; ++i) text.Set(std::string(1000, static_cast<char>('a' + i % 7)));
  });
  for (int i = 0; i < 20000; ++i) {
    const std::string& seen = text.Get();
    ASSERT_EQ(seen.find_first_not_of(seen[0]), std::string::npos);
  }
  stop = true;
  writer.join();
}

}  // namespace
}  // namespace quillet
