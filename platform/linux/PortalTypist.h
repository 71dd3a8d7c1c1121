#pragma once

#include <span>
#include <string>
#include <string_view>

#include "platform/KeyEvents.h"

namespace quillet::platform::linux_desktop {

/// Types records through a session of the desktop portal. One thread at a time.
class PortalTypist {
 public:
  virtual ~PortalTypist() = default;

  /// Returns the characters of `text` that Type cannot type at present, without duplicates.
  virtual std::string Untypable(std::string_view text) = 0;

  virtual void Begin() = 0;  ///< begins a record

  /// Presses and releases keys. If the user holds a modifier, waits up to 1 s for its release.
  ///
  /// Some desktops report layout changes late. If such a desktop reports a change less than 0.2 s
  /// after the last record, presses no keys, because that record may have been mistyped.
  /// @param presses  the record's next key-down events
  /// @return null if all characters were typed; otherwise the reason, as part of a sentence
  virtual const char* Type(std::span<const KeyEvent> presses) = 0;
};

}  // namespace quillet::platform::linux_desktop
