#pragma once

// What platform/macos calls of Quartz event services, declared anew for builds without the
// framework's own headers. Each was checked against its public declaration; behind it stands the
// name of the page at developer.apple.com/documentation/coregraphics (Quartz Event Services) that
// describes it.

#include <CoreFoundation/CoreFoundation.h>
#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct __CGEvent* CGEventRef;              // CGEvent
typedef struct __CGEventSource* CGEventSourceRef;  // CGEventSource
typedef uint16_t CGKeyCode;                        // CGKeyCode
typedef uint64_t CGEventFlags;                     // CGEventFlags
typedef int32_t CGEventSourceStateID;              // CGEventSourceStateID
typedef uint32_t CGEventTapLocation;               // CGEventTapLocation

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state);  // CGEventSourceCreate
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key,
                                      bool down);            // CGEventCreateKeyboardEvent
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);  // CGEventSetFlags
void CGEventPost(CGEventTapLocation tap, CGEventRef event);  // CGEventPost
bool CGPreflightPostEventAccess(void);                       // CGPreflightPostEventAccess()
bool CGRequestPostEventAccess(void);                         // CGRequestPostEventAccess()

#ifdef __cplusplus
}
#endif
