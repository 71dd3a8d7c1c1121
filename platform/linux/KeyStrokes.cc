#include "platform/linux/KeyStrokes.h"

#include <linux/input-event-codes.h>

#include <algorithm>
#include <array>

namespace quillet::platform::linux_desktop {
namespace {

// Evdev codes, indexed by ANSI virtual key code. US keyboards do not have key 10, left of Z.
constexpr std::array<std::uint16_t, 51> kKeyCodes = {
    KEY_A,          KEY_S,         KEY_D,         KEY_F,         KEY_H,           // 0
    KEY_G,          KEY_Z,         KEY_X,         KEY_C,         KEY_V,           // 5
    KEY_102ND,      KEY_B,         KEY_Q,         KEY_W,         KEY_E,           // 10
    KEY_R,          KEY_Y,         KEY_T,         KEY_1,         KEY_2,           // 15
    KEY_3,          KEY_4,         KEY_6,         KEY_5,         KEY_EQUAL,       // 20
    KEY_9,          KEY_7,         KEY_MINUS,     KEY_8,         KEY_0,           // 25
    KEY_RIGHTBRACE, KEY_O,         KEY_U,         KEY_LEFTBRACE, KEY_I,           // 30
    KEY_P,          KEY_ENTER,     KEY_L,         KEY_J,         KEY_APOSTROPHE,  // 35
    KEY_K,          KEY_SEMICOLON, KEY_BACKSLASH, KEY_COMMA,     KEY_SLASH,       // 40
    KEY_N,          KEY_M,         KEY_DOT,       KEY_TAB,       KEY_SPACE,       // 45
    KEY_GRAVE,                                                                    // 50
};

static_assert(*std::max_element(kKeyCodes.begin(), kKeyCodes.end()) == kHighestKeyCode);

// Evdev key codes are numbered by keyboard row, so the letters form three ranges.
bool IsLetter(std::uint16_t code) {
  return (code >= KEY_Q && code <= KEY_P) || (code >= KEY_A && code <= KEY_L) ||
         (code >= KEY_Z && code <= KEY_M);
}

std::uint16_t ModifierFor(KeyFlag flag, bool invertShift) {
  if (flag == KeyFlag::kCommand) return KEY_LEFTCTRL;
  return (flag == KeyFlag::kShift) != invertShift ? KEY_LEFTSHIFT : 0;
}

}  // namespace

std::uint16_t EvdevKeyCode(std::uint16_t virtualKey) {
  return virtualKey < kKeyCodes.size() ? kKeyCodes[virtualKey] : 0;
}

void ToKeyStrokes(std::span<const KeyEvent> events, bool capsLock,
                  const std::function<void(KeyStroke)>& put) {
  for (const KeyEvent& event : events) {
    const std::uint16_t code = EvdevKeyCode(event.virtualKey);
    if (code == 0) continue;
    const std::uint16_t modifier =
        event.down ? ModifierFor(event.flag, capsLock && IsLetter(code)) : 0;
    if (modifier != 0) put({modifier, true});
    put({code, event.down});
    if (modifier != 0) put({modifier, false});
  }
}

}  // namespace quillet::platform::linux_desktop
