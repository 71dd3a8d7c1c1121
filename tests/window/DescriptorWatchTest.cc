#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <memory>
#include <string>

#include "base/UniqueFd.h"
#include "platform/qt/QtDescriptorWatch.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

class DescriptorWatchTest : public testing::Test {
 protected:
  DescriptorWatchTest() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    input_ = UniqueFd(ends[0]);
    output_ = UniqueFd(ends[1]);
    watch_ = watcher_.Watch(input_.Get(), [this] {
      std::array<char, 16> bytes{};
      const auto count = read(input_.Get(), bytes.data(), bytes.size());
      if (count > 0) received_.append(bytes.data(), static_cast<std::size_t>(count));
    });
  }

  void Send(const std::string& bytes) {
    EXPECT_EQ(write(output_.Get(), bytes.data(), bytes.size()), std::ssize(bytes));
  }

  UniqueFd input_;
  UniqueFd output_;
  std::string received_;
  platform::qt::QtDescriptorWatcher watcher_;
  std::unique_ptr<platform::DescriptorWatch> watch_;
};

TEST_F(DescriptorWatchTest, CallsTheActionWhileBytesAreUnread) {
  SpinUntilIdle();
  std::string sent;
  for (const char* bytes : {"one", "two", "more bytes than one read takes"}) {
    Send(bytes);
    EXPECT_EQ(received_, sent) << "only the main loop calls the action";
    sent += bytes;
    EXPECT_TRUE(SpinUntil([&] { return received_ == sent; }));
  }
}

TEST_F(DescriptorWatchTest, DoesNotCallTheActionAfterDestruction) {
  Send("one");
  watch_.reset();
  SpinUntilIdle();
  EXPECT_EQ(received_, "");
}

TEST_F(DescriptorWatchTest, CanBeDestroyedFromItsAction) {
  int calls = 0;
  const auto witness = std::make_shared<std::string>("still here");
  watch_ = watcher_.Watch(input_.Get(), [this, &calls, witness] {
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
