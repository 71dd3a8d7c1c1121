#include "platform/linux/SessionLayout.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <utility>

#include "base/UniqueFd.h"
#include "platform/linux/WaylandConnection.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::chrono::seconds kLayoutLimit{1};

constexpr std::uint32_t kShift = 1;  // masks of real modifiers (X11 protocol, section 2)
constexpr std::uint32_t kLock = 2;
constexpr std::uint32_t kControl = 4;

KeyChords ShortcutFor(std::uint32_t modifier, std::uint32_t symbol, KeymapSearch& keymap,
                      const KeyboardState& state) {
  auto chord = keymap.FindPlain(symbol, state);
  const std::uint32_t key = keymap.ModifierKey(modifier, state);
  if (!chord || chord->group != state.group || key == 0) return {};
  chord->modifiers = {key};
  return {*chord};
}

const KeyChord* FindInGroup(char character, KeymapSearch& keymap, const KeyboardState& state) {
  const KeyChord* const found = keymap.Find(character, state);
  return found != nullptr && found->group == state.group ? found : nullptr;
}

bool AreSameKeys(const KeyChord& one, const KeyChord& other) {
  return one.code == other.code && one.modifiers == other.modifiers;
}

// Returns the result of `find` if it is the same in all groups, otherwise an empty list.
template <class Find>
KeyChords InAllGroups(std::uint32_t groups, std::uint32_t lockedModifiers, const Find& find) {
  KeyChords found = find(KeyboardState{.group = 0, .lockedModifiers = lockedModifiers});
  for (std::uint32_t group = 1; group < groups; ++group) {
    const KeyChords other = find(KeyboardState{group, lockedModifiers});
    if (!std::equal(found.begin(), found.end(), other.begin(), other.end(), AreSameKeys)) return {};
  }
  return found;
}

bool IsPaste(const KeyEvent& press) {
  return press.flag == KeyFlag::kCommand && press.character == 'v';
}

// Returns the keysyms for a key-down event in one group. See SessionLayout::KeysymsFor.
Keysyms KeysymsIn(const KeyEvent& press, const KeysymSearch& search, const KeyboardState& state) {
  if (press.flag != KeyFlag::kCommand) {
    const std::uint32_t found = search.Find(press.character, state);
    return found == 0 ? Keysyms() : Keysyms{found};
  }
  std::vector<Keysyms> shortcuts{{XKB_KEY_Control_L, KeysymOf(press.character)}};
  if (IsPaste(press)) shortcuts.push_back({XKB_KEY_Shift_L, XKB_KEY_Insert});
  for (const Keysyms& keysyms : shortcuts) {
    if (std::all_of(keysyms.begin(), keysyms.end(),
                    [&](std::uint32_t keysym) { return search.IsPlain(keysym, state.group); })) {
      return keysyms;
    }
  }
  return {};
}

}  // namespace

xkb_keymap* ReadKeymap(int file, std::size_t size) {
  void* const text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
  if (text == MAP_FAILED) return nullptr;
  xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  // The text may end with a NUL.
  const std::size_t length = strnlen(static_cast<const char*>(text), size);
  xkb_keymap* const keymap =
      xkb_keymap_new_from_buffer(context, static_cast<const char*>(text), length,
                                 XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
  xkb_context_unref(context);
  munmap(text, size);
  return keymap;
}

KeyChords ChordsFor(const KeyEvent& press, KeymapSearch& keymap, const KeyboardState& state) {
  if (press.flag != KeyFlag::kCommand) {
    if (const KeyChord* const found = FindInGroup(press.character, keymap, state)) return {*found};
    const KeyChord* const dead = keymap.FindDead(press.character, state);
    const KeyChord* const space = FindInGroup(' ', keymap, state);
    if (dead == nullptr || space == nullptr) return {};
    return {*dead, *space};
  }
  auto chords = ShortcutFor(kControl, KeysymOf(press.character), keymap, state);
  if (!chords.empty() || press.character != 'v') return chords;
  return ShortcutFor(kShift, XKB_KEY_Insert, keymap, state);
}

KeyChords ChordsForAll(const KeyEvent& press, KeymapSearch& keymap, std::uint32_t groups,
                       std::uint32_t lockedModifiers) {
  if (IsPaste(press)) {
    for (const auto& shortcut : {std::pair{kControl, KeysymOf(press.character)},
                                 std::pair{kShift, std::uint32_t{XKB_KEY_Insert}}}) {
      auto found = InAllGroups(groups, lockedModifiers, [&](const KeyboardState& state) {
        return ShortcutFor(shortcut.first, shortcut.second, keymap, state);
      });
      if (!found.empty()) return found;
    }
    return {};
  }
  return InAllGroups(groups, lockedModifiers,
                     [&](const KeyboardState& state) { return ChordsFor(press, keymap, state); });
}

const char* ReasonWithoutKey(const KeyEvent& press) {
  return press.flag == KeyFlag::kCommand
             ? "the keyboard layout has no keys for the paste shortcut"
             : "the keyboard layout changed while a record was being typed";
}

SessionLayout::SessionLayout() = default;

SessionLayout::~SessionLayout() {
  if (keyboard_ != nullptr) wl_keyboard_destroy(keyboard_);
}

bool SessionLayout::Update() {
  static constexpr wl_keyboard_listener kListener = {
      .keymap =
          [](void* self, wl_keyboard*, std::uint32_t, std::int32_t file, std::uint32_t size) {
            auto& layout = *static_cast<SessionLayout*>(self);
            const UniqueFd owned(file);
            xkb_keymap* const keymap = ReadKeymap(owned.Get(), size);
            if (keymap == nullptr) return;
            ++layout.keymaps_;
            layout.groups_ = xkb_keymap_num_layouts(keymap);
            layout.keymap_ = std::make_unique<KeymapSearch>(keymap, kHighestRealCode);
            layout.keysyms_ = std::make_unique<KeysymSearch>(keymap, kHighestRealCode);
            xkb_keymap_unref(keymap);
          },
      .enter = [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {},
      .leave = [](void*, wl_keyboard*, std::uint32_t, wl_surface*) {},
      .key = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
      .modifiers = [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t,
                      std::uint32_t, std::uint32_t) {},
      .repeat_info = [](void*, wl_keyboard*, std::int32_t, std::int32_t) {}};
  if (connection_ == nullptr || connection_->IsBroken()) {
    if (keyboard_ != nullptr) wl_keyboard_destroy(keyboard_);
    keyboard_ = nullptr;
    connection_ = std::make_unique<WaylandConnection>();
  }
  if (keyboard_ == nullptr && connection_->seatHasKeyboard()) {
    keyboard_ = wl_seat_get_keyboard(connection_->seat());
    wl_keyboard_add_listener(keyboard_, &kListener, this);
  }
  connection_->Roundtrip(kLayoutLimit);
  return keymap_ != nullptr;
}

KeyChords SessionLayout::Find(const KeyEvent& press, std::uint32_t lockedModifiers) {
  if (keymap_ == nullptr) return {};
  KeyChords found = ChordsForAll(press, *keymap_, groups_, lockedModifiers);
  if (!found.empty() || !IsPaste(press)) return found;
  constexpr std::uint32_t kXkbOffset = 8;  // xkbcommon.h, xkb_keycode_t
  return {KeyChord{{KEY_LEFTCTRL + kXkbOffset}, KEY_V + kXkbOffset, 0}};
}

Keysyms SessionLayout::KeysymsFor(const KeyEvent& press, const UserLayouts& layouts,
                                  const UserModifiers::State& modifiers) const {
  const std::uint32_t groups = std::min(groups_, layouts.count);
  const std::uint32_t first = layouts.active.value_or(0);
  if (keysyms_ == nullptr || first >= groups) return {};
  const std::uint32_t locked = modifiers.isCapsLockOn ? kLock : 0;
  Keysyms found = KeysymsIn(press, *keysyms_, {first, locked});
  for (std::uint32_t group = 1; group < groups && !layouts.active; ++group) {
    if (KeysymsIn(press, *keysyms_, {group, locked}) != found) return {};
  }
  // KDE's portal searches the first group, even if another one is active.
  const auto isOnSameKey = [&](std::uint32_t symbol) { return keysyms_->IsOnSameKey(symbol); };
  const bool isPlasma = layouts.canSelect;
  if (isPlasma && !std::all_of(found.begin(), found.end(), isOnSameKey)) return {};
  return found;
}

}  // namespace quillet::platform::linux_desktop
