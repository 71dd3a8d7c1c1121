#include "platform/macos/QuartzKeyEvents.h"

#include <CoreGraphics/CoreGraphics.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "platform/macos/CfText.h"
#include "platform/macos/ObjectiveC.h"

namespace quillet::platform::macos {
namespace {

constexpr auto kCombinedSessionState = static_cast<CGEventSourceStateID>(0);
constexpr auto kAnnotatedSessionTap = static_cast<CGEventTapLocation>(2);
constexpr auto kShiftFlag = static_cast<CGEventFlags>(0x20000);
constexpr auto kCommandFlag = static_cast<CGEventFlags>(0x100000);

// kCGEventSourceUserData: a number that Quartz passes on with an event.
constexpr auto kUserData = static_cast<CGEventField>(42);
constexpr std::int64_t kOwnEvent = 0x5175696c6c6574;  // "Quillet"

// Replaces the text that the user's layout assigns to a key. Return and Tab are the same keys in
// all layouts.
void SetText(CGEventRef event, const KeyEvent& key) {
  if (!key.down || key.character < ' ' || key.flag == KeyFlag::kCommand) return;
  const std::uint16_t text = static_cast<unsigned char>(key.character);
  CGEventKeyboardSetUnicodeString(event, 1, &text);
}

CfOwner<CGEventRef> MakeEvent(CGEventSourceRef source, const KeyEvent& event) {
  CfOwner<CGEventRef> made(CGEventCreateKeyboardEvent(source, event.virtualKey, event.down));
  if (made != nullptr && event.flag != KeyFlag::kNone) {
    CGEventSetFlags(made.get(), event.flag == KeyFlag::kShift ? kShiftFlag : kCommandFlag);
  }
  if (made == nullptr) return made;
  SetText(made.get(), event);
  CGEventSetIntegerValueField(made.get(), kUserData, kOwnEvent);
  return made;
}

}  // namespace

void QuartzKeyEvents::Post(std::span<const KeyEvent> events) {
  LogMissingPermission();
  // May be null, which CGEventCreateKeyboardEvent accepts.
  const CfOwner<CGEventSourceRef> source(CGEventSourceCreate(kCombinedSessionState));
  std::vector<CfOwner<CGEventRef>> made;
  for (const KeyEvent& event : events) {
    if (auto one = MakeEvent(source.get(), event)) made.push_back(std::move(one));
  }
  for (const auto& event : made) CGEventPost(kAnnotatedSessionTap, event.get());
  // Releases the events in posting order, before the source.
  for (auto& event : made) event.reset();
}

bool QuartzOwnKeys::IsOwnEvent(const void* event) {
  const AutoreleasePool pool;
  const id received = static_cast<id>(const_cast<void*>(event));
  const auto quartz = Send<CGEventRef>(received, "CGEvent");
  return quartz != nullptr && CGEventGetIntegerValueField(quartz, kUserData) == kOwnEvent;
}

std::string QuartzKeyEvents::Problem() {
  if (CGPreflightPostEventAccess()) return {};
  return "permission has not been granted. Allow Quillet in System Settings > Privacy & Security > "
         "Accessibility.";
}

// Prepare requests the permission, because a prompt during Post would take the focus from the
// program that receives the keys.
void QuartzKeyEvents::Prepare() {
  if (!CGPreflightPostEventAccess() && !hasAsked_.exchange(true)) CGRequestPostEventAccess();
}

void QuartzKeyEvents::LogMissingPermission() {
  if (hasLogged_ || CGPreflightPostEventAccess()) return;
  hasLogged_ = true;
  log_.Write(
      "Quillet cannot type into other applications. Allow Quillet in System Settings > Privacy & "
      "Security "
      "> Accessibility.");
}

}  // namespace quillet::platform::macos
