#pragma once

struct xcb_connection_t;

namespace quillet::platform::qt {

/// Returns Qt's connection to the X server, or null if Qt does not use X11. Main thread, while a
/// QApplication exists. The connection may be used by any thread.
xcb_connection_t* X11Connection();

}  // namespace quillet::platform::qt
