#include "platform/linux/KeysymSearch.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <array>

#include "platform/linux/KeymapSearch.h"

namespace quillet::platform::linux_desktop {
namespace {

char OtherCase(char character) {
  const bool isLetter =
      (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
  constexpr char kCaseBit = 'a' - 'A';
  return isLetter ? static_cast<char>(character ^ kCaseBit) : character;
}

}  // namespace

KeysymSearch::KeysymSearch(xkb_keymap* keymap, std::uint32_t highestCode)
    : keymap_(xkb_keymap_ref(keymap)), highest_(highestCode) {}

KeysymSearch::~KeysymSearch() {
  xkb_keymap_unref(keymap_);
}

std::uint32_t KeysymSearch::Find(char character, const KeyboardState& state) const {
  const std::uint32_t symbol = KeysymOf(character);
  for (const std::uint32_t sent : {symbol, KeysymOf(OtherCase(character))}) {
    if (Types(sent, state, symbol)) return sent;
  }
  return 0;
}

bool KeysymSearch::IsPlain(std::uint32_t symbol, std::uint32_t group) const {
  const auto key = FirstKey(symbol, group);
  return key && key->level == 0 && key->code <= highest_;
}

bool KeysymSearch::IsOnSameKey(std::uint32_t symbol) const {
  const auto first = FirstKey(symbol, 0);
  for (std::uint32_t group = 1; group < xkb_keymap_num_layouts(keymap_); ++group) {
    const auto other = FirstKey(symbol, group);
    if (!first || !other || first->code != other->code || first->level != other->level) {
      return false;
    }
  }
  return first.has_value();
}

std::optional<KeysymSearch::KeyLevel> KeysymSearch::FirstKey(std::uint32_t symbol,
                                                             std::uint32_t group) const {
  const std::uint32_t last = xkb_keymap_max_keycode(keymap_);
  for (std::uint32_t code = xkb_keymap_min_keycode(keymap_); code <= last; ++code) {
    const std::uint32_t levels = xkb_keymap_num_levels_for_key(keymap_, code, group);
    for (std::uint32_t level = 0; level < levels; ++level) {
      const xkb_keysym_t* symbols = nullptr;
      const int count = xkb_keymap_key_get_syms_by_level(keymap_, code, group, level, &symbols);
      if (std::find(symbols, symbols + count, symbol) != symbols + count) {
        return KeyLevel{code, level};
      }
    }
  }
  return std::nullopt;
}

// Returns true if sending the keysym `sent` to the desktop types `symbol`.
bool KeysymSearch::Types(std::uint32_t sent, const KeyboardState& state,
                         std::uint32_t symbol) const {
  constexpr std::array<xkb_keysym_t, 3> kModifierOfLevel{0, XKB_KEY_Shift_L,
                                                         XKB_KEY_ISO_Level3_Shift};
  const auto key = FirstKey(sent, state.group);
  if (!key || key->code > highest_ || key->level >= kModifierOfLevel.size()) return false;
  KeyChord chord{{}, key->code, state.group};
  if (key->level > 0) {
    const auto modifier = FirstKey(kModifierOfLevel.at(key->level), state.group);
    if (!modifier || modifier->code > highest_) return false;
    chord.modifiers = {modifier->code};
  }
  return SimulatedKeyboard(keymap_, state).Types(chord, symbol);
}

}  // namespace quillet::platform::linux_desktop
