#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace quillet::platform::linux_desktop {

struct FreeReply {
  void operator()(void* memory) const { std::free(memory); }
};

/// Owns a reply, an event or an error of XCB; null if there was none.
template <class T>
using XcbReply = std::unique_ptr<T, FreeReply>;

/// A connection to the X server of the environment, by XCB: errors are return values and events,
/// and unlike Xlib it never ends the process. One thread at a time.
class XcbConnection {
 public:
  XcbConnection() = default;
  ~XcbConnection() { xcb_disconnect(xcb_); }
  XcbConnection(const XcbConnection&) = delete;
  XcbConnection& operator=(const XcbConnection&) = delete;

  bool IsBroken() const { return xcb_connection_has_error(xcb_) != 0; }

 protected:
  int screen_ = 0;
  xcb_connection_t* const xcb_ = xcb_connect(nullptr, &screen_);  // never null, even if it failed
};

}  // namespace quillet::platform::linux_desktop
