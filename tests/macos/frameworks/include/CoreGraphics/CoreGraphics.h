#pragma once

// Declares the parts of Quartz event services that platform/macos uses, for builds without the
// framework's headers. Source: developer.apple.com/documentation/coregraphics.

#include <CoreFoundation/CoreFoundation.h>
#include <stdint.h>

extern "C" {

typedef struct __CGEvent* CGEventRef;
typedef struct __CGEventSource* CGEventSourceRef;
typedef uint16_t CGKeyCode;
typedef uint32_t CGEventField;
typedef uint64_t CGEventFlags;
typedef int32_t CGEventSourceStateID;
typedef uint32_t CGEventTapLocation;

CGEventSourceRef CGEventSourceCreate(CGEventSourceStateID state);
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool down);
void CGEventSetFlags(CGEventRef event, CGEventFlags flags);
void CGEventKeyboardSetUnicodeString(CGEventRef event, unsigned long length, const uint16_t* text);
void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, int64_t value);
int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);
bool CGPreflightPostEventAccess(void);
bool CGRequestPostEventAccess(void);

}  // extern "C"
