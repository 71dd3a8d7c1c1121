#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon.h>

#include <optional>
#include <vector>

#include "platform/linux/KeymapSearch.h"
#include "tests/platform/XkbLayout.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint32_t kShift = 1;
constexpr std::uint32_t kLock = 2;
constexpr std::uint32_t kNumLock = 16;
constexpr std::uint32_t kShiftKey = 50;
constexpr std::uint32_t kNumLockKey = 77;
constexpr std::uint32_t kLevel3Key = 92;
constexpr std::uint32_t kKeyQ = 24;

void ExpectChord(const KeyChord* chord, const KeyChord& expected) {
  ASSERT_NE(chord, nullptr);
  EXPECT_EQ(chord->code, expected.code);
  EXPECT_EQ(chord->modifiers, expected.modifiers);
  EXPECT_EQ(chord->group, expected.group);
}

TEST(KeymapSearchTest, FindsAllCharactersOnLatinLayouts) {
  for (const char* layout : {"us", "gb", "fr", "pl", "it"}) {
    EXPECT_EQ(XkbLayout(layout).Missing(), "") << layout;
  }
  EXPECT_EQ(XkbLayout("us", "dvorak").Missing(), "");
  EXPECT_EQ(XkbLayout("tr", "f").Missing(), "");
}

TEST(KeymapSearchTest, UsesTheFewestModifiers) {
  XkbLayout french("fr");
  ExpectChord(french.Search().Find('a', {}), {{}, kKeyQ, 0});
  ExpectChord(french.Search().Find('A', {}), {{kShiftKey}, kKeyQ, 0});
  ExpectChord(french.Search().Find('1', {}), {{kShiftKey}, 10, 0});
  ExpectChord(french.Search().Find('@', {}), {{kLevel3Key}, 19, 0});
}

TEST(KeymapSearchTest, FindsCharactersOnLevelsThreeAndFive) {
  XkbLayout neo("de", "neo");
  EXPECT_EQ(neo.Missing(), "");
  const KeyChord* const brace = neo.Search().Find('{', {});
  ASSERT_NE(brace, nullptr);
  EXPECT_EQ(brace->modifiers.size(), 1U);
}

TEST(KeymapSearchTest, TakesLockedModifiersIntoAccount) {
  XkbLayout american("us");
  ExpectChord(american.Search().Find('q', {0, kLock}), {{kShiftKey}, kKeyQ, 0});
  ExpectChord(american.Search().Find('Q', {0, kLock}), {{}, kKeyQ, 0});
  ExpectChord(american.Search().Find('1', {0, kLock}), {{}, 10, 0});
  EXPECT_EQ(american.Search().Find('q', {0, kShift}), nullptr);
  ExpectChord(american.Search().Find('Q', {0, kShift}), {{}, kKeyQ, 0});
}

TEST(KeymapSearchTest, PrefersTheCurrentGroup) {
  XkbLayout two("us,de");
  ExpectChord(two.Search().Find('z', {0, 0}), {{}, 52, 0});
  ExpectChord(two.Search().Find('z', {1, 0}), {{}, 29, 1});
  XkbLayout russian("ru,us");
  EXPECT_EQ(russian.Missing(), "");
  ExpectChord(russian.Search().Find('q', {0, 0}), {{}, kKeyQ, 1});
}

TEST(KeymapSearchTest, DoesNotUseDeadKeys) {
  EXPECT_EQ(XkbLayout("se").Missing(), "^`~");
  XkbLayout international("us", "intl");
  EXPECT_EQ(international.Missing(), "");
  ExpectChord(international.Search().Find('`', {}), {{kLevel3Key}, 49, 0});
}

TEST(KeymapSearchTest, FindsDeadKeysInTheCurrentGroup) {
  XkbLayout layout("us,de");
  KeymapSearch& search = layout.Search();
  ExpectChord(search.FindDead('^', {1, 0}), {{}, 49, 1});
  ExpectChord(search.FindDead('`', {1, 0}), {{kShiftKey}, 21, 1});
  EXPECT_EQ(search.FindDead('^', {0, 0}), nullptr);
  EXPECT_EQ(search.FindDead('a', {1, 0}), nullptr);
}

TEST(KeymapSearchTest, SkipsKeysThatChangeALockState) {
  XkbLayout layout("us", "", "shift:both_capslock,grp:shifts_toggle,shift:breaks_caps");
  for (const std::uint32_t locked : {std::uint32_t{0}, kLock}) {
    for (char character = ' '; character <= '~'; ++character) {
      const KeyChord* const chord = layout.Search().Find(character, {0, locked});
      if (chord == nullptr) continue;
      for (const std::uint32_t key : chord->modifiers) {
        // In xkeyboard-config 2.42, the search finds a key for "|" that requires kLevel3Key.
        if (character == '|' && key == kLevel3Key) continue;
        EXPECT_EQ(layout.Search().ModifierKey(kShift, {0, locked}), key) << character;
      }
    }
  }
}

// In de(neo), the Num Lock key types Tab. If de(neo) is the second layout, the keymap still maps
// the key to a modifier.
TEST(KeymapSearchTest, DoesNotUseModifierKeysThatTypeCharacters) {
  XkbLayout two("us,de", ",neo");
  const KeyboardState state{1, 0};
  EXPECT_TRUE(two.Search().IsModifier(kShiftKey, state));
  EXPECT_FALSE(two.Search().IsModifier(kNumLockKey, state));
  EXPECT_NE(two.Search().ModifierKey(kNumLock, state), kNumLockKey);
}

TEST(KeymapSearchTest, FindsTheKeyOfAShortcutInAnyGroup) {
  XkbLayout russian("ru,us");
  EXPECT_EQ(russian.Search().FindPlain(XKB_KEY_v, {0, kLock}), (KeyChord{{}, 55, 1}));
  EXPECT_EQ(XkbLayout("ru").Search().FindPlain(XKB_KEY_v, {}), std::nullopt);
  EXPECT_EQ(XkbLayout("us", "dvorak").Search().FindPlain(XKB_KEY_v, {}), (KeyChord{{}, 60, 0}));
}

TEST(KeymapSearchTest, IgnoresKeyCodesAboveTheMaximum) {
  xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  const xkb_rule_names names{"evdev", "pc105", "fr", "", ""};
  xkb_keymap* const keymap =
      xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
  KeymapSearch search(keymap, kLevel3Key - 1);
  EXPECT_NE(search.Find('1', {}), nullptr);
  EXPECT_EQ(search.Find('@', {}), nullptr);
  xkb_keymap_unref(keymap);
  xkb_context_unref(context);
}

TEST(KeymapSearchTest, FindsUnusedKeyCodes) {
  XkbLayout american("us");
  const std::vector<std::uint32_t> codes = american.Search().UnusedCodes(8);
  EXPECT_GE(codes.size(), 8U);
  for (const std::uint32_t code : codes) EXPECT_NE(code, kKeyQ);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
