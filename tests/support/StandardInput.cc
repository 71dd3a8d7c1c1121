// Opens /dev/null as descriptor 0 before each test.
//
// Closing a serial port that was never opened closes descriptor 0. If it stayed closed, the next
// file that a test opens would become descriptor 0. Read threads of earlier tests would read from
// that file, and later tests would close it.

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
