#include "platform/macos/SharedApplication.h"

#include "platform/macos/ObjectiveC.h"

namespace quillet::platform::macos {

void SharedApplication::ActivateIgnoringOtherApps() {
  constexpr BOOL kEvenIfAnotherIsActive = 1;
  const AutoreleasePool pool;
  const id application = Send<id>(ClassNamed("NSApplication"), "sharedApplication");
  Send<void>(application, "activateIgnoringOtherApps:", kEvenIfAnotherIsActive);
}

}  // namespace quillet::platform::macos
