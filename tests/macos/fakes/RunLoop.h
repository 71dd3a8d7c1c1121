#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace quillet::macos_tests {

/// Whether this thread's run loop has the source in its default mode.
bool IsOnRunLoop(CFRunLoopSourceRef source);

}  // namespace quillet::macos_tests
