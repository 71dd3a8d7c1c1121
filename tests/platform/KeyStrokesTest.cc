#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

#include <set>
#include <vector>

#include "platform/linux/KeyStrokes.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint16_t kKeyA = 0;
constexpr std::uint16_t kKeyV = 9;
constexpr std::uint16_t kKeyOne = 18;
constexpr std::uint16_t kReturn = 36;

std::vector<KeyStroke> Strokes(std::initializer_list<KeyEvent> events, bool capsLock = false) {
  std::vector<KeyStroke> strokes;
  ToKeyStrokes(std::vector<KeyEvent>(events), capsLock,
               [&](KeyStroke stroke) { strokes.push_back(stroke); });
  return strokes;
}

std::vector<KeyStroke> Press(std::uint16_t key, KeyFlag flag, bool capsLock = false) {
  return Strokes({{key, true, flag}, {key, false, KeyFlag::kNone}}, capsLock);
}

std::vector<KeyStroke> Plain(std::uint16_t code) {
  return {{code, true}, {code, false}};
}

std::vector<KeyStroke> With(std::uint16_t modifier, std::uint16_t code) {
  return {{modifier, true}, {code, true}, {modifier, false}, {code, false}};
}

TEST(KeyStrokesTest, EveryVirtualKeyHasAKeyOfItsOwnAtItsPlace) {
  std::set<std::uint16_t> codes;
  for (std::uint16_t key = 0; key <= 50; ++key) codes.insert(EvdevKeyCode(key));
  EXPECT_EQ(codes.size(), 51U);
  EXPECT_FALSE(codes.contains(0));
  EXPECT_EQ(*codes.rbegin(), kHighestKeyCode);
  EXPECT_EQ(EvdevKeyCode(kKeyA), KEY_A);
  EXPECT_EQ(EvdevKeyCode(kReturn), KEY_ENTER);
  EXPECT_EQ(EvdevKeyCode(10), KEY_102ND);
  EXPECT_EQ(EvdevKeyCode(50), KEY_GRAVE);
}

TEST(KeyStrokesTest, ShiftIsAKeyAroundTheKeyDown) {
  EXPECT_EQ(Press(kKeyA, KeyFlag::kNone), Plain(KEY_A));
  EXPECT_EQ(Press(kKeyA, KeyFlag::kShift), With(KEY_LEFTSHIFT, KEY_A));
}

TEST(KeyStrokesTest, CommandIsControl) {
  EXPECT_EQ(Press(kKeyV, KeyFlag::kCommand), With(KEY_LEFTCTRL, KEY_V));
  EXPECT_EQ(Press(kKeyV, KeyFlag::kCommand, true), With(KEY_LEFTCTRL, KEY_V));
}

TEST(KeyStrokesTest, UnderCapsLockTheLettersShiftIsTurnedRound) {
  for (std::uint16_t key = 0; key <= 50; ++key) {
    const std::uint16_t code = EvdevKeyCode(key);
    const std::string letters = "asdfhgzxcv*bqweryt*************ou*ip*lj*k****nm****";
    const bool isLetter = letters.at(key) != '*';
    EXPECT_EQ(Press(key, KeyFlag::kNone, true), isLetter ? With(KEY_LEFTSHIFT, code) : Plain(code))
        << key;
    EXPECT_EQ(Press(key, KeyFlag::kShift, true), isLetter ? Plain(code) : With(KEY_LEFTSHIFT, code))
        << key;
  }
}

TEST(KeyStrokesTest, KeysThatThereAreNoneForAreLeftOut) {
  EXPECT_EQ(Strokes({{51, true, KeyFlag::kShift}, {kKeyOne, true, KeyFlag::kNone}}),
            (std::vector<KeyStroke>{{KEY_1, true}}));
  EXPECT_EQ(EvdevKeyCode(0x7F), 0);
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
