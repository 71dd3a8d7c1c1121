#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/X11OwnedProperty.h"

struct xcb_connection_t;

namespace quillet::platform::linux_desktop {

/// Binds characters that the layout lacks to key codes without symbols. One thread at a time.
///
/// A property of the root window lists the bindings. If this process is killed, the next process
/// reads the property and removes the bindings.
class X11SpareKeys {
 public:
  /// Name of the property that lists the bindings; see X11OwnedProperty.
  static constexpr char kProperty[] = "_QUILLET_SPARE_KEYS";

  /// @param xcb  a connection with XKB; must outlive this object
  explicit X11SpareKeys(xcb_connection_t* xcb);

  /// Replaces the bindings. Does not wait for the server.
  /// @param characters  typable characters
  /// @param codes       key codes without symbols
  /// @return the number of characters bound, starting with the first one in `characters`
  std::size_t Bind(const std::string& characters, const std::vector<std::uint32_t>& codes);

  /// Reads the key types of the current keymap, which Bind needs. Waits for the server's reply.
  void ReadTypes();

  bool IsBound() const { return !bound_.empty(); }  ///< true if there are bindings

  /// Removes the bindings, except those of key codes whose symbols have changed in the meantime.
  /// Waits for the server's reply.
  void Restore();

  /// Removes the bindings left by a process that is no longer running.
  void Recover();

 private:
  static constexpr std::size_t kLevels = 4;
  struct Binding {
    std::uint32_t code = 0;
    std::array<std::uint32_t, kLevels> symbols{};  // keysyms by level; 0 means none
  };

  void SetSymbols(const Binding& binding, std::size_t levels, std::uint8_t type);
  bool HasSymbols(const Binding& binding);
  void WriteProperty();

  xcb_connection_t* const xcb_;
  X11OwnedProperty property_;
  std::uint8_t fourLevels_ = 0;  // index of the type FOUR_LEVEL, or 0 if the keymap has none
  std::vector<Binding> bound_;
};

}  // namespace quillet::platform::linux_desktop
