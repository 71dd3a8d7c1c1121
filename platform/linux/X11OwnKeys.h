#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/OwnKeys.h"
#include "platform/linux/ExpectedKeys.h"
#include "platform/linux/KeyStrokes.h"

struct xcb_connection_t;

namespace quillet::platform::linux_desktop {

/// Announces keystrokes to the toolkit's connection. Send the strokes on `xcb` next, then call
/// ConfirmKeys. The X server processes the requests of a connection in order.
/// @param xcb      the connection that sends the strokes
/// @param window   X11OwnKeys::window
/// @param strokes  at most kMostAnnounced
void AnnounceKeys(xcb_connection_t* xcb, std::uint32_t window, std::span<const KeyStroke> strokes);

/// Reports that all announced strokes have been sent.
void ConfirmKeys(xcb_connection_t* xcb, std::uint32_t window);

/// The number of strokes that a client message can hold.
inline constexpr std::size_t kMostAnnounced = 10;

/// Recognizes key events that X11KeyEvents sent. X key events do not name their source, and the
/// XTEST keyboard is shared by all programs. X11KeyEvents therefore announces its strokes to an
/// invisible window on the toolkit's connection.
///
/// If a program has frozen the keyboard (XGrabKeyboard(3), GrabModeSync), strokes arrive after the
/// confirmation (see ConfirmKeys), but with their original time stamps. Keys with a later time
/// stamp than the confirmation are the user's.
class X11OwnKeys final : public OwnKeys {
 public:
  /// @param xcb  the toolkit's connection; must outlive this object
  explicit X11OwnKeys(xcb_connection_t* xcb);
  ~X11OwnKeys() override;
  X11OwnKeys(const X11OwnKeys&) = delete;
  X11OwnKeys& operator=(const X11OwnKeys&) = delete;

  std::uint32_t window() const { return window_; }  ///< the window that receives announcements

  bool IsOwnEvent(const void* event) override;
  bool IsOwnKey(const WindowKey&) override { return false; }

 private:
  xcb_connection_t* const xcb_;
  const std::uint32_t window_;
  ExpectedKeys expected_;
};

}  // namespace quillet::platform::linux_desktop
