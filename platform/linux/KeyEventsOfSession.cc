#include "platform/linux/KeyEventsOfSession.h"

#include "platform/linux/UinputKeyEvents.h"
#include "platform/linux/X11KeyEvents.h"

namespace quillet::platform::linux_desktop {

std::unique_ptr<KeyEvents> MakeKeyEventsOfSession(const Environment& environment, SystemLog& log,
                                                  Clock& clock) {
  if (IsX11Session(environment)) return std::make_unique<X11KeyEvents>(log);
  return std::make_unique<UinputKeyEvents>(log, clock);
}

}  // namespace quillet::platform::linux_desktop
