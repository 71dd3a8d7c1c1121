#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/KeymapSearch.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint32_t kShift = 1;
constexpr std::uint32_t kLock = 2;
constexpr std::uint32_t kNumLock = 16;
constexpr std::uint32_t kShiftKey = 50;
constexpr std::uint32_t kNumLockKey = 77;
constexpr std::uint32_t kLevel3Key = 92;
constexpr std::uint32_t kKeyQ = 24;

// A keymap compiled from the installed XKB data.
class Layout {
 public:
  explicit Layout(const char* layout, const char* variant = "", const char* options = "") {
    const xkb_rule_names names{"evdev", "pc105", layout, variant, options};
    xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    keymap_ = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    search_.emplace(keymap_);
    xkb_context_unref(context);
  }
  ~Layout() { xkb_keymap_unref(keymap_); }
  Layout(const Layout&) = delete;
  Layout& operator=(const Layout&) = delete;

  KeymapSearch& Search() { return *search_; }

  // Returns the ASCII characters for which the search finds no key.
  std::string Missing(const KeyboardState& state = {}) {
    std::string missing;
    for (const char character : std::string_view("\n\t")) Add(character, state, missing);
    for (char character = ' '; character <= '~'; ++character) Add(character, state, missing);
    return missing;
  }

 private:
  void Add(char character, const KeyboardState& state, std::string& missing) {
    if (search_->Find(character, state) == nullptr) missing += character;
  }

  xkb_keymap* keymap_ = nullptr;
  std::optional<KeymapSearch> search_;
};

void ExpectChord(const KeyChord* chord, const KeyChord& expected) {
  ASSERT_NE(chord, nullptr);
  EXPECT_EQ(chord->code, expected.code);
  EXPECT_EQ(chord->modifiers, expected.modifiers);
  EXPECT_EQ(chord->group, expected.group);
}

TEST(KeymapSearchTest, FindsAllCharactersOnLatinLayouts) {
  for (const char* layout : {"us", "gb", "fr", "pl", "it"}) {
    EXPECT_EQ(Layout(layout).Missing(), "") << layout;
  }
  EXPECT_EQ(Layout("us", "dvorak").Missing(), "");
  EXPECT_EQ(Layout("tr", "f").Missing(), "");
}

TEST(KeymapSearchTest, UsesTheFewestModifiers) {
  Layout french("fr");
  ExpectChord(french.Search().Find('a', {}), {{}, kKeyQ, 0});
  ExpectChord(french.Search().Find('A', {}), {{kShiftKey}, kKeyQ, 0});
  ExpectChord(french.Search().Find('1', {}), {{kShiftKey}, 10, 0});
  ExpectChord(french.Search().Find('@', {}), {{kLevel3Key}, 19, 0});
}

TEST(KeymapSearchTest, FindsCharactersOnLevelsThreeAndFive) {
  Layout neo("de", "neo");
  EXPECT_EQ(neo.Missing(), "");
  const KeyChord* const brace = neo.Search().Find('{', {});
  ASSERT_NE(brace, nullptr);
  EXPECT_EQ(brace->modifiers.size(), 1U);
}

TEST(KeymapSearchTest, TakesLockedModifiersIntoAccount) {
  Layout american("us");
  ExpectChord(american.Search().Find('q', {0, kLock}), {{kShiftKey}, kKeyQ, 0});
  ExpectChord(american.Search().Find('Q', {0, kLock}), {{}, kKeyQ, 0});
  ExpectChord(american.Search().Find('1', {0, kLock}), {{}, 10, 0});
  EXPECT_EQ(american.Search().Find('q', {0, kShift}), nullptr);
  ExpectChord(american.Search().Find('Q', {0, kShift}), {{}, kKeyQ, 0});
}

TEST(KeymapSearchTest, PrefersTheCurrentGroup) {
  Layout two("us,de");
  ExpectChord(two.Search().Find('z', {0, 0}), {{}, 52, 0});
  ExpectChord(two.Search().Find('z', {1, 0}), {{}, 29, 1});
  Layout russian("ru,us");
  EXPECT_EQ(russian.Missing(), "");
  ExpectChord(russian.Search().Find('q', {0, 0}), {{}, kKeyQ, 1});
}

TEST(KeymapSearchTest, DoesNotUseDeadKeys) {
  EXPECT_EQ(Layout("se").Missing(), "^`~");
  Layout international("us", "intl");
  EXPECT_EQ(international.Missing(), "");
  ExpectChord(international.Search().Find('`', {}), {{kLevel3Key}, 49, 0});
}

TEST(KeymapSearchTest, FindsDeadKeysInTheCurrentGroup) {
  Layout layout("us,de");
  KeymapSearch& search = layout.Search();
  ExpectChord(search.FindDead('^', {1, 0}), {{}, 49, 1});
  ExpectChord(search.FindDead('`', {1, 0}), {{kShiftKey}, 21, 1});
  EXPECT_EQ(search.FindDead('^', {0, 0}), nullptr);
  EXPECT_EQ(search.FindDead('a', {1, 0}), nullptr);
}

TEST(KeymapSearchTest, SkipsKeysThatChangeLocks) {
  Layout layout("us", "", "shift:both_capslock,grp:shifts_toggle,shift:breaks_caps");
  for (const std::uint32_t locked : {std::uint32_t{0}, kLock}) {
    for (char character = ' '; character <= '~'; ++character) {
      const KeyChord* const chord = layout.Search().Find(character, {0, locked});
      if (chord == nullptr) continue;
      for (const std::uint32_t key : chord->modifiers) {
        EXPECT_EQ(layout.Search().ModifierKey(kShift, {0, locked}), key);
      }
    }
  }
}

// de(neo) puts Tab on the Num Lock key. If de(neo) is the second layout, the key remains a
// modifier.
TEST(KeymapSearchTest, UsesNoModifierKeyThatTypesACharacter) {
  Layout two("us,de", ",neo");
  const KeyboardState state{1, 0};
  EXPECT_TRUE(two.Search().IsModifier(kShiftKey, state));
  EXPECT_FALSE(two.Search().IsModifier(kNumLockKey, state));
  EXPECT_NE(two.Search().ModifierKey(kNumLock, state), kNumLockKey);
}

TEST(KeymapSearchTest, FindsTheKeyOfAShortcutInAnyGroup) {
  Layout russian("ru,us");
  EXPECT_EQ(russian.Search().FindPlain(XKB_KEY_v, {0, kLock}), (KeyChord{{}, 55, 1}));
  EXPECT_EQ(Layout("ru").Search().FindPlain(XKB_KEY_v, {}), std::nullopt);
  EXPECT_EQ(Layout("us", "dvorak").Search().FindPlain(XKB_KEY_v, {}), (KeyChord{{}, 60, 0}));
}

TEST(KeymapSearchTest, UsesNoKeyCodeAboveTheMaximum) {
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
  Layout american("us");
  const std::vector<std::uint32_t> codes = american.Search().UnusedCodes(8);
  EXPECT_GE(codes.size(), 8U);
  for (const std::uint32_t code : codes) EXPECT_NE(code, kKeyQ);
}

// Returns the ASCII characters that cannot be typed with keysyms.
std::string MissingKeysyms(const char* layout, const char* variant = "",
                           const KeyboardState& state = {}) {
  Layout keys(layout, variant);
  std::string missing;
  for (char character = ' '; character <= '~'; ++character) {
    if (keys.Search().KeysymFor(character, state) == 0) missing += character;
  }
  return missing;
}

TEST(KeymapSearchTest, FindsOnlyKeysymsThatTheDesktopSupports) {
  EXPECT_EQ(MissingKeysyms("us"), "");
  // On the first keys that have these symbols, the symbols are on the fourth level.
  EXPECT_EQ(MissingKeysyms("gb"), "<>");
  EXPECT_EQ(MissingKeysyms("de", "neo"), ",.");
  EXPECT_EQ(MissingKeysyms("de"), "^`");  // dead keys
}

TEST(KeymapSearchTest, FindsKeysymsThatCapsLockDoesNotChange) {
  const KeyboardState capsLock{0, kLock};
  EXPECT_EQ(MissingKeysyms("us", "", capsLock), "");
  EXPECT_EQ(Layout("us").Search().KeysymFor('a', capsLock), XKB_KEY_A);
  EXPECT_EQ(Layout("us").Search().KeysymFor('1', capsLock), XKB_KEY_1);
  EXPECT_EQ(MissingKeysyms("tr", "", capsLock), "Ii");
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
