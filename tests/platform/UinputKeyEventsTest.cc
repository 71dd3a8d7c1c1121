#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/input.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/UinputKeyEvents.h"
#include "tests/platform/Compositor.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;
using test::FakeClock;

constexpr std::uint16_t kVirtualA = 0;
constexpr std::uint16_t kVirtualReturn = 36;

/// A virtual keyboard that writes to a socket instead of the kernel. At the other end, the test
/// reads the events and sets the LEDs.
class UinputKeyEventsTest : public ::testing::Test {
 protected:
  UinputKeyEventsTest() {
    signal(SIGPIPE, SIG_IGN);  // raised only by the socket, not by a real device
    Connect();
  }
  ~UinputKeyEventsTest() override { close(desktop_); }

  void Connect() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0) std::abort();
    keyboard_ = ends[0];
    desktop_ = ends[1];
  }

  int Make() {
    ++made_;
    errno = error_;
    return error_ == 0 ? keyboard_ : -1;
  }

  /// Creates the keyboard and advances the clock by a second.
  void Begin() {
    Press(kVirtualReturn);
    Written();
    clock_.Advance(1s);
    clock_.ForgetSleeps();
  }

  void Press(std::uint16_t key, KeyFlag flag = KeyFlag::kNone) {
    const KeyEvent press[] = {{key, true, flag}, {key, false, KeyFlag::kNone}};
    keys_.Post(press);
  }

  void SetCapsLockLight(bool on) {
    input_event light{};
    light.type = EV_LED;
    light.code = LED_CAPSL;
    light.value = on ? 1 : 0;
    ASSERT_EQ(write(desktop_, &light, sizeof light), static_cast<ssize_t>(sizeof light));
  }

  /// Returns the new events: "30+" for key 30 down, "30-" for up, "." for the end of a report.
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

  void ExpectFailure(const std::string& reason) {
    EXPECT_EQ(log_.lines(), std::vector<std::string>{
                                "Quillet cannot type on this desktop: /dev/uinput: " + reason});
  }

  int made_ = 0;
  int error_ = 0;
  int keyboard_ = -1;
  int desktop_ = -1;
  test::RecordingLog log_;
  FakeClock clock_{100000};
  SentKeys sent_{1ms};
  UinputKeyEvents keys_{log_, clock_, sent_, [this] { return Make(); }};
};

TEST_F(UinputKeyEventsTest, CreatesTheKeyboardOnceOnFirstUse) {
  EXPECT_EQ(made_, 0);
  for (int i = 0; i < 5; ++i) Press(kVirtualA);
  EXPECT_EQ(made_, 1);
  EXPECT_EQ(clock_.sleeps(), (std::vector<FakeClock::Duration>{1500ms}));
}

TEST_F(UinputKeyEventsTest, PausesBeforeTheKernelBufferIsFull) {
  constexpr std::size_t kBuffer = 512;  // maximum number of unread events that the kernel keeps
  Begin();
  std::vector<std::pair<std::chrono::nanoseconds, std::size_t>> writes;
  std::size_t all = 0;
  const auto start = clock_.Now();
  for (int i = 0; i < 1000; ++i) {
    Press(kVirtualA, i % 3 == 0 ? KeyFlag::kShift : KeyFlag::kNone);
    const std::string written = Written();
    const auto count =
        2 * static_cast<std::size_t>(std::count(written.begin(), written.end(), '.'));
    writes.emplace_back(clock_.Now(), count);
    all += count;
  }
  // A desktop that stops reading for 0.3 s at any time must not lose events.
  for (auto from = writes.begin(); from != writes.end(); ++from) {
    std::size_t unread = 0;
    for (auto it = from; it != writes.end() && it->first <= from->first + 300ms; ++it) {
      unread += it->second;
    }
    ASSERT_LT(unread, kBuffer);
  }
  // After the first 96 events, the expected rate is 1280 events per second.
  const std::chrono::duration<double> taken = clock_.Now() - start;
  EXPECT_NEAR(static_cast<double>(all - 96) / taken.count(), 1280, 40);
  EXPECT_EQ(clock_.Count(25ms), clock_.sleeps().size());
}

TEST_F(UinputKeyEventsTest, DoesNotPauseForAnOrdinaryScan) {
  Begin();
  for (int scan = 0; scan < 10; ++scan) {
    clock_.Advance(100ms);
    for (int digit = 0; digit < 13; ++digit) Press(18);
    Press(kVirtualReturn);
  }
  EXPECT_EQ(clock_.sleeps(), std::vector<FakeClock::Duration>{});
}

TEST_F(UinputKeyEventsTest, PausesWhileTypingALongRecord) {
  Begin();
  std::vector<KeyEvent> events;
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    events.push_back({kVirtualA, true, KeyFlag::kNone});
    events.push_back({kVirtualA, false, KeyFlag::kNone});
    expected += "30+. 30-. ";
  }
  keys_.Post(events);
  EXPECT_EQ(Written(), expected);
  EXPECT_EQ(clock_.sleeps().size(), (400U - 96U + 31U) / 32U);
}

TEST_F(UinputKeyEventsTest, InvertsShiftWhileTheCapsLockLedIsOn) {
  SetCapsLockLight(true);
  Press(kVirtualA);
  Press(kVirtualReturn);
  EXPECT_EQ(Written(), "42+. 30+. 42-. 30-. 28+. 28-. ");
  SetCapsLockLight(false);
  Press(kVirtualA);
  EXPECT_EQ(Written(), "30+. 30-. ");
}

TEST_F(UinputKeyEventsTest, LogsMissingPermissionOnceAndTypesWhenGranted) {
  error_ = EACCES;
  for (int i = 0; i < 3; ++i) Press(kVirtualA);
  ExpectFailure("Permission denied. Install the udev rules file 70-quillet-uinput.rules.");
  EXPECT_EQ(clock_.sleeps(), std::vector<FakeClock::Duration>{});
  error_ = 0;
  Press(kVirtualA);
  EXPECT_EQ(Written(), "30+. 30-. ");
}

TEST_F(UinputKeyEventsTest, DoesNotNameTheUdevRuleIfUinputIsMissing) {
  error_ = ENOENT;
  Press(kVirtualA);
  ExpectFailure("No such file or directory");
  close(keyboard_);
}

TEST_F(UinputKeyEventsTest, ChecksAccessWithoutCreatingAKeyboard) {
  EXPECT_EQ(UinputProblem("/dev/null"), "");
  EXPECT_EQ(UinputProblem("/dev/none"), "/dev/uinput: No such file or directory");
  close(keyboard_);
}

TEST_F(UinputKeyEventsTest, RecreatesAFailedKeyboard) {
  SetCapsLockLight(true);
  Press(kVirtualA);
  close(desktop_);
  Press(kVirtualA);
  for (int i = 0; i < 2; ++i) {
    Connect();
    close(desktop_);
    Press(kVirtualA);
  }
  ExpectFailure("Broken pipe");
  Connect();
  Press(kVirtualA);
  EXPECT_EQ(Written(), "30+. 30-. ");
  EXPECT_EQ(made_, 4);
  EXPECT_EQ(clock_.Count(1500ms), 4U);
}

TEST_F(UinputKeyEventsTest, TreatsAShortWriteAsAnError) {
  const test::TemporaryFolder folder;
  close(keyboard_);
  keyboard_ = open((folder / "keyboard").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{sizeof(input_event) + 1, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  Press(kVirtualA);
  setrlimit(RLIMIT_FSIZE, &before);
  ExpectFailure("Input/output error");
}

struct UinputLayoutTest : UinputKeyEventsTest {
  std::string Type(char character, KeyFlag flag = KeyFlag::kNone) {
    const KeyEvent press[] = {{0, true, flag, character}, {0, false, KeyFlag::kNone, character}};
    withLayout.Post(press);
    return Written();
  }

  SessionLayout layout;
  UinputKeyEvents withLayout{log_, clock_, sent_, [this] { return Make(); }, &layout};
};

TEST_F(UinputLayoutTest, UsesTheKeyCodesOfTheActiveLayout) {
  const test::Compositor compositor(false, "de");
  EXPECT_EQ(withLayout.Untypable("zZ@\n"), "");
  EXPECT_EQ(Type('z'), "21+. 21-. ");
  EXPECT_EQ(Type('@'), "84+. 16+. 84-. 16-. ");  // 84 is <LVL3> in the keymap
}

TEST_F(UinputLayoutTest, PressesTheSpaceBarAfterADeadKey) {
  const test::Compositor compositor(false, "de");
  EXPECT_EQ(withLayout.Untypable("^`"), "");
  EXPECT_EQ(Type('^'), "41+. 41-. 57+. 57-. ");
  EXPECT_EQ(Type('`'), "42+. 13+. 42-. 13-. 57+. 57-. ");
}

TEST_F(UinputLayoutTest, RefusesKeysThatDifferBetweenLayouts) {
  const test::Compositor compositor(false, "us,de");
  EXPECT_EQ(withLayout.Untypable("azya1"), "zy");
  EXPECT_EQ(Type('a'), "30+. 30-. ");
}

TEST_F(UinputLayoutTest, ChoosesAPasteShortcutThatWorksInAllLayouts) {
  const auto pastedWith = [&](const char* layouts) {
    const test::Compositor compositor(false, layouts);
    SessionLayout fresh;
    UinputKeyEvents keys{log_, clock_, sent_, [this] { return dup(Make()); }, &fresh};
    const KeyEvent press[] = {{0, true, KeyFlag::kCommand, 'v'}, {0, false, KeyFlag::kNone, 'v'}};
    keys.Post(press);
    EXPECT_EQ(keys.Problem(), "");
    return Written();
  };
  EXPECT_EQ(pastedWith("us,de"), "29+. 47+. 29-. 47-. ");
  EXPECT_EQ(pastedWith("us,ru"), "42+. 110+. 42-. 110-. ");
  EXPECT_EQ(pastedWith("us,us(dvorak)"), "42+. 110+. 42-. 110-. ");
  close(keyboard_);
}

TEST_F(UinputLayoutTest, DropsTheRecordIfTheLayoutHasChanged) {
  const test::Compositor compositor(false, "us,de");
  const KeyEvent record[] = {{0, true, KeyFlag::kNone, 'a'},
                             {0, false, KeyFlag::kNone, 'a'},
                             {0, true, KeyFlag::kNone, 'z'},
                             {0, false, KeyFlag::kNone, 'z'}};
  withLayout.Post(record);
  EXPECT_EQ(Written(), "");
  EXPECT_EQ(withLayout.Problem(), "the keyboard layout changed while a record was being typed");
  EXPECT_EQ(Type('a'), "30+. 30-. ");
  EXPECT_EQ(withLayout.Problem(), "");
}

TEST_F(UinputLayoutTest, UsesTheLastKnownLayoutIfReadingFails) {
  {
    const test::Compositor compositor(false, "de");
    EXPECT_EQ(Type('z'), "21+. 21-. ");
  }
  EXPECT_EQ(Type('z'), "21+. 21-. ");  // detects that the connection has ended
  EXPECT_EQ(Type('z'), "21+. 21-. ");
}

TEST_F(UinputKeyEventsTest, RefusesADeviceOtherThanUinput) {
  EXPECT_EQ(MakeVirtualKeyboard("/dev/null"), -1);
  EXPECT_EQ(errno, ENOTTY);
  EXPECT_EQ(MakeVirtualKeyboard("/nowhere"), -1);
  EXPECT_EQ(errno, ENOENT);
  close(keyboard_);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
