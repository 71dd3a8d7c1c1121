#include "platform/macos/QuartzKeyEvents.h"

#include <CoreGraphics/CoreGraphics.h>

#include <utility>
#include <vector>

#include "platform/macos/CfText.h"

namespace quillet::platform::macos {
namespace {

// Events of the user and of programs together make the state of the keyboard.
constexpr auto kCombinedSessionState = static_cast<CGEventSourceStateID>(0);

// Where events go straight to the application that they are meant for.
constexpr auto kAnnotatedSessionTap = static_cast<CGEventTapLocation>(2);

constexpr auto kShiftFlag = static_cast<CGEventFlags>(0x20000);
constexpr auto kCommandFlag = static_cast<CGEventFlags>(0x100000);

CfOwner<CGEventRef> MakeEvent(CGEventSourceRef source, const KeyEvent& event) {
  CfOwner<CGEventRef> made(CGEventCreateKeyboardEvent(source, event.virtualKey, event.down));
  if (made != nullptr && event.flag != KeyFlag::kNone) {
    CGEventSetFlags(made.get(), event.flag == KeyFlag::kShift ? kShiftFlag : kCommandFlag);
  }
  return made;
}

}  // namespace

void QuartzKeyEvents::Post(std::span<const KeyEvent> events) {
  AskForPermission();
  // Events can be made without a source where there is none.
  const CfOwner<CGEventSourceRef> source(CGEventSourceCreate(kCombinedSessionState));
  std::vector<CfOwner<CGEventRef>> made;
  for (const KeyEvent& event : events) {
    if (auto one = MakeEvent(source.get(), event)) made.push_back(std::move(one));
  }
  for (const auto& event : made) CGEventPost(kAnnotatedSessionTap, event.get());
  // In the order in which they were posted, and the source behind them.
  for (auto& event : made) event.reset();
}

void QuartzKeyEvents::AskForPermission() {
  if (std::exchange(asked_, true) || CGPreflightPostEventAccess()) return;
  log_.Write(
      "Cannot type into other applications: Quillet is not allowed to under System Settings, "
      "Privacy & Security, Accessibility");
  CGRequestPostEventAccess();
}

}  // namespace quillet::platform::macos
