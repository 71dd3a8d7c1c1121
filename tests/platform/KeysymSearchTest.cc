#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <string>

#include "platform/linux/KeymapSearch.h"
#include "platform/linux/KeysymSearch.h"
#include "tests/platform/XkbLayout.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint32_t kCapsLock = 2;

// Returns the ASCII characters that cannot be typed with keysyms.
std::string MissingKeysyms(const char* layout, const char* variant = "",
                           const KeyboardState& state = {}) {
  const XkbLayout keys(layout, variant);
  const KeysymSearch search(keys.keymap(), KeymapSearch::kHighestCode);
  std::string missing;
  for (char character = ' '; character <= '~'; ++character) {
    if (search.Find(character, state) == 0) missing += character;
  }
  return missing;
}

TEST(KeysymSearchTest, FindsOnlyKeysymsThatTheDesktopSupports) {
  EXPECT_EQ(MissingKeysyms("us"), "");
  // These characters are on level 4 of their first key. Desktops do not support that level.
  EXPECT_EQ(MissingKeysyms("gb"), "<>");
  EXPECT_EQ(MissingKeysyms("de", "neo"), ",.");
  EXPECT_EQ(MissingKeysyms("de"), "^`");  // dead keys
}

TEST(KeysymSearchTest, FindsKeysymsThatCapsLockDoesNotChange) {
  const KeyboardState capsLock{0, kCapsLock};
  EXPECT_EQ(MissingKeysyms("us", "", capsLock), "");
  const XkbLayout us("us");
  const KeysymSearch search(us.keymap(), KeymapSearch::kHighestCode);
  EXPECT_EQ(search.Find('a', capsLock), XKB_KEY_A);
  EXPECT_EQ(search.Find('1', capsLock), XKB_KEY_1);
  EXPECT_EQ(MissingKeysyms("tr", "", capsLock), "Ii");
}

TEST(KeysymSearchTest, DetectsKeysymsOnTheSameKeyInAllGroups) {
  const XkbLayout englishAndFrench("us,fr");
  const KeysymSearch search(englishAndFrench.keymap(), KeymapSearch::kHighestCode);
  EXPECT_TRUE(search.IsOnSameKey(XKB_KEY_v));
  EXPECT_FALSE(search.IsOnSameKey(XKB_KEY_a));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
