#include "platform/linux/SimulatedKeyboard.h"

#include <xkbcommon/xkbcommon.h>

namespace quillet::platform::linux_desktop {

bool TypesNothing(xkb_keysym_t symbol) {
  return symbol == XKB_KEY_NoSymbol || (symbol >= XKB_KEY_Shift_L && symbol <= XKB_KEY_Hyper_R) ||
         (symbol >= XKB_KEY_ISO_Lock && symbol <= XKB_KEY_ISO_Level5_Lock) ||
         symbol == XKB_KEY_Mode_switch || symbol == XKB_KEY_Num_Lock;
}

SimulatedKeyboard::SimulatedKeyboard(xkb_keymap* keymap, const KeyboardState& initial)
    : initial_(initial), state_(xkb_state_new(keymap)) {
  SetModifiers(0);
}

SimulatedKeyboard::~SimulatedKeyboard() {
  xkb_state_unref(state_);
}

void SimulatedKeyboard::SetModifiers(std::uint32_t mask) {
  xkb_state_update_mask(state_, mask, 0, initial_.lockedModifiers, 0, 0, initial_.group);
}

void SimulatedKeyboard::Put(std::uint32_t code, bool down) {
  xkb_state_update_key(state_, code, down ? XKB_KEY_DOWN : XKB_KEY_UP);
}

std::uint32_t SimulatedKeyboard::Symbol(std::uint32_t code) const {
  return xkb_state_key_get_one_sym(state_, code);
}

std::uint32_t SimulatedKeyboard::Pressed() const {
  return xkb_state_serialize_mods(state_, XKB_STATE_MODS_DEPRESSED);
}

bool SimulatedKeyboard::IsInitial() const {
  return xkb_state_serialize_mods(state_, XKB_STATE_MODS_LATCHED) == 0 &&
         xkb_state_serialize_mods(state_, XKB_STATE_MODS_LOCKED) == initial_.lockedModifiers &&
         xkb_state_serialize_layout(state_, XKB_STATE_LAYOUT_EFFECTIVE) == initial_.group;
}

bool SimulatedKeyboard::Types(const KeyChord& chord, std::uint32_t symbol) {
  for (const std::uint32_t modifier : chord.modifiers) {
    if (!TypesNothing(Symbol(modifier))) return false;
    Put(modifier, true);
  }
  if (Symbol(chord.code) != symbol || !IsInitial()) return false;
  for (auto modifier = chord.modifiers.rbegin(); modifier != chord.modifiers.rend(); ++modifier) {
    Put(*modifier, false);
  }
  return Pressed() == 0 && IsInitial();
}

}  // namespace quillet::platform::linux_desktop
