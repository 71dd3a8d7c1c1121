#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "platform/qt/QtDescriptorWatch.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using platform::DescriptorWatch;
using platform::qt::QtDescriptorWatcher;

class DescriptorWatchTest : public testing::Test {
 protected:
  DescriptorWatchTest() { EXPECT_EQ(pipe(ends_.data()), 0); }

  ~DescriptorWatchTest() override {
    watch_.reset();
    close(ends_[0]);
    close(ends_[1]);
  }

  void Watch() {
    watch_ = watcher_.Watch(ends_[0], [this] {
      std::array<char, 16> bytes{};
      const auto n = read(ends_[0], bytes.data(), bytes.size());
      if (n > 0) received_.append(bytes.data(), static_cast<std::size_t>(n));
    });
  }

  void Send(const char* text) {
    const std::string bytes(text);
    EXPECT_EQ(write(ends_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  std::array<int, 2> ends_{};
  QtDescriptorWatcher watcher_;
  std::unique_ptr<DescriptorWatch> watch_;
  std::string received_;
};

TEST_F(DescriptorWatchTest, CallsFromTheMainLoopWhenThereIsSomethingToRead) {
  Watch();
  SpinUntilIdle();
  EXPECT_EQ(received_, "");
  Send("one");
  EXPECT_EQ(received_, "");
  EXPECT_TRUE(SpinUntil([this] { return received_ == "one"; }));
  Send("two");
  EXPECT_TRUE(SpinUntil([this] { return received_ == "onetwo"; }));
}

TEST_F(DescriptorWatchTest, CallsAgainAsLongAsSomethingIsLeft) {
  Watch();
  Send("more than sixteen bytes at once");
  EXPECT_TRUE(SpinUntil([this] { return received_ == "more than sixteen bytes at once"; }));
}

TEST_F(DescriptorWatchTest, DestroyingTheWatchEndsIt) {
  Watch();
  Send("one");
  watch_.reset();
  SpinUntilIdle();
  EXPECT_EQ(received_, "");
}

TEST_F(DescriptorWatchTest, WatchMayBeDestroyedWithinItsOwnAction) {
  int calls = 0;
  const auto witness = std::make_shared<std::string>("still here");
  watch_ = watcher_.Watch(ends_[0], [this, &calls, witness] {
    watch_.reset();
    ++calls;
    EXPECT_EQ(*witness, "still here");
  });
  Send("one");
  EXPECT_TRUE(SpinUntil([&] { return calls == 1; }));
  SpinUntilIdle();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(witness.use_count(), 1);
}

}  // namespace
}  // namespace quillet::window_tests
