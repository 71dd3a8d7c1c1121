#include "platform/linux/DeadKeys.h"

#include <xkbcommon/xkbcommon-compose.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdlib>
#include <map>
#include <string_view>

namespace quillet::platform::linux_desktop {
namespace {

using DeadKeys = std::map<xkb_keysym_t, char>;

constexpr xkb_keysym_t kFirstDeadKey = XKB_KEY_dead_grave;
constexpr xkb_keysym_t kLastDeadKey = XKB_KEY_dead_greek;

// Returns the locale from the first environment variable that is set, in the order of setlocale(3).
const char* LocaleOfText() {
  for (const char* const variable : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return value;
  }
  return "C";
}

// Accepts only characters for which the toolkits' compose tables agree with the table of libX11.
char CharacterAfterSpace(xkb_compose_state* state, xkb_keysym_t deadKey) {
  constexpr std::string_view kCharacters = "\"'^`~";
  xkb_compose_state_reset(state);
  xkb_compose_state_feed(state, deadKey);
  xkb_compose_state_feed(state, XKB_KEY_space);
  char text[8] = {};
  if (xkb_compose_state_get_status(state) != XKB_COMPOSE_COMPOSED ||
      xkb_compose_state_get_utf8(state, text, sizeof text) != 1 ||
      kCharacters.find(text[0]) == std::string_view::npos) {
    return '\0';
  }
  return text[0];
}

DeadKeys ReadDeadKeys() {
  DeadKeys keys;
  xkb_context* const context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
  xkb_compose_table* table =
      xkb_compose_table_new_from_locale(context, LocaleOfText(), XKB_COMPOSE_COMPILE_NO_FLAGS);
  if (table == nullptr) {
    table = xkb_compose_table_new_from_locale(context, "en_US.UTF-8", XKB_COMPOSE_COMPILE_NO_FLAGS);
  }
  if (table != nullptr) {
    xkb_compose_state* const state = xkb_compose_state_new(table, XKB_COMPOSE_STATE_NO_FLAGS);
    for (xkb_keysym_t key = kFirstDeadKey; key <= kLastDeadKey; ++key) {
      if (const char character = CharacterAfterSpace(state, key)) keys[key] = character;
    }
    xkb_compose_state_unref(state);
  }
  xkb_compose_table_unref(table);
  xkb_context_unref(context);
  return keys;
}

}  // namespace

char CharacterOfDeadKey(std::uint32_t symbol) {
  static const DeadKeys keys = ReadDeadKeys();
  const auto found = keys.find(symbol);
  return found == keys.end() ? '\0' : found->second;
}

}  // namespace quillet::platform::linux_desktop
