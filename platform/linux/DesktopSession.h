#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/SystemLog.h"
#include "platform/Clock.h"
#include "platform/FileStore.h"
#include "platform/KeyEvents.h"
#include "platform/OwnKeys.h"

struct xcb_connection_t;

namespace quillet::platform::linux_desktop {

/// Looks up an environment variable like getenv(3); returns null if it is not set.
using Environment = std::function<const char*(const char*)>;

/// Returns true in an X11 session. Returns false in a Wayland session even if DISPLAY is set:
/// Xwayland reaches only the windows of X clients. Reads WAYLAND_DISPLAY (libwayland),
/// XDG_SESSION_TYPE (pam_systemd(8)) and DISPLAY (X(7)).
bool IsX11Session(const Environment& environment);

/// Returns the absolute path of the folder in which Quillet keeps its state: in $XDG_STATE_HOME, or
/// else in ".local/state" in the user's home folder (freedesktop.org, XDG Base Directory).
/// @param environment  looks up the variable
/// @param home         absolute path of the home folder
/// @return the path, or an empty string if `home` is needed but not absolute
std::string StateFolder(const Environment& environment, const std::string& home);

/// Objects that post and recognize key events.
struct SessionKeys {
  std::unique_ptr<OwnKeys> own;       ///< recognizes the events that `events` posts
  std::unique_ptr<KeyEvents> events;  ///< posts key events; uses `own`
};

/// Creates the objects that post and recognize keys in a session: X11KeyEvents in an X11 session,
/// else WaylandSessionKeys. Opens no device or connection.
/// @param environment  looks up variables
/// @param log          outlives the result
/// @param clock        outlives the result
/// @param files        stores the user's permission to type; outlives the result
/// @param toolkit      the toolkit's X11 connection, which outlives the result; null if the toolkit
///                     does not use X11
SessionKeys MakeKeysOfSession(const Environment& environment, SystemLog& log, Clock& clock,
                              FileStore& files, xcb_connection_t* toolkit);

}  // namespace quillet::platform::linux_desktop
