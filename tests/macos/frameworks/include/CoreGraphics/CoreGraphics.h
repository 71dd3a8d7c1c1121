#pragma once

// The parts of Quartz event services that platform/macos uses, for builds without the framework's
// headers. Checked against the public declarations, which the pages of the same names describe at
// developer.apple.com/documentation/coregraphics.

#include <CoreFoundation/CoreFoundation.h>
#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct __CGEvent* CGEventRef;
typedef struct __CGEventSource* CGEventSourceRef;
typedef uint16_t CGKeyCode;
typedef uint64_t CGEventFlags;
typedef int32_t CGEventSourceStateID;
typedef uint32_t CGEventTapLocation;

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state);
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool down);
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);
bool CGPreflightPostEventAccess(void);
bool CGRequestPostEventAccess(void);

#ifdef __cplusplus
}
#endif
