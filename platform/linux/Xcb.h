#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace quillet::platform::linux_desktop {

struct FreeReply {
  void operator()(void* memory) const { std::free(memory); }
};

/// Owns an XCB reply or event, or is null.
template <class T>
using XcbReply = std::unique_ptr<T, FreeReply>;

/// A connection to the X server named by DISPLAY. Unlike Xlib, XCB does not end the process when
/// the connection is lost. For use by one thread at a time.
class XcbConnection {
 public:
  XcbConnection() = default;
  ~XcbConnection() { xcb_disconnect(xcb_); }
  XcbConnection(const XcbConnection&) = delete;
  XcbConnection& operator=(const XcbConnection&) = delete;

  bool IsBroken() const { return xcb_connection_has_error(xcb_) != 0; }

 protected:
  int screen_ = 0;
  xcb_connection_t* const xcb_ = xcb_connect(nullptr, &screen_);  // never null (xcb_connect(3))
};

}  // namespace quillet::platform::linux_desktop
