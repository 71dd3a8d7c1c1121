#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "platform/linux/UinputKeyEvents.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using test::FakeClock;

constexpr std::uint16_t kKeyA = 0;
constexpr std::uint16_t kReturn = 36;

// A keyboard whose events come out of a socket, and whose lights are set through it.
class UinputKeyEventsTest : public ::testing::Test {
 protected:
  UinputKeyEventsTest() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) std::abort();
    keyboard_ = ends[0];
    desktop_ = ends[1];
  }
  ~UinputKeyEventsTest() override { close(desktop_); }

  int Make() {
    ++made_;
    if (error_ != 0) {
      errno = error_;
      return -1;
    }
    return keyboard_;
  }

  void Press(std::uint16_t key, KeyFlag flag = KeyFlag::kNone) {
    const KeyEvent press[] = {{key, true, flag}, {key, false, KeyFlag::kNone}};
    keys_.Post(press);
  }

  void Light(std::int32_t on) {
    input_event light{};
    light.type = EV_LED;
    light.code = LED_CAPSL;
    light.value = on;
    ASSERT_EQ(write(desktop_, &light, sizeof light), static_cast<ssize_t>(sizeof light));
  }

  /// What has been written, "a+ ." for key 'a' down and the report's end. Empties it.
  std::string Written() {
    std::string text;
    input_event event{};
    while (read(desktop_, &event, sizeof event) == static_cast<ssize_t>(sizeof event)) {
      EXPECT_EQ(event.time.tv_sec, 0);
      if (event.type == EV_SYN) {
        EXPECT_EQ(event.code, SYN_REPORT);
        text += ". ";
      } else {
        EXPECT_EQ(event.type, EV_KEY);
        text += std::to_string(event.code) + (event.value == 1 ? "+" : "-");
      }
    }
    return text;
  }

  int made_ = 0;
  int error_ = 0;
  int keyboard_ = -1;
  int desktop_ = -1;
  test::RecordingLog log_;
  FakeClock clock_{100000};
  UinputKeyEvents keys_{log_, clock_, [this] { return Make(); }};
};

TEST_F(UinputKeyEventsTest, EveryStrokeIsAReportOfItsOwn) {
  Press(kKeyA);
  EXPECT_EQ(Written(), "30+. 30-. ");
  Press(kKeyA, KeyFlag::kShift);
  EXPECT_EQ(Written(), "42+. 30+. 42-. 30-. ");
  Press(9, KeyFlag::kCommand);
  EXPECT_EQ(Written(), "29+. 47+. 29-. 47-. ");
  Press(kReturn);
  EXPECT_EQ(Written(), "28+. 28-. ");
}

TEST_F(UinputKeyEventsTest, TheKeyboardIsMadeOnceWhenItIsFirstNeeded) {
  EXPECT_EQ(made_, 0);
  for (int i = 0; i < 5; ++i) Press(kKeyA);
  EXPECT_EQ(made_, 1);
  EXPECT_EQ(clock_.sleeps(), (std::vector<FakeClock::Duration>{1500ms}));
}

TEST_F(UinputKeyEventsTest, APauseComesLongBeforeTheKernelsRoomIsUsed) {
  std::size_t sinceLast = 0;
  std::size_t most = 0;
  clock_.OnSleep([&](std::size_t) { sinceLast = 0; });
  for (int i = 0; i < 1000; ++i) {
    Press(kKeyA, i % 3 == 0 ? KeyFlag::kShift : KeyFlag::kNone);
    const std::string written = Written();
    sinceLast += 2 * static_cast<std::size_t>(std::count(written.begin(), written.end(), '.'));
    most = std::max(most, sinceLast);
  }
  EXPECT_LE(most, 32U);
  EXPECT_GT(most, 24U);
}

TEST_F(UinputKeyEventsTest, WhileCapsLockIsLitTheLettersShiftIsTurnedRound) {
  Light(1);
  Press(kKeyA);
  EXPECT_EQ(Written(), "42+. 30+. 42-. 30-. ");
  Press(kReturn);
  EXPECT_EQ(Written(), "28+. 28-. ");
  Light(0);
  Press(kKeyA);
  EXPECT_EQ(Written(), "30+. 30-. ");
}

TEST_F(UinputKeyEventsTest, MissingPermissionIsOneLogLineThatNamesTheRule) {
  error_ = EACCES;
  for (int i = 0; i < 3; ++i) Press(kKeyA);
  EXPECT_EQ(log_.lines(), std::vector<std::string>{
                              "Cannot type on this desktop: /dev/uinput: Permission denied. The "
                              "udev rule 70-quillet-uinput.rules allows it once it is installed."});
  EXPECT_EQ(clock_.sleeps(), std::vector<FakeClock::Duration>{});
  close(keyboard_);
}

TEST_F(UinputKeyEventsTest, PermissionThatComesLaterIsUsed) {
  error_ = EACCES;
  Press(kKeyA);
  error_ = 0;
  Press(kKeyA);
  EXPECT_EQ(Written(), "30+. 30-. ");
}

TEST_F(UinputKeyEventsTest, ADeviceThatIsNoUinputIsRefused) {
  EXPECT_EQ(MakeVirtualKeyboard("/dev/null"), -1);
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_EQ(MakeVirtualKeyboard("/nowhere"), -1);
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
