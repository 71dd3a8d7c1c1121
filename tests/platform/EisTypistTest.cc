#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/EisTypist.h"
#include "platform/linux/EmulatedKeyboard.h"
#include "platform/linux/LayoutNote.h"
#include "tests/platform/Compositor.h"
#include "tests/platform/FakePlasmaLayouts.h"
#include "tests/platform/FakePortal.h"
#include "tests/support/FakeClock.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

constexpr char kChanged[] = "the keyboard layout changed while a record was being typed";

/// A fake keyboard of the desktop that records the typed text.
class FakeEisKeyboard final : public EmulatedKeyboard {
 public:
  explicit FakeEisKeyboard(const char* layouts) {
    const xkb_rule_names names{"evdev", "pc105", layouts, "", ""};
    xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    keymap_ = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    xkb_context_unref(context);
    state_ = xkb_state_new(keymap_);
    search_.emplace(keymap_);
  }
  ~FakeEisKeyboard() override {
    xkb_state_unref(state_);
    xkb_keymap_unref(keymap_);
  }
  FakeEisKeyboard(const FakeEisKeyboard&) = delete;
  FakeEisKeyboard& operator=(const FakeEisKeyboard&) = delete;

  void Dispatch() override {}
  bool IsReady() const override { return true; }
  unsigned devices() const override { return number; }
  KeymapSearch* keymap() const override { return &*search_; }
  std::uint32_t groups() const override { return xkb_keymap_num_layouts(keymap_); }
  std::uint32_t lockedModifiers() const override { return 0; }
  std::uint32_t Press(std::uint32_t code, bool down) override {
    constexpr std::uint32_t kOffset = 8;
    const xkb_keycode_t key = code + kOffset;
    if (down) {
      if (onPress) onPress();
      xkb_state_update_mask(state_, xkb_state_serialize_mods(state_, XKB_STATE_MODS_DEPRESSED), 0,
                            0, 0, 0, group());
      char buffer[8] = {};
      xkb_state_key_get_utf8(state_, key, buffer, sizeof buffer);
      text += buffer;
    }
    xkb_state_update_key(state_, key, down ? XKB_KEY_DOWN : XKB_KEY_UP);
    return 0;
  }
  bool AwaitKeys(std::chrono::milliseconds) override { return true; }

  std::function<std::uint32_t()> group;  ///< returns the active group
  std::function<void()> onPress;         ///< called before each press
  unsigned number = 1;                   ///< result of devices()
  std::string text;                      ///< typed text, without the characters of dead keys

 private:
  xkb_keymap* keymap_ = nullptr;
  xkb_state* state_ = nullptr;
  mutable std::optional<KeymapSearch> search_;
};

class EisTypistTest : public testing::Test {
 protected:
  /// Creates a typist on a desktop with these XKB layouts, the first of which is active.
  void Begin(const char* layouts) {
    keyboard.emplace(layouts);
    keyboard->group = [this] { return plasma.active.load(); };
    typist.emplace(*keyboard, clock, sent, note, isEnding);
    typist->Begin();
  }

  /// Types the text. Returns an empty string on success, otherwise the reason for stopping.
  std::string Type(const std::string& text) {
    std::vector<KeyEvent> presses;
    for (const char character : text) presses.push_back({0, true, KeyFlag::kNone, character});
    const char* const reason = typist->Type(presses);
    return reason == nullptr ? "" : reason;
  }

  std::chrono::microseconds Slept() const {
    std::chrono::microseconds sum{};
    for (const auto sleep : clock.sleeps()) sum += sleep;
    return sum;
  }

  const test::FakePortal bus;  // a session bus without the portal
  // The dconf backend would connect to the bus, and GIO would end the process when the bus closes.
  const test::Variable settings{"GSETTINGS_BACKEND", "memory"};
  const test::Compositor compositor{false, "us", true};  // reports that no modifier is active
  test::FakePlasmaLayouts plasma;
  test::FakeClock clock{100000};
  SentKeys sent{1ms};
  const test::TemporaryFolder folder;
  const std::string noteFile = folder / "quillet/typing-layout";
  LayoutNote note{noteFile};
  std::atomic<bool> isEnding = false;
  std::optional<FakeEisKeyboard> keyboard;
  std::optional<EisTypist> typist;
};

TEST_F(EisTypistTest, TypesInAnotherLayoutAndSwitchesBack) {
  Begin("ru,us");
  bool isNoted = true;
  keyboard->onPress = [&] { isNoted = isNoted && std::filesystem::exists(noteFile); };
  EXPECT_EQ(typist->Untypable("aB"), "");
  EXPECT_EQ(Type("aB"), "");
  EXPECT_EQ(keyboard->text, "aB");
  EXPECT_EQ(plasma.active, 0U);
  EXPECT_TRUE(isNoted);
  EXPECT_FALSE(std::filesystem::exists(noteFile));
}

TEST_F(EisTypistTest, RestoresTheLayoutIfPlasmaRespondsLate) {
  Begin("ru,us");
  keyboard->onPress = [&] { plasma.isSilent = true; };
  EXPECT_EQ(Type("a"), kChanged);
  EXPECT_EQ(plasma.active, 0U);
}

TEST_F(EisTypistTest, KeepsTheLayoutThatTheUserSelects) {
  Begin("ru,us,de");
  keyboard->onPress = [&] { plasma.active = 2; };
  EXPECT_EQ(Type("1a"), kChanged);
  EXPECT_EQ(plasma.active, 2U);
  EXPECT_FALSE(std::filesystem::exists(noteFile));
}

TEST_F(EisTypistTest, RestoresTheLayoutIfTheProgramEnds) {
  Begin("ru,de");
  clock.OnSleep([&] { isEnding = true; });
  EXPECT_NE(Type("a^b"), "");
  EXPECT_EQ(keyboard->text, "a");
  EXPECT_EQ(plasma.active, 0U);
  EXPECT_LT(Slept(), 1s);
}

TEST_F(EisTypistTest, RestoresTheLayoutAfterTheProgramIsKilled) {
  note.Write(1, 0);
  plasma.active = 1;
  LayoutNote(noteFile).Undo();
  EXPECT_EQ(plasma.active, 0U);
  EXPECT_FALSE(std::filesystem::exists(noteFile));
  plasma.active = 1;
  LayoutNote(noteFile).Undo();
  EXPECT_EQ(plasma.active, 1U);
}

TEST_F(EisTypistTest, RecoveryKeepsALayoutThatTheUserHasSelected) {
  note.Write(1, 0);
  plasma.active = 2;
  LayoutNote(noteFile).Undo();
  EXPECT_EQ(plasma.active, 2U);
  EXPECT_FALSE(std::filesystem::exists(noteFile));
}

TEST_F(EisTypistTest, WaitsForEarlierRecordsBeforeTypingADeadKey) {
  Begin("de");
  EXPECT_EQ(Type(std::string(60, 'a')), "");
  typist->Begin();
  clock.ForgetSleeps();
  EXPECT_EQ(Type("^"), "");
  EXPECT_EQ(Slept(), 900ms);  // 0.3 s, and 5 ms for each of the 120 strokes
  clock.Advance(1h);
  clock.ForgetSleeps();
  EXPECT_EQ(Type("^"), "");
  EXPECT_EQ(Slept(), 300ms);
}

TEST_F(EisTypistTest, StopsIfTheLayoutChangesBeforeADeadKey) {
  Begin("de,de");
  clock.OnSleep([&] { plasma.active = 1; });
  EXPECT_EQ(Type("a^b"), kChanged);
  EXPECT_EQ(keyboard->text, "a");
}

TEST_F(EisTypistTest, StopsIfTheKeyboardIsReplacedBeforeADeadKey) {
  Begin("de");
  clock.OnSleep([&] { keyboard->number = 2; });
  EXPECT_EQ(Type("a^b"), kChanged);
  EXPECT_EQ(keyboard->text, "a");
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
