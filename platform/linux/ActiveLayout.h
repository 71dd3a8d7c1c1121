#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>

namespace quillet::platform::linux_desktop {

/// The keyboard layouts that the user can switch between, as groups of the desktop's keymap.
struct UserLayouts {
  /// Value of `count` if every group of the keymap is one of the user's layouts.
  static constexpr std::uint32_t kAllGroups = std::numeric_limits<std::uint32_t>::max();

  std::uint32_t count = kAllGroups;  ///< number of layouts (groups 0 to `count` - 1), or kAllGroups
  std::optional<std::uint32_t> active;  ///< group of the active layout; no value if unknown
  bool canSelect = false;               ///< true if ActiveLayout::Select works
  bool isReportedAtOnce = false;        ///< true if the desktop reports layout changes immediately
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

  /// Returns the current layouts. Waits up to 1 s for KDE Plasma. GNOME updates its settings a few
  /// milliseconds after a layout change.
  ///
  /// The active layout can be known only on GNOME and KDE Plasma. It is unknown if KDE Plasma does
  /// not respond. On GNOME, it is unknown if each window has a separate layout, or if the user has
  /// both layouts and input methods.
  UserLayouts Read();

  /// Activates a layout. Only KDE Plasma allows this.
  /// @param group  group of the layout
  /// @return false if the desktop does not allow it
  bool Select(std::uint32_t group);

 private:
  class Plasma;
  class Gnome;

  const std::unique_ptr<Plasma> plasma_;
  const std::unique_ptr<Gnome> gnome_;
};

}  // namespace quillet::platform::linux_desktop
