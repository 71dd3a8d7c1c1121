#include "output/KeyTables.h"

#include <string_view>

namespace quillet {
namespace {

// The characters on the keys of a US keyboard, indexed by virtual key code. US keyboards have no
// key 10. U+00FF fills its position and is never looked up, because only ASCII text is typed.
// clang-format off
constexpr std::u16string_view kUnshifted =
    u"asdfhgzxcv"  // keys 0 to 9
    u"\u00FFbqweryt12"  // keys 10 to 19
    u"3465=97-80"  // keys 20 to 29
    u"]ou[ip\nlj'"  // keys 30 to 39
    u"k;\\,/nm.\t "  // keys 40 to 49
    u"`";  // key 50
constexpr std::u16string_view kShifted =
    u"ASDFHGZXCV"  // keys 0 to 9
    u"\u00FFBQWERYT!@"  // keys 10 to 19
    u"#$^%+(&_*)"  // keys 20 to 29
    u"}OU{IP\nLJ\""  // keys 30 to 39
    u"K:|<?NM>\t "  // keys 40 to 49
    u"~";  // key 50
// clang-format on

static_assert(kUnshifted.size() == 51 && kShifted.size() == 51);

}  // namespace

KeyValue KeyForCharacter(char16_t character) {
  const auto plain = kUnshifted.find(character);
  if (plain != std::u16string_view::npos) return static_cast<KeyValue>(plain);
  const auto shifted = kShifted.find(character);
  if (shifted != std::u16string_view::npos) return static_cast<KeyValue>(shifted | kShiftBit);
  return kNoKey;
}

char CharacterOfKey(KeyValue key) {
  const std::u16string_view table = key & kShiftBit ? kShifted : kUnshifted;
  const std::size_t code = key & kKeyCodeMask;
  return code < table.size() && table[code] < 0x80 ? static_cast<char>(table[code]) : '\0';
}

}  // namespace quillet
