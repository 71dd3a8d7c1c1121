#include "output/KeyTables.h"

#include <string_view>

namespace quillet {
namespace {

// The characters on the keys of a US keyboard, indexed by virtual key code. US keyboards have no
// key 10. U+00FF fills its position and is never looked up, because only ASCII text is typed.
// clang-format off
constexpr std::u16string_view kUnshifted =
    u"asdfhgzxcv"  // 0
    u"\u00FFbqweryt12"  // 10
    u"3465=97-80"  // 20
    u"]ou[ip\nlj'"  // 30
    u"k;\\,/nm.\t "  // 40
    u"`";  // 50
constexpr std::u16string_view kShifted =
    u"ASDFHGZXCV"  // 0
    u"\u00FFBQWERYT!@"  // 10
    u"#$^%+(&_*)"  // 20
    u"}OU{IP\nLJ\""  // 30
    u"K:|<?NM>\t "  // 40
    u"~";  // 50
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

}  // namespace quillet
