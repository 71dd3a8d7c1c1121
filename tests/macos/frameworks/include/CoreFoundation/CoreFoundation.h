#pragma once

// What platform/macos calls of Core Foundation, declared anew for builds without the frameworks'
// own headers. Each was checked against its public declaration; behind it stands the name of the
// page at developer.apple.com/documentation/corefoundation that describes it.

#include <MacTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef long CFIndex;                                   // CFIndex
typedef unsigned long CFTypeID;                         // CFTypeID
typedef UInt32 CFStringEncoding;                        // CFStringEncoding
typedef const void* CFTypeRef;                          // CFTypeRef
typedef const struct __CFAllocator* CFAllocatorRef;     // CFAllocator
typedef const struct __CFArray* CFArrayRef;             // CFArray
typedef const struct __CFDictionary* CFDictionaryRef;   // CFDictionary
typedef struct __CFDictionary* CFMutableDictionaryRef;  // CFMutableDictionary
typedef struct __CFRunLoop* CFRunLoopRef;               // CFRunLoop
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;   // CFRunLoopSource
typedef const struct __CFString* CFStringRef;           // CFString
typedef CFStringRef CFRunLoopMode;                      // CFRunLoopMode

// CFArrayCallBacks: the structure's first member says which form it has; the functions behind it
// are declared by their size only, since nothing here makes such a structure.
typedef struct {
  CFIndex version;
  const void* functions[4];
} CFArrayCallBacks;

extern const CFAllocatorRef kCFAllocatorDefault;      // kCFAllocatorDefault
extern const CFArrayCallBacks kCFTypeArrayCallBacks;  // kCFTypeArrayCallBacks
extern const CFRunLoopMode kCFRunLoopDefaultMode;     // kCFRunLoopDefaultMode

enum { kCFStringEncodingUTF8 = 0x08000100 };  // CFStringBuiltInEncodings

CFTypeRef CFRetain(CFTypeRef object);    // CFRetain
void CFRelease(CFTypeRef object);        // CFRelease
CFTypeID CFGetTypeID(CFTypeRef object);  // CFGetTypeID

CFTypeID CFStringGetTypeID(void);  // CFStringGetTypeID()
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding,
                                    Boolean isExternal);  // CFStringCreateWithBytes
CFIndex CFStringGetLength(CFStringRef string);            // CFStringGetLength
CFIndex CFStringGetMaximumSizeForEncoding(
    CFIndex length, CFStringEncoding encoding);  // CFStringGetMaximumSizeForEncoding
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding);  // CFStringGetCString

CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks);             // CFArrayCreate
CFIndex CFArrayGetCount(CFArrayRef array);                               // CFArrayGetCount
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex position);  // CFArrayGetValueAtIndex

const void* CFDictionaryGetValue(CFDictionaryRef dictionary,
                                 const void* key);  // CFDictionaryGetValue
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key,
                          const void* value);  // CFDictionarySetValue

CFRunLoopRef CFRunLoopGetCurrent(void);  // CFRunLoopGetCurrent()
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source,
                        CFRunLoopMode mode);  // CFRunLoopAddSource
void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source,
                           CFRunLoopMode mode);  // CFRunLoopRemoveSource

#ifdef __cplusplus
}
#endif
