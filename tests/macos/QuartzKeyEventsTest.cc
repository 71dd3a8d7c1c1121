#include "platform/macos/QuartzKeyEvents.h"
#include "tests/macos/Account.h"
#include "tests/support/RecordingLog.h"

namespace quillet::macos_tests {
namespace {

using platform::KeyEvent;
using platform::KeyFlag;

constexpr std::uint16_t kKeyA = 0;
constexpr std::uint16_t kKeyV = 9;
constexpr std::uint16_t kReturn = 36;

// As macOS numbers them.
constexpr int kAnnotatedSession = 2;
constexpr int kCombinedState = 0;

class QuartzKeyEventsTest : public testing::Test {
 protected:
  void Press(std::uint16_t key, KeyFlag flag) {
    const KeyEvent press[] = {{key, true, flag}, {key, false, KeyFlag::kNone}};
    events_.Post(press);
  }

  static PostedKey Down(std::uint16_t key) {
    return {.tap = kAnnotatedSession, .key = key, .down = true, .sourceState = kCombinedState};
  }
  static PostedKey Down(std::uint16_t key, std::uint64_t flags) {
    PostedKey posted = Down(key);
    posted.flags = flags;
    posted.flagsWereSet = true;
    return posted;
  }
  static PostedKey Up(std::uint16_t key) {
    return {.tap = kAnnotatedSession, .key = key, .down = false, .sourceState = kCombinedState};
  }

  Account account_;
  Quartz& quartz_ = Quartz::Shared();
  test::RecordingLog log_;
  platform::macos::QuartzKeyEvents events_{log_};
};

TEST_F(QuartzKeyEventsTest, AFlagIsOnTheKeyDownOnly) {
  Press(kReturn, KeyFlag::kNone);
  Press(kKeyA, KeyFlag::kShift);
  Press(kKeyV, KeyFlag::kCommand);
  EXPECT_EQ(quartz_.posted,
            (std::vector<PostedKey>{Down(kReturn), Up(kReturn), Down(kKeyA, 0x20000), Up(kKeyA),
                                    Down(kKeyV, 0x100000), Up(kKeyV)}));
}

TEST_F(QuartzKeyEventsTest, BothEventsAreMadeThenPostedThenReleasedAndTheSourceLast) {
  Press(kKeyA, KeyFlag::kShift);
  EXPECT_EQ(Calls(), (std::vector<std::string>{"source created", "down created", "down flags",
                                               "up created", "down posted", "up posted",
                                               "down released", "up released", "source released"}));
}

TEST_F(QuartzKeyEventsTest, WithoutASourceTheEventsAreMadeWithoutOne) {
  quartz_.hasSources = false;
  Press(kReturn, KeyFlag::kNone);
  ASSERT_EQ(quartz_.posted.size(), 2U);
  EXPECT_EQ(quartz_.posted[0].sourceState, -1);
  EXPECT_EQ(quartz_.posted[1].sourceState, -1);
}

TEST_F(QuartzKeyEventsTest, AnEventThatCannotBeMadeIsLeftOut) {
  quartz_.hasEvents = false;
  Press(kKeyA, KeyFlag::kShift);
  EXPECT_TRUE(quartz_.posted.empty());
}

TEST_F(QuartzKeyEventsTest, MissingPermissionIsOneLogLineAndOneQuestion) {
  quartz_.mayPost = false;
  Press(kKeyA, KeyFlag::kNone);
  Press(kKeyA, KeyFlag::kNone);
  EXPECT_EQ(quartz_.requests, 1);
  ASSERT_EQ(log_.lines().size(), 1U);
  EXPECT_NE(log_.lines()[0].find("Accessibility"), std::string::npos);
  EXPECT_EQ(quartz_.posted.size(), 4U) << "permission may have been given meanwhile";
}

TEST_F(QuartzKeyEventsTest, WithPermissionNobodyIsAsked) {
  Press(kKeyA, KeyFlag::kNone);
  EXPECT_EQ(quartz_.requests, 0);
  EXPECT_TRUE(log_.lines().empty());
}

}  // namespace
}  // namespace quillet::macos_tests
