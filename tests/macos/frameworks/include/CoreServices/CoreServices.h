#pragma once

// What platform/macos calls of the File Manager and Launch Services, declared anew for builds
// without the framework's own headers. Each was checked against its public declaration; behind it
// stands the name of the page at developer.apple.com/documentation/coreservices that describes it.

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

// FSRef: opaque, 80 bytes.
typedef struct FSRef {
  UInt8 hidden[80];
} FSRef;

typedef OptionBits LSLaunchFlags;  // LSLaunchFlags
typedef struct AEDesc AppleEvent;  // AppleEvent

// LSApplicationParameters. Its public declaration stands between "#pragma pack(push, 2)" and
// "#pragma pack(pop)".
#pragma pack(push, 2)
typedef struct LSApplicationParameters {
  CFIndex version;
  LSLaunchFlags flags;
  const FSRef* application;
  void* asyncLaunchRefCon;
  CFDictionaryRef environment;
  CFArrayRef argv;
  AppleEvent* initialEvent;
} LSApplicationParameters;
#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(FSRef) == 80);
static_assert(__builtin_offsetof(LSApplicationParameters, application) == 12);
static_assert(sizeof(LSApplicationParameters) == 52);
#endif

OSStatus FSPathMakeRef(const UInt8* path, FSRef* reference, Boolean* isDirectory);  // FSPathMakeRef
OSStatus LSOpenApplication(const LSApplicationParameters* parameters,
                           ProcessSerialNumber* process);  // LSOpenApplication

#ifdef __cplusplus
}
#endif
