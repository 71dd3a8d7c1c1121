#pragma once

#include <memory>

#include "platform/Applications.h"
#include "platform/Clock.h"
#include "platform/KeyEvents.h"
#include "platform/SystemLog.h"

namespace quillet {

/// This system's ways to reach other applications.
struct Desktop {
  std::unique_ptr<platform::KeyEvents> keyEvents;
  std::unique_ptr<platform::Applications> applications;
};

/// The ways of the desktop session that the process runs in. Main thread.
/// @param log, clock  outlive what is returned
Desktop DesktopOfSession(platform::SystemLog& log, platform::Clock& clock);

}  // namespace quillet
