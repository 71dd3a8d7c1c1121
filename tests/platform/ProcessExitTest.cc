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

TEST(ProcessExit, ConnectsClosedStandardStreamsToTheNullDevice) {
  constexpr int kNone = 10;  // status if no descriptor is the null device; see CheckDescriptors
  const auto run = [](const std::set<int>& closed) {
    return test::RunProgram({PLATFORM_HELPER, "descriptors"}, closed).status;
  };
  const int input = run({}) - kNone;  // the test's standard input may be the null device
  EXPECT_EQ(input & ~1, 0);
  EXPECT_EQ(run({0}), kNone + 1);
  EXPECT_EQ(run({1}), kNone + (input | 2));
  EXPECT_EQ(run({2}), kNone + (input | 4));
  EXPECT_EQ(run({0, 2}), kNone + 5);
  EXPECT_EQ(run({0, 1, 2}), kNone + 7);
}

TEST(ProcessExit, LeaveProcessFlushesTheLogAndRunsNoDestructors) {
  const test::ProgramResult left = test::RunProgram({PLATFORM_HELPER, "leave", "7"});
  EXPECT_EQ(left.status, 7) << left.errors;
  EXPECT_EQ(left.output, "a line of the log");
  const test::ProgramResult exited = test::RunProgram({PLATFORM_HELPER, "exit"});
  EXPECT_EQ(exited.status, 1) << "a library called exit: " << exited.errors;
  EXPECT_EQ(exited.output, "a line of the log");
}

TEST(ProcessExit, RestartsWithTheSameArgumentsAndNoOpenFiles) {
  const test::ProgramResult restarted = test::RunProgram({PLATFORM_HELPER, "restart", "two words"});
  EXPECT_EQ(restarted.status, 0) << restarted.errors;
  EXPECT_EQ(restarted.output, "a line of the log|two words");
}

#ifdef QUILLET_CHECKS_LEAKS
TEST(ProcessExit, LeaveProcessChecksForLeaks) {
  const test::ProgramResult result = test::RunProgram({PLATFORM_HELPER, "leave-leaking"});
  EXPECT_NE(result.status, 0);
  EXPECT_NE(result.errors.find("detected memory leaks"), std::string::npos) << result.errors;
}
#endif

}  // namespace
}  // namespace quillet::platform::posix
