#include "platform/linux/PlainKeymap.h"

#include <linux/input-event-codes.h>

#include <cstddef>
#include <cstdio>
#include <string_view>

namespace quillet::platform::linux_desktop {
namespace {

// Keys with consecutive codes, and their characters.
struct Row {
  std::uint16_t first;
  std::string_view characters;
};

// The last row contains all characters that need Shift on a US keyboard. Most key codes of this row
// do not exist on real keyboards. X servers, including Xwayland, do not support codes above 247.
constexpr Row kRows[] = {
    {KEY_1, "1234567890-="}, {KEY_TAB, "\tqwertyuiop[]\n"},
    {KEY_A, "asdfghjkl;'`"}, {KEY_BACKSLASH, "\\zxcvbnm,./"},
    {KEY_SPACE, " "},        {KEY_F24 + 1, "ABCDEFGHIJKLMNOPQRSTUVWXYZ!\"#$%&()*+:<>?@^_{|}~"},
};
static_assert(KEY_F24 + kRows[5].characters.size() <= 247);

constexpr int kKeysymReturn = 0xff0d;
constexpr int kKeysymTab = 0xff09;
constexpr int kXkbCodeOffset = 8;  // difference between XKB and evdev key codes

// The keysyms of ASCII characters other than Return and Tab equal the character codes (X11
// protocol, appendix A).
int PlainKeysym(char character) {
  return character == '\n' ? kKeysymReturn : character == '\t' ? kKeysymTab : character;
}

template <class... Values>
void AppendLine(std::string& text, const char* format, Values... values) {
  char line[64];
  text.append(line, static_cast<std::size_t>(std::snprintf(line, sizeof line, format, values...)));
}

}  // namespace

std::string PlainKeymap() {
  std::string names;
  std::string symbols;
  const auto add = [&](int code, int keysym) {
    AppendLine(names, "<K%d> = %d;\n", code, code + kXkbCodeOffset);
    AppendLine(symbols, "key <K%d> { [ 0x%x ] };\n", code, static_cast<unsigned>(keysym));
  };
  for (const Row& row : kRows) {
    int code = row.first;
    for (const char character : row.characters) add(code++, PlainKeysym(character));
  }
  constexpr int kKeysymControl = 0xffe3;
  add(KEY_LEFTCTRL, kKeysymControl);
  AppendLine(symbols, "modifier_map Control { <K%d> };\n", KEY_LEFTCTRL);
  return "xkb_keymap {\nxkb_keycodes \"quillet\" {\nminimum = 8;\nmaximum = 255;\n" + names +
         "};\nxkb_types \"quillet\" { include \"complete\" };\n"
         "xkb_compatibility \"quillet\" { include \"complete\" };\n"
         "xkb_symbols \"quillet\" {\n" +
         symbols + "};\n};\n";
}

std::uint16_t PlainKeyCode(char character) {
  for (const Row& row : kRows) {
    const std::size_t place = row.characters.find(character);
    if (place != std::string_view::npos) return static_cast<std::uint16_t>(row.first + place);
  }
  return 0;
}

}  // namespace quillet::platform::linux_desktop
