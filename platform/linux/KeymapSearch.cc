#include "platform/linux/KeymapSearch.h"

#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <bit>
#include <tuple>
#include <utility>

#include "platform/linux/DeadKeys.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint32_t kHighestOfMainBlock = 94;  // code of the key right of the left Shift
constexpr std::size_t kMostMasks = 64;
constexpr std::size_t kModifiers = 8;       // number of real modifiers
constexpr std::uint32_t kNumLock = 1 << 4;  // Mod2 in xkeyboard-config

std::uint32_t MaskOf(xkb_keymap* keymap, const char* modifier) {
  const xkb_mod_index_t index = xkb_keymap_mod_get_index(keymap, modifier);
  return index == XKB_MOD_INVALID ? 0 : std::uint32_t{1} << index;
}

char CharacterOf(xkb_keysym_t symbol) {
  if (symbol == XKB_KEY_Return) return '\n';
  if (symbol == XKB_KEY_Tab) return '\t';
  return symbol >= ' ' && symbol <= '~' ? static_cast<char>(symbol) : '\0';
}

}  // namespace

std::uint32_t KeysymOf(char character) {
  if (character == '\n') return XKB_KEY_Return;
  if (character == '\t') return XKB_KEY_Tab;
  return static_cast<unsigned char>(character);
}

struct KeymapSearch::Candidate {
  xkb_keysym_t symbol = 0;
  std::uint32_t code = 0;
  std::uint32_t mask = 0;

  bool operator<(const Candidate& other) const { return Rank() < other.Rank(); }
  std::tuple<bool, int, std::uint32_t, bool, std::uint32_t> Rank() const {
    return {code > kHighestOfMainBlock, std::popcount(mask), code, (mask & kNumLock) != 0, mask};
  }
};

KeymapSearch::KeymapSearch(xkb_keymap* keymap, std::uint32_t highestCode)
    : keymap_(xkb_keymap_ref(keymap)),
      lowest_(xkb_keymap_min_keycode(keymap)),
      highest_(std::min(highestCode, xkb_keymap_max_keycode(keymap))),
      forbidden_(MaskOf(keymap, XKB_MOD_NAME_CTRL) | MaskOf(keymap, XKB_MOD_NAME_ALT) |
                 MaskOf(keymap, XKB_MOD_NAME_LOGO)) {}

KeymapSearch::~KeymapSearch() {
  xkb_keymap_unref(keymap_);
}

std::uint32_t KeymapSearch::Groups() const {
  return xkb_keymap_num_layouts(keymap_);
}

const KeyChord* KeymapSearch::Find(char character, const KeyboardState& state) {
  const auto index = static_cast<unsigned char>(character);
  if (index >= kCharacters) return nullptr;
  const std::optional<KeyChord>& chord = ChordsIn(state).direct[index];
  return chord ? &*chord : nullptr;
}

const KeyChord* KeymapSearch::FindDead(char character, const KeyboardState& state) {
  const auto index = static_cast<unsigned char>(character);
  if (index >= kCharacters) return nullptr;
  const std::optional<KeyChord>& chord = ChordsIn(state).dead[index];
  return chord && chord->group == state.group ? &*chord : nullptr;
}

std::optional<KeyChord> KeymapSearch::FindPlain(std::uint32_t symbol, const KeyboardState& state) {
  const std::uint32_t groups = xkb_keymap_num_layouts(keymap_);
  for (std::uint32_t i = 0; i < groups; ++i) {
    const std::uint32_t group = (state.group + i) % groups;
    const SimulatedKeyboard plain(keymap_, {group, 0});
    for (std::uint32_t code = lowest_; code <= highest_; ++code) {
      if (plain.Symbol(code) == symbol) return KeyChord{{}, code, group};
    }
  }
  return std::nullopt;
}

std::uint32_t KeymapSearch::ModifierKey(std::uint32_t mask, const KeyboardState& state) {
  const auto [found, isNew] = modifierKeys_.try_emplace({state, mask}, 0);
  if (!isNew) return found->second;
  for (std::uint32_t code = lowest_; code <= highest_ && found->second == 0; ++code) {
    if (ModifiersOf(code, state) == mask) found->second = code;
  }
  return found->second;
}

bool KeymapSearch::IsModifier(std::uint32_t code, const KeyboardState& state) const {
  return ModifiersOf(code, state) != 0;
}

// Returns the modifiers that a key sets while it is pressed, or 0 if it has any other effect. In
// some layouts, for example, the Num Lock key types Tab and also sets the Num Lock modifier.
std::uint32_t KeymapSearch::ModifiersOf(std::uint32_t code, const KeyboardState& state) const {
  SimulatedKeyboard simulated(keymap_, state);
  if (!TypesNothing(simulated.Symbol(code))) return 0;
  simulated.Put(code, true);
  const std::uint32_t modifiers = simulated.Pressed();
  if (modifiers == 0 || !simulated.IsInitial()) return 0;
  simulated.Put(code, false);
  return simulated.Pressed() == 0 && simulated.IsInitial() ? modifiers : 0;
}

std::vector<std::uint32_t> KeymapSearch::UnusedCodes(std::uint32_t lowest) const {
  std::vector<std::uint32_t> codes;
  for (std::uint32_t code = std::max(lowest, lowest_); code <= highest_; ++code) {
    if (xkb_keymap_num_layouts_for_key(keymap_, code) == 0) codes.push_back(code);
  }
  return codes;
}

const KeymapSearch::Chords& KeymapSearch::ChordsIn(const KeyboardState& state) {
  const auto [found, isNew] = chords_.try_emplace(state);
  if (isNew) {
    const std::uint32_t groups = std::max(xkb_keymap_num_layouts(keymap_), std::uint32_t{1});
    for (std::uint32_t i = 0; i < groups; ++i) {
      AddGroup(state, (state.group + i) % groups, found->second);
    }
  }
  return found->second;
}

void KeymapSearch::AddGroup(const KeyboardState& initial, std::uint32_t group, Chords& chords) {
  const KeyboardState state{group, initial.lockedModifiers};
  for (const Candidate& candidate : CandidatesIn(state)) {
    const char direct = CharacterOf(candidate.symbol);
    auto& chord =
        direct != '\0'
            ? chords.direct.at(static_cast<unsigned char>(direct))
            : chords.dead.at(static_cast<unsigned char>(CharacterOfDeadKey(candidate.symbol)));
    if (chord) continue;
    KeyChord found{{}, candidate.code, group};
    if (FindModifiers(candidate.mask, state, candidate.symbol, found)) chord = std::move(found);
  }
}

std::vector<KeymapSearch::Candidate> KeymapSearch::CandidatesIn(const KeyboardState& state) {
  std::vector<Candidate> candidates;
  SimulatedKeyboard simulated(keymap_, state);
  for (std::uint32_t code = lowest_; code <= highest_; ++code) {
    for (const std::uint32_t mask : MasksOf(code, state.group, state.lockedModifiers)) {
      simulated.SetModifiers(mask);
      const xkb_keysym_t symbol = simulated.Symbol(code);
      if (CharacterOf(symbol) != '\0' || CharacterOfDeadKey(symbol) != '\0')
        candidates.push_back({symbol, code, mask});
    }
  }
  std::sort(candidates.begin(), candidates.end());
  return candidates;
}

// Returns every set of modifiers that selects one of the key's levels. The sets do not include
// locked modifiers.
std::vector<std::uint32_t> KeymapSearch::MasksOf(std::uint32_t code, std::uint32_t group,
                                                 std::uint32_t locked) const {
  std::vector<std::uint32_t> masks;
  const std::uint32_t levels = xkb_keymap_num_levels_for_key(keymap_, code, group);
  for (std::uint32_t level = 0; level < levels; ++level) {
    std::array<xkb_mod_mask_t, kMostMasks> some{};
    const std::size_t count =
        xkb_keymap_key_get_mods_for_level(keymap_, code, group, level, some.data(), some.size());
    for (std::size_t i = 0; i < count; ++i) {
      if ((some.at(i) & ~locked & forbidden_) == 0) masks.push_back(some.at(i) & ~locked);
    }
  }
  std::sort(masks.begin(), masks.end());
  masks.erase(std::unique(masks.begin(), masks.end()), masks.end());
  return masks;
}

// Pressing one modifier key can change the effect of another, so all orders are tried.
bool KeymapSearch::FindModifiers(std::uint32_t mask, const KeyboardState& state,
                                 std::uint32_t symbol, KeyChord& chord) {
  for (std::size_t i = 0; i < kModifiers; ++i) {
    const std::uint32_t modifier = std::uint32_t{1} << i;
    if ((mask & modifier) == 0) continue;
    const std::uint32_t key = ModifierKey(modifier, state);
    if (key == 0) return false;
    chord.modifiers.push_back(key);
  }
  std::sort(chord.modifiers.begin(), chord.modifiers.end());
  do {
    if (SimulatedKeyboard(keymap_, state).Types(chord, symbol)) return true;
  } while (std::next_permutation(chord.modifiers.begin(), chord.modifiers.end()));
  return false;
}

}  // namespace quillet::platform::linux_desktop
