// Gives every test a descriptor 0 that is /dev/null, as it is when the test runs by itself.
//
// Closing a channel that was never opened closes descriptor 0, and what is opened next gets its
// number. A read thread that an earlier test has left behind would read from it then, and a later
// test's closing would close it.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

class StandardInput final : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nothing <= 0) return;
    dup2(nothing, 0);
    close(nothing);
  }
};

[[maybe_unused]] const bool kListens = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new StandardInput);
  return true;
}();

}  // namespace
