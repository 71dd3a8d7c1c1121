#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace quillet::platform::linux_desktop {

/// A file that exists while Quillet has temporarily switched the user's keyboard layout. If Quillet
/// is killed, the next start restores the user's layout. The file is not flushed to the disk,
/// because a restart of the computer also resets the layout in KDE Plasma. One thread at a time.
class LayoutNote {
 public:
  /// @param path  absolute path; its folder exists or can be created. If empty, no file is used.
  explicit LayoutNote(std::string path) : path_(std::move(path)) {}

  /// Call before selecting a layout.
  /// @param selected  group of the layout to be selected
  /// @param previous  group of the user's layout
  void Write(std::uint32_t selected, std::uint32_t previous) const;

  void Remove() const;  ///< call after the user's layout has been selected again

  /// If an earlier process left the file behind, selects the user's layout again and removes the
  /// file. Keeps the layout if the user has changed it in the meantime. Keeps the file if the
  /// desktop does not respond. Waits up to 2 s.
  void Undo() const;

 private:
  const std::string path_;
};

}  // namespace quillet::platform::linux_desktop
