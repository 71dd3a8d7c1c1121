#include <cstdlib>

#include "platform/linux/DesktopApplications.h"
#include "platform/linux/KeyEventsOfSession.h"
#include "program/Desktop.h"

namespace quillet {

Desktop DesktopOfSession(platform::SystemLog& log, platform::Clock& clock) {
  using namespace platform::linux_desktop;
  return {MakeKeyEventsOfSession(std::getenv, log, clock),
          std::make_unique<DesktopApplications>(IsX11Session(std::getenv))};
}

}  // namespace quillet
