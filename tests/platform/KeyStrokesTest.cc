#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <set>
#include <string_view>
#include <vector>

#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {
namespace {

using Strokes = std::vector<KeyStroke>;

Strokes Press(std::uint16_t key, KeyFlag flag, bool capsLock) {
  const KeyEvent press[] = {{key, true, flag}, {key, false, KeyFlag::kNone}};
  Strokes strokes;
  ToKeyStrokes(press, capsLock, [&](KeyStroke stroke) { strokes.push_back(stroke); });
  return strokes;
}

TEST(KeyStrokesTest, MapsEachVirtualKeyToAUniqueCode) {
  std::set<std::uint16_t> codes;
  for (std::uint16_t key = 0; key <= 50; ++key) codes.insert(EvdevKeyCode(key));
  EXPECT_EQ(codes.size(), 51U);
  EXPECT_FALSE(codes.contains(0));
  EXPECT_EQ(*codes.rbegin(), kHighestKeyCode);
  EXPECT_EQ(EvdevKeyCode(0), KEY_A);
  EXPECT_EQ(EvdevKeyCode(10), KEY_102ND);
  EXPECT_EQ(EvdevKeyCode(36), KEY_ENTER);
  EXPECT_EQ(EvdevKeyCode(50), KEY_GRAVE);
}

TEST(KeyStrokesTest, CapsLockInvertsShiftForLettersOnly) {
  constexpr std::string_view kLetters = "asdfhgzxcv*bqweryt*************ou*ip*lj*k****nm****";
  for (const bool capsLock : {false, true}) {
    for (std::uint16_t key = 0; key <= 50; ++key) {
      const std::uint16_t code = EvdevKeyCode(key);
      const auto with = [code](std::uint16_t modifier) {
        return Strokes{{modifier, true}, {code, true}, {modifier, false}, {code, false}};
      };
      const Strokes shifted = with(KEY_LEFTSHIFT);
      const Strokes plain{{code, true}, {code, false}};
      const bool inverts = capsLock && kLetters.at(key) != '*';
      EXPECT_EQ(Press(key, KeyFlag::kNone, capsLock), inverts ? shifted : plain) << key;
      EXPECT_EQ(Press(key, KeyFlag::kShift, capsLock), inverts ? plain : shifted) << key;
      EXPECT_EQ(Press(key, KeyFlag::kCommand, capsLock), with(KEY_LEFTCTRL)) << key;
    }
  }
}

TEST(KeyStrokesTest, DropsKeysWithoutACode) {
  for (const std::uint16_t key : {std::uint16_t{51}, std::uint16_t{127}}) {
    EXPECT_EQ(EvdevKeyCode(key), 0);
    EXPECT_EQ(Press(key, KeyFlag::kShift, false), Strokes{});
  }
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
