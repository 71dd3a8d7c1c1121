#pragma once

#include <cstdint>
#include <vector>

struct xcb_connection_t;

namespace quillet::platform::linux_desktop {

/// A property of the root window that outlives its owner, so that the next process can undo the
/// changes of a killed process. One thread at a time.
class X11OwnedProperty {
 public:
  /// @param xcb   must outlive this object
  /// @param name  name of the property
  X11OwnedProperty(xcb_connection_t* xcb, const char* name);

  /// Queues a request to set the value.
  void Write(const std::vector<std::uint32_t>& value);

  /// Queues a request to remove the property.
  void Remove();

  /// Returns the value if its owner is no longer running. Otherwise returns an empty list.
  std::vector<std::uint32_t> Abandoned() const;

 private:
  std::vector<std::uint32_t> Read(std::uint32_t window) const;

  xcb_connection_t* const xcb_;
  const std::uint32_t root_;
  const std::uint32_t owner_;  // a window that exists as long as the connection
  const std::uint32_t name_;
};

}  // namespace quillet::platform::linux_desktop
