#include "platform/linux/WaylandSessionKeys.h"

#include <chrono>
#include <utility>

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

// Time to wait for the portal. It may start after Quillet if the desktop starts Quillet at login.
constexpr auto kPortalStart = 30s;

}  // namespace

WaylandSessionKeys::WaylandSessionKeys(const Session& session, SystemLog& log, Clock& clock,
                                       FileStore& files, SentKeys& sent)
    : log_(log),
      hasPortal_(session.hasPortal),
      portal_(log, clock, files, sent, session.tokenFile, session.hasPortal ? kPortalStart : 0s,
              &layout_),
      keyboard_(log, clock, sent),
      uinput_(
          log, clock, sent, [] { return MakeVirtualKeyboard("/dev/uinput"); }, &layout_) {}

void WaylandSessionKeys::Prepare() {
  if (way_ == nullptr && UsesPortal()) portal_.Prepare();
}

void WaylandSessionKeys::Post(std::span<const KeyEvent> events) {
  KeyEvents& way = Way();
  lastWay_ = &way;
  way.Post(events);
}

// Returns the problem reported by the backend that the last Post used. A different backend may be
// in use now.
std::string WaylandSessionKeys::Problem() {
  KeyEvents* const last = lastWay_;
  return last == nullptr ? Way().Problem() : last->Problem();
}

// The compositor's virtual keyboard needs no permission, so it is always ready.
void WaylandSessionKeys::OnReadiness(const std::function<void(const std::string&)>& changed) {
  portal_.OnReadiness([this, report = changed](const std::string& problem) {
    if (!portal_.IsMissing()) return report(problem);
    report(WaylandKeyEvents::IsOffered() ? "" : UinputProblem("/dev/uinput"));
  });
}

void WaylandSessionKeys::AwaitReadiness() {
  if (way_ == nullptr && UsesPortal()) portal_.IsMissing();
}

bool WaylandSessionKeys::UsesPortal() {
  const std::lock_guard lock(mutex_);
  if (!usesPortal_) usesPortal_ = hasPortal_ || !WaylandKeyEvents::IsOffered();
  return *usesPortal_;
}

KeyEvents& WaylandSessionKeys::Way() {
  if (KeyEvents* const way = way_) return *way;
  if (UsesPortal() && !portal_.IsMissing()) return portal_;
  const bool usesKeyboard = !UsesPortal() || WaylandKeyEvents::IsOffered();
  KeyEvents& way = usesKeyboard ? static_cast<KeyEvents&>(keyboard_) : uinput_;
  way_ = &way;
  log_.Write(usesKeyboard ? "Typing through the compositor's virtual keyboard"
                          : "Typing through /dev/uinput");
  return way;
}

}  // namespace quillet::platform::linux_desktop
