#include "platform/linux/X11SpareKeys.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/linux/KeymapSearch.h"
#include "platform/linux/Xcb.h"
#include "platform/linux/XcbXkb.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr char kFourLevels[] = "FOUR_LEVEL";  // Shift and the third level, as in xkeyboard-config
constexpr std::uint8_t kTwoLevels = 1;        // index of the canonical key type TWO_LEVEL

xcb_atom_t Atom(xcb_connection_t* xcb, std::string_view name) {
  const XcbReply<xcb_intern_atom_reply_t> reply{xcb_intern_atom_reply(
      xcb, xcb_intern_atom(xcb, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr)};
  return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

}  // namespace

X11SpareKeys::X11SpareKeys(xcb_connection_t* xcb) : xcb_(xcb), property_(xcb, kProperty) {}

std::size_t X11SpareKeys::Bind(const std::string& characters,
                               const std::vector<std::uint32_t>& codes) {
  const std::size_t levels = fourLevels_ == 0 ? 2 : kLevels;
  const std::size_t count = std::min(characters.size(), codes.size() * levels);
  std::vector<Binding> bindings((count + levels - 1) / levels);
  for (std::size_t i = 0; i < bindings.size(); ++i) bindings[i].code = codes[i];
  for (std::size_t i = 0; i < count; ++i) {
    bindings[i / levels].symbols.at(i % levels) = KeysymOf(characters[i]);
  }
  for (const Binding& old : std::exchange(bound_, bindings)) {
    const auto isOld = [&](const Binding& binding) { return binding.code == old.code; };
    if (std::none_of(bindings.begin(), bindings.end(), isOld)) SetSymbols({old.code, {}}, 0, 0);
  }
  // Writes the property first, so that it lists every binding even if this process is killed here.
  WriteProperty();
  for (const Binding& binding : bindings) {
    SetSymbols(binding, levels, fourLevels_ == 0 ? kTwoLevels : fourLevels_);
  }
  return count;
}

void X11SpareKeys::Restore() {
  for (const Binding& binding : bound_) {
    if (HasSymbols(binding)) SetSymbols({binding.code, {}}, 0, 0);
  }
  if (!bound_.empty()) property_.Remove();
  bound_.clear();
  // Waits until the server has processed the requests, which could otherwise be lost: if the server
  // writes an event to a closed connection, it drops that connection's pending requests.
  const XcbReply<xcb_get_input_focus_reply_t> last{
      xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr)};
}

void X11SpareKeys::Recover() {
  const std::vector<std::uint32_t> property = property_.Abandoned();
  for (std::size_t i = 0; i + kLevels < property.size(); i += 1 + kLevels) {
    Binding binding{property[i], {}};
    std::copy_n(property.begin() + static_cast<std::ptrdiff_t>(i) + 1, kLevels,
                binding.symbols.begin());
    bound_.push_back(binding);
  }
  if (!bound_.empty()) Restore();
}

void X11SpareKeys::ReadTypes() {
  fourLevels_ = 0;
  const xcb_atom_t wanted = Atom(xcb_, kFourLevels);
  const XcbReply<xcb_xkb_get_names_reply_t> reply{xcb_xkb_get_names_reply(
      xcb_, xcb_xkb_get_names(xcb_, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_NAME_DETAIL_KEY_TYPE_NAMES),
      nullptr)};
  if (!reply) return;
  xcb_xkb_get_names_value_list_t names{};
  xcb_xkb_get_names_value_list_unpack(xcb_xkb_get_names_value_list(reply.get()), reply->nTypes,
                                      reply->indicators, reply->virtualMods, reply->groupNames,
                                      reply->nKeys, reply->nKeyAliases, reply->nRadioGroups,
                                      reply->which, &names);
  const xcb_atom_t* const begin = names.typeNames;
  const xcb_atom_t* const end = begin + reply->nTypes;
  const auto* const found = std::find(begin, end, wanted);
  if (found != end) fourLevels_ = static_cast<std::uint8_t>(found - begin);
}

// Sets a key's symbols on all keyboards. If `levels` is 0, removes the key's symbols.
void X11SpareKeys::SetSymbols(const Binding& binding, std::size_t levels, std::uint8_t type) {
  struct {
    xcb_xkb_key_sym_map_t map;
    std::array<std::uint32_t, kLevels> symbols;
  } values{};
  if (levels != 0)
    values.map = {{type, type, type, type},
                  1,
                  static_cast<std::uint8_t>(levels),
                  static_cast<std::uint16_t>(levels)};
  values.symbols = binding.symbols;
  const auto code = static_cast<xcb_keycode_t>(binding.code);
  const xcb_setup_t* const setup = xcb_get_setup(xcb_);
  xcb_xkb_set_map(xcb_, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_MAP_PART_KEY_SYMS, 0, setup->min_keycode,
                  setup->max_keycode, 0, 0, code, 1, static_cast<std::uint16_t>(levels), 0, 0, 0, 0,
                  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, &values);
}

bool X11SpareKeys::HasSymbols(const Binding& binding) {
  const auto code = static_cast<xcb_keycode_t>(binding.code);
  const XcbReply<xcb_xkb_get_map_reply_t> reply{xcb_xkb_get_map_reply(
      xcb_,
      xcb_xkb_get_map(xcb_, XCB_XKB_ID_USE_CORE_KBD, 0, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, code, 1, 0,
                      0, 0, 0, 0, 0, 0, 0, 0, 0, 0),
      nullptr)};
  if (!reply || reply->nKeySyms != 1) return false;
  const auto* const key = static_cast<const xcb_xkb_key_sym_map_t*>(xcb_xkb_get_map_map(&*reply));
  const auto* const symbols = reinterpret_cast<const std::uint32_t*>(key + 1);
  return key->nSyms != 0 && key->nSyms <= kLevels &&
         std::equal(symbols, symbols + key->nSyms, binding.symbols.begin());
}

void X11SpareKeys::WriteProperty() {
  std::vector<std::uint32_t> numbers;
  for (const Binding& binding : bound_) {
    numbers.push_back(binding.code);
    numbers.insert(numbers.end(), binding.symbols.begin(), binding.symbols.end());
  }
  property_.Write(numbers);
}

}  // namespace quillet::platform::linux_desktop
