#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "output/KeyTables.h"
#include "platform/linux/X11KeyEvents.h"
#include "platform/posix/PosixClock.h"
#include "tests/platform/FakePortal.h"
#include "tests/platform/TypedText.h"
#include "tests/platform/XServer.h"
#include "tests/support/FakeClock.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::linux_desktop {
namespace {

std::string EveryCharacter() {
  std::string all = "\n\t";
  for (char character = ' '; character <= '~'; ++character) all += character;
  return all;
}

std::vector<KeyEvent> EventsOf(std::string_view text) {
  std::vector<KeyEvent> events;
  for (const char character : text) {
    const KeyValue key = KeyForCharacter(static_cast<unsigned char>(character));
    const auto virtualKey = static_cast<std::uint16_t>(key & kKeyCodeMask);
    const KeyFlag flag = key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone;
    events.push_back({virtualKey, true, flag, character});
    events.push_back({virtualKey, false, KeyFlag::kNone, character});
  }
  return events;
}

std::string OutputOf(const std::string& command) {
  std::string output;
  FILE* const pipe = popen(command.c_str(), "r");
  for (int character = fgetc(pipe); character != EOF; character = fgetc(pipe)) {
    output += static_cast<char>(character);
  }
  EXPECT_EQ(pclose(pipe), 0) << command;
  return output;
}

// Returns the keymap and the keyboard's indicators, such as Caps Lock, as text.
std::string Keyboard() {
  return OutputOf("xkbcomp -w0 $DISPLAY - 2>/dev/null") + OutputOf("xset q | grep -A3 'LED'");
}

class X11KeyEventsTest : public ::testing::Test {
 protected:
  void Use(const std::string& layout) { OutputOf("setxkbmap " + layout + " 2>&1"); }
  void Type(std::string_view text) { keys_->Post(EventsOf(text)); }
  void ExpectTypes(const std::string& text) {
    const std::string before = typed_.Text();
    Type(text);
    EXPECT_EQ(typed_.WaitFor(before + text).substr(before.size()), text);
  }

  test::XServer server_;
  test::RecordingLog log_;
  posix::PosixClock clock_;
  std::optional<X11KeyEvents> keys_{std::in_place, log_, clock_};
  test::TypedText typed_;
};

class X11LayoutTest : public X11KeyEventsTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(X11LayoutTest, TypesEveryCharacterAndRestoresTheKeymap) {
  Use(GetParam());
  const std::string before = Keyboard();
  ExpectTypes(EveryCharacter());
  ExpectTypes("4006381333931");
  EXPECT_EQ(keys_->Untypable(EveryCharacter()), "");
  keys_->End();
  EXPECT_TRUE(Keyboard() == before);
}

INSTANTIATE_TEST_SUITE_P(Layouts, X11LayoutTest,
                         ::testing::Values("us", "de", "fr", "gb", "us dvorak", "tr f", "ru",
                                           "ch fr", "de neo", "gr", "jp", "ara", "us,de", "'ru,us'",
                                           "us intl", "us,ru -option caps:shiftlock"));

// Presses or releases a key of the XTEST keyboard.
void Hold(const std::string& key, bool down) {
  OutputOf("xdotool " + std::string(down ? "keydown " : "keyup ") + key);
}

TEST_F(X11KeyEventsTest, TypesWhileCapsLockAndNumLockAreOn) {
  for (const char* options : {"", "-option caps:shiftlock", "-option shift:breaks_caps"}) {
    for (const char* layout : {"us", "de neo", "fr", "ru"}) {
      Use("-option");
      Use(std::string(layout) + " " + options);
      OutputOf("xdotool key Caps_Lock key Num_Lock");
      const std::string before = Keyboard();
      ExpectTypes(EveryCharacter());
      ExpectTypes("abc-12");
      keys_->End();
      EXPECT_TRUE(Keyboard() == before) << layout << options;
      keys_.emplace(log_, clock_);
      OutputOf("xdotool key Caps_Lock key Num_Lock");
    }
  }
}

TEST_F(X11KeyEventsTest, TypesWhileModifiersAreHeld) {
  for (const char* key : {"Shift_L", "Control_R", "Alt_L", "Super_L", "ISO_Level3_Shift", "a"}) {
    Use("de");
    Hold(key, true);
    const std::string before = typed_.Text();
    Type("abc-12");
    EXPECT_EQ(typed_.WaitFor(before + "abc-12").substr(before.size()), "abc-12") << key;
    Hold(key, false);
    ExpectTypes("x");
  }
}

TEST_F(X11KeyEventsTest, LeavesAHeldShiftKeyPressed) {
  Hold("Shift_L", true);
  Type("abc");
  EXPECT_EQ(typed_.WaitFor("abc"), "abc");
  OutputOf("xdotool key d");
  EXPECT_EQ(typed_.WaitFor("abcD"), "abcD");
}

TEST_F(X11KeyEventsTest, LeavesTheCurrentGroupUnchangedAfterTyping) {
  Use("us,de,ru");
  for (int group = 0; group < 3; ++group) {
    typed_.LockGroup(group);
    EXPECT_EQ(typed_.Group(), group);
    ExpectTypes(EveryCharacter());
    EXPECT_EQ(typed_.Group(), group);
  }
}

TEST_F(X11KeyEventsTest, TypesWithNeoAsTheSecondLayout) {
  Use("us,de -variant ,neo");
  typed_.LockGroup(1);
  ExpectTypes(EveryCharacter());
  EXPECT_EQ(typed_.Group(), 1);
}

// A clock whose sleeps last until a window has handled its events, however slow the computer is.
class WindowClock final : public Clock {
 public:
  explicit WindowClock(test::TypedText& window) : window_(window) {}

  // Handles the window's events and returns its text.
  const std::string& Text() {
    const std::string& text = window_.Text();
    ++readings_;
    return text;
  }

  CalendarTime LocalTime() override { return clock_.LocalTime(); }
  std::chrono::nanoseconds Now() override { return clock_.Now(); }
  void SetSleepSlack(std::chrono::microseconds slack) override { clock_.SetSleepSlack(slack); }
  void Sleep(std::chrono::microseconds duration) override {
    clock_.Sleep(duration);
    // Waits for two calls of Text, because the first may have begun before the latest events.
    const int enough = readings_ + 2;
    test::WaitFor([&] { return readings_ >= enough; });
  }

 private:
  test::TypedText& window_;
  posix::PosixClock clock_;
  std::atomic<int> readings_ = 0;
};

// A window translates keys correctly only if it reads each keymap before the next one replaces it.
TEST_F(X11KeyEventsTest, FollowsALayoutChangeWhileTypingARecord) {
  std::string text;
  for (int i = 0; i < 300; ++i) text += EveryCharacter();
  WindowClock clock(typed_);
  X11KeyEvents keys(log_, clock);
  std::thread typist([&] { keys.Post(EventsOf(text)); });
  std::size_t next = 0;
  for (const char* layout : {"de", "ru", "us dvorak", "fr", "us"}) {
    next += 2000;
    EXPECT_TRUE(test::WaitFor([&] { return clock.Text().size() >= next; })) << layout;
    Use(layout);
  }
  EXPECT_TRUE(test::WaitFor([&] { return clock.Text().size() >= text.size(); }));
  EXPECT_TRUE(typed_.Text() == text);
  typist.join();
}

TEST_F(X11KeyEventsTest, TypesEvenIfTheXtestKeyboardHasADifferentLayout) {
  const std::string device =
      OutputOf("xinput list --id-only 'Virtual core XTEST keyboard' 2>/dev/null || echo 5");
  Use("us");
  Use("-device " + device.substr(0, device.find('\n')) + " de");
  ExpectTypes(EveryCharacter());
}

TEST_F(X11KeyEventsTest, UsesTheCurrentLayoutForThePasteShortcut) {
  const KeyEvent paste[] = {{9, true, KeyFlag::kCommand, 'v'}, {9, false, KeyFlag::kNone, 'v'}};
  struct Case {
    const char* layout;
    const char* shortcut;
  };
  std::string expected;
  for (const Case& one : std::initializer_list<Case>{
           {"us", "^V"}, {"us dvorak", "^V"}, {"tr f", "^V"}, {"ru,us", "^V"}, {"ru", "^I"}}) {
    Use(one.layout);
    keys_->Post(paste);
    expected += one.shortcut;
    ExpectTypes("x");
    EXPECT_EQ(typed_.Shortcuts(), expected) << one.layout;
  }
}

TEST_F(X11KeyEventsTest, ReportsARecordThatCouldNotBeTyped) {
  const KeyEvent unknown[] = {{0, true, KeyFlag::kNone, '\x01'},
                              {0, false, KeyFlag::kNone, '\x01'}};
  keys_->Post(unknown);
  EXPECT_EQ(keys_->Problem(), "the keyboard layout has no key for one of the characters");
  ExpectTypes("x");
  EXPECT_EQ(keys_->Problem(), "");
}

// A file mapped by this process, like a plugin that a program has loaded.
class MappedFile {
 public:
  explicit MappedFile(const std::string& path) {
    std::filesystem::create_directories(path.substr(0, path.rfind('/')));
    test::PutFile(path, "plugin");
    const int file = open(path.c_str(), O_RDONLY);
    memory_ = mmap(nullptr, kSize, PROT_READ, MAP_PRIVATE, file, 0);
    close(file);
  }
  ~MappedFile() { munmap(memory_, kSize); }
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;

 private:
  static constexpr std::size_t kSize = 6;
  void* memory_ = nullptr;
};

// The window with focus belongs to the test's own process.
TEST_F(X11KeyEventsTest, NamesTheInputMethodOfAQtProgram) {
  const test::TemporaryFolder folder;
  const test::FakePortal emptyBus;
  EXPECT_EQ(keys_->InputMethod(), "");
  const std::string plugins = folder.path() + "/platforminputcontexts/lib";
  const MappedFile compose(plugins + "composeplatforminputcontextplugin.so");
  EXPECT_EQ(keys_->InputMethod(), "");
  {
    const MappedFile ibus(plugins + "ibusplatforminputcontextplugin.so");
    EXPECT_EQ(keys_->InputMethod(), "IBus");
  }
  const MappedFile fcitx(plugins + "fcitx5platforminputcontextplugin.so");
  EXPECT_EQ(keys_->InputMethod(), "Fcitx");
}

TEST_F(X11KeyEventsTest, TypesNothingWhileSlowKeysOrBounceKeysAreOn) {
  for (const std::uint32_t control : {2U, 4U}) {  // Slow Keys, Bounce Keys
    typed_.SetControls(control, true);
    Type("x");
    EXPECT_EQ(keys_->Problem(),
              "Slow Keys or Bounce Keys is on. Turn both off in the accessibility settings.");
    typed_.SetControls(control, false);
    ExpectTypes("x");
    EXPECT_EQ(keys_->Problem(), "");
  }
}

TEST_F(X11KeyEventsTest, TypesWhileStickyKeysAreOn) {
  constexpr std::uint32_t kStickyKeys = 8;
  typed_.SetControls(kStickyKeys, true);
  ExpectTypes(EveryCharacter());
  OutputOf("xdotool key Shift_L");
  ExpectTypes(EveryCharacter());
}

TEST_F(X11KeyEventsTest, EndDuringARecordRestoresTheKeymap) {
  Use("ru");
  const std::string before = Keyboard();
  std::string text;
  for (int i = 0; i < 1000; ++i) text += EveryCharacter();
  std::thread typist([&] { Type(text); });
  EXPECT_TRUE(test::WaitFor([&] { return !typed_.Text().empty(); }));
  keys_->End();
  EXPECT_TRUE(Keyboard() == before);
  typist.join();
  EXPECT_LT(typed_.Text().size(), text.size());
}

TEST_F(X11KeyEventsTest, EndsOnlyAfterApplicationsHaveReadTheKeys) {
  Use("ru");
  test::FakeClock clock;
  X11KeyEvents keys(log_, clock);
  keys.Post(EventsOf("abc"));
  clock.ForgetSleeps();
  clock.OnSleep([&] { typed_.WaitFor("abc"); });
  keys.End();
  EXPECT_EQ(typed_.Text(), "abc");
  EXPECT_EQ(clock.Count(std::chrono::milliseconds(100)), 1U);
}

// In this keymap, the only key that types the digit 1 types something else while Num Lock is on.
TEST_F(X11KeyEventsTest, TurnsNumLockOffToTypeACharacter) {
  constexpr int kNumLock = 16;
  OutputOf(
      "xkbcomp -w0 $DISPLAY - 2>/dev/null | sed -e '/xkb_types/,/virtual_modifiers/ "
      "s/virtual_modifiers.*;/& type \"NUMBER\" { modifiers= NumLock; map[NumLock]= Level2; "
      "level_name[Level1]= \"Off\"; level_name[Level2]= \"On\"; };/' -e 's/key *<AE01>.*/"
      "key <AE01> { type= \"NUMBER\", symbols[Group1]= [ 1, F13 ] };/' | "
      "xkbcomp -w0 - $DISPLAY 2>&1");
  typed_.LockModifiers(kNumLock);
  EXPECT_EQ(typed_.LockedModifiers(), kNumLock);
  EXPECT_EQ(keys_->Untypable("1"), "");
  ExpectTypes("a1b1");
  EXPECT_EQ(keys_->Problem(), "");
  EXPECT_EQ(typed_.LockedModifiers(), kNumLock);
}

// An input device of the X server, such as the user's keyboard.
class Device {
 public:
  explicit Device(std::string_view name) : xcb_(xcb_connect(nullptr, nullptr)) {
    std::free(
        xcb_input_xi_query_version_reply(xcb_, xcb_input_xi_query_version(xcb_, 2, 0), nullptr));
    auto* const reply = xcb_input_xi_query_device_reply(
        xcb_, xcb_input_xi_query_device(xcb_, XCB_INPUT_DEVICE_ALL), nullptr);
    auto devices = xcb_input_xi_query_device_infos_iterator(reply);
    for (; devices.rem != 0; xcb_input_xi_device_info_next(&devices)) {
      const std::string_view one(xcb_input_xi_device_info_name(devices.data),
                                 devices.data->name_len);
      if (one == name) id_ = static_cast<std::uint8_t>(devices.data->deviceid);
    }
    std::free(reply);
    EXPECT_NE(id_, 0) << name;
  }
  ~Device() { xcb_disconnect(xcb_); }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  std::string Id() const { return std::to_string(id_); }

  // Connects the device to the first keyboard of the server, or disconnects it, as if the user
  // plugged it in or removed it.
  void SetPluggedIn(bool isPluggedIn) {
    constexpr std::uint16_t kFirstKeyboard = 3;
    struct {
      xcb_input_hierarchy_change_t head;
      std::uint16_t device;
      std::uint16_t keyboard;
    } change{};
    change.head.type = isPluggedIn ? XCB_INPUT_HIERARCHY_CHANGE_TYPE_ATTACH_SLAVE
                                   : XCB_INPUT_HIERARCHY_CHANGE_TYPE_DETACH_SLAVE;
    change.head.len = sizeof change / 4;
    change.device = id_;
    change.keyboard = kFirstKeyboard;
    xcb_input_xi_change_hierarchy(xcb_, 1, &change.head);
    Synchronize();
  }
  void Press(std::uint8_t code) { Put(XCB_INPUT_DEVICE_KEY_PRESS, code); }
  void Release(std::uint8_t code) { Put(XCB_INPUT_DEVICE_KEY_RELEASE, code); }

  bool IsDown(std::uint8_t code) {
    auto* const reply =
        xcb_input_query_device_state_reply(xcb_, xcb_input_query_device_state(xcb_, id_), nullptr);
    bool isDown = false;
    auto classes = xcb_input_query_device_state_classes_iterator(reply);
    for (; classes.rem != 0; xcb_input_input_state_next(&classes)) {
      if (classes.data->class_id != XCB_INPUT_INPUT_CLASS_KEY) continue;
      const auto* const keys = reinterpret_cast<const xcb_input_key_state_t*>(classes.data);
      isDown = (keys->keys[code / 8] >> (code % 8) & 1) != 0;
    }
    std::free(reply);
    return isDown;
  }

 private:
  void Put(int type, std::uint8_t code) {
    const int first = xcb_get_extension_data(xcb_, &xcb_input_id)->first_event;
    xcb_test_fake_input(xcb_, static_cast<std::uint8_t>(first + type), code, XCB_CURRENT_TIME,
                        XCB_NONE, 0, 0, id_);
    Synchronize();
  }
  void Synchronize() {
    std::free(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
  }

  xcb_connection_t* const xcb_;
  std::uint8_t id_ = 0;
};

TEST_F(X11KeyEventsTest, EndReleasesTheSimulatedShiftKey) {
  constexpr std::uint8_t kLeftShift = 50;
  Device user("Xvfb keyboard");
  Device tester("Virtual core XTEST keyboard");
  user.Press(kLeftShift);
  ExpectTypes("abc");
  ExpectTypes("abc");
  EXPECT_TRUE(tester.IsDown(kLeftShift));
  user.Release(kLeftShift);
  keys_->End();
  EXPECT_FALSE(tester.IsDown(kLeftShift));
  EXPECT_EQ(typed_.KeysDown(), 0);
}

TEST_F(X11KeyEventsTest, EndReleasesSimulatedShiftWhileTheUserHoldsShift) {
  constexpr std::uint8_t kLeftShift = 50;
  Device user("Xvfb keyboard");
  Device tester("Virtual core XTEST keyboard");
  user.Press(kLeftShift);
  ExpectTypes("abc");
  EXPECT_TRUE(tester.IsDown(kLeftShift));
  keys_->End();
  EXPECT_FALSE(tester.IsDown(kLeftShift));
  user.Release(kLeftShift);
  EXPECT_EQ(typed_.KeysDown(), 0);
}

TEST_F(X11KeyEventsTest, TypesAfterAKeyboardIsPluggedInOrRemoved) {
  constexpr std::uint8_t kLeftShift = 50;
  Device user("Xvfb keyboard");
  Device tester("Virtual core XTEST keyboard");
  user.SetPluggedIn(false);
  Use("de");
  ExpectTypes(EveryCharacter());
  user.SetPluggedIn(true);
  Use("-device " + user.Id() + " fr");
  user.Press(kLeftShift);
  ExpectTypes(EveryCharacter());
  EXPECT_TRUE(tester.IsDown(kLeftShift));
  user.Release(kLeftShift);
  user.SetPluggedIn(false);
  ExpectTypes(EveryCharacter());
  keys_->End();
  EXPECT_EQ(typed_.KeysDown(), 0);
}

// Quillet assigns characters only to key codes that no keyboard uses. In this test, the user's
// keyboard uses a key code that the other keyboards do not use.
TEST_F(X11KeyEventsTest, DoesNotReassignAKeyCodeThatTheUsersKeyboardUses) {
  Use("ru");
  Device user("Xvfb keyboard");
  const std::string keymap = "xkbcomp -w0 -i " + user.Id() + " $DISPLAY - 2>/dev/null";
  OutputOf(keymap +
           " | sed '/xkb_symbols/,$ s/key *<AE01>.*/&\\n key <I120> { [ F13 ] };/' | "
           "xkbcomp -w0 -i " +
           user.Id() + " - $DISPLAY 2>&1");
  const std::string before = OutputOf(keymap);
  EXPECT_NE(before.find("F13"), std::string::npos);
  ExpectTypes(EveryCharacter());
  EXPECT_NE(OutputOf(keymap).find("F13"), std::string::npos);
  keys_->End();
  EXPECT_TRUE(OutputOf(keymap) == before);
}

TEST_F(X11KeyEventsTest, RecoveryReleasesShiftAfterAKillBetweenRecords) {
  constexpr std::uint8_t kLeftShift = 50;
  Device user("Xvfb keyboard");
  Device tester("Virtual core XTEST keyboard");
  user.Press(kLeftShift);
  const pid_t child = fork();
  if (child == 0) {
    X11KeyEvents killed(log_, clock_);
    killed.Post(EventsOf("abc"));
    raise(SIGSTOP);
  }
  waitpid(child, nullptr, WUNTRACED);
  EXPECT_EQ(typed_.WaitFor("abc"), "abc");
  ::kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  user.Release(kLeftShift);
  EXPECT_TRUE(tester.IsDown(kLeftShift));
  keys_->Recover();
  EXPECT_FALSE(tester.IsDown(kLeftShift));
  EXPECT_EQ(typed_.KeysDown(), 0);
}

TEST_F(X11KeyEventsTest, RecoveryKeepsLockStatesThatTheUserHasChanged) {
  constexpr int kCapsLock = 2;
  Use("us,ru");
  typed_.LockGroup(1);
  const pid_t child = fork();
  if (child == 0) {
    X11KeyEvents killed(log_, clock_);
    for (;;) killed.Post(EventsOf(std::string(10000, 'a')));
  }
  EXPECT_TRUE(test::WaitFor([&] { return !typed_.Text().empty(); }));
  ::kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  typed_.LockGroup(0);
  typed_.LockModifiers(kCapsLock);
  EXPECT_EQ(typed_.LockedModifiers(), kCapsLock);
  keys_->Recover();
  EXPECT_EQ(typed_.LockedModifiers(), kCapsLock);
  EXPECT_EQ(typed_.Group(), 0);
  EXPECT_EQ(typed_.KeysDown(), 0);
}

// The user holds Shift during every second kill. The environment variable QUILLET_KILLS sets the
// number of kills.
TEST_F(X11KeyEventsTest, RestoresTheKeyboardAfterTheProgramIsKilled) {
  const char* const number = std::getenv("QUILLET_KILLS");
  const int kills = number == nullptr ? 4 : std::atoi(number);
  constexpr std::array kLayouts = {"ru", "gr", "de", "us,ru", "ru,us,de"};
  constexpr std::array kLocks = {0, 2, 16, 18};  // none, Caps Lock, Num Lock, both
  constexpr std::uint8_t kLeftShift = 50;
  Device user("Xvfb keyboard");
  std::mt19937 random(std::random_device{}());
  for (int kill = 0; kill < kills; ++kill) {
    const char* const layout = kLayouts.at(static_cast<std::size_t>(kill) % kLayouts.size());
    Use(layout);
    typed_.LockGroup(static_cast<int>(std::count(layout, layout + std::strlen(layout), ',')));
    typed_.LockModifiers(kLocks.at(static_cast<std::size_t>(kill) % kLocks.size()));
    const int group = typed_.Group();
    const int locks = typed_.LockedModifiers();
    const std::string before = Keyboard();
    if (kill % 2 == 1) user.Press(kLeftShift);
    const pid_t child = fork();
    if (child == 0) {
      X11KeyEvents killed(log_, clock_);
      for (;;) killed.Post(EventsOf(EveryCharacter()));
    }
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution(0, 400000)(random)));
    ::kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (kill % 2 == 1) user.Release(kLeftShift);
    keys_->Recover();
    keys_->End();
    EXPECT_TRUE(Keyboard() == before) << layout;
    EXPECT_EQ(typed_.Group(), group) << layout;
    EXPECT_EQ(typed_.LockedModifiers(), locks) << layout;
    EXPECT_EQ(typed_.KeysDown(), 0) << layout;
    typed_.Text();
    keys_.emplace(log_, clock_);
  }
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
