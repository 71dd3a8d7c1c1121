#include <gtest/gtest.h>

#include "platform/posix/ProcessExit.h"
#include "tests/platform/RunProgram.h"

#if defined(__SANITIZE_ADDRESS__)
#define QUILLET_CHECKS_LEAKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUILLET_CHECKS_LEAKS 1
#endif
#endif

namespace quillet::platform::posix {
namespace {

TEST(ProcessExit, ClosedStandardDescriptorsAreOpenedOnTheNullDevice) {
  constexpr int kNoneChanged = 10;  // then one bit for each that was
  const auto run = [](const std::set<int>& closed) {
    return test::RunProgram({PLATFORM_HELPER, "descriptors"}, closed).status;
  };
  const int input = run({}) - kNoneChanged;  // the test's own input may be the null device
  EXPECT_EQ(input & ~1, 0);
  EXPECT_EQ(run({0}), kNoneChanged + 1);
  EXPECT_EQ(run({1}), kNoneChanged + (input | 2));
  EXPECT_EQ(run({2}), kNoneChanged + (input | 4));
  EXPECT_EQ(run({0, 2}), kNoneChanged + 5);
  EXPECT_EQ(run({0, 1, 2}), kNoneChanged + 7);
}

TEST(ProcessExit, LeavingFlushesLogAndOutputAndRunsNoDestructor) {
  const test::ProgramResult result = test::RunProgram({PLATFORM_HELPER, "leave", "7"});
  EXPECT_EQ(result.status, 7) << result.errors;
  EXPECT_EQ(result.output, "a line of the log");
}

TEST(ProcessExit, ALibraryThatEndsTheProcessEndsItInTheSameOrder) {
  const test::ProgramResult result = test::RunProgram({PLATFORM_HELPER, "exit"});
  EXPECT_EQ(result.status, 1) << result.errors;
  EXPECT_EQ(result.output, "a line of the log");
}

#ifdef QUILLET_CHECKS_LEAKS
TEST(ProcessExit, LeavingChecksForLeaks) {
  const test::ProgramResult result = test::RunProgram({PLATFORM_HELPER, "leave-leaking"});
  EXPECT_NE(result.status, 0);
  EXPECT_NE(result.errors.find("detected memory leaks"), std::string::npos) << result.errors;
}
#endif

}  // namespace
}  // namespace quillet::platform::posix
