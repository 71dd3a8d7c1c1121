#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

namespace quillet::platform::linux_desktop {

/// The keyboard layouts between which the user can switch, as groups of the desktop's keymap.
struct UserLayouts {
  static constexpr std::uint32_t kAllGroups = std::numeric_limits<std::uint32_t>::max();

  std::uint32_t count = kAllGroups;     ///< the groups 0 to count - 1, or all if there are fewer
  std::optional<std::uint32_t> active;  ///< none if it is not known
  bool canSelect = false;               ///< see ActiveLayout::Select
  bool operator==(const UserLayouts&) const = default;  ///< compares all members
};

/// Reads the user's active keyboard layout from the settings of GNOME or from KDE Plasma. One
/// thread at a time.
class ActiveLayout {
 public:
  ActiveLayout();
  ~ActiveLayout();
  ActiveLayout(const ActiveLayout&) = delete;
  ActiveLayout& operator=(const ActiveLayout&) = delete;

  /// Returns the current layouts. Waits up to 1 s for KDE Plasma. GNOME changes its settings some
  /// milliseconds after it has changed the layout.
  ///
  /// The active layout is unknown on other desktops, and on GNOME if each window has its own layout
  /// or if the user has both layouts and input methods.
  UserLayouts Read();

  /// Makes another layout the active one. Only KDE Plasma allows this.
  /// @param group  its group
  /// @return false if the desktop does not do so
  bool Select(std::uint32_t group);

 private:
  class Plasma;
  class Gnome;

  const std::unique_ptr<Plasma> plasma_;
  const std::unique_ptr<Gnome> gnome_;
};

}  // namespace quillet::platform::linux_desktop
