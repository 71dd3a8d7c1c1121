#pragma once

// The parts of the File Manager and Launch Services that platform/macos uses, for builds without
// the framework's headers. Checked against the public declarations, which the pages of the same
// names describe at developer.apple.com/documentation/coreservices.

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

// FSRef: opaque, 80 bytes.
typedef struct FSRef {
  UInt8 hidden[80];
} FSRef;

typedef OptionBits LSLaunchFlags;
typedef struct AEDesc AppleEvent;

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

OSStatus FSPathMakeRef(const UInt8* path, FSRef* reference, Boolean* isDirectory);
OSStatus LSOpenApplication(const LSApplicationParameters* parameters, ProcessSerialNumber* process);

#ifdef __cplusplus
}
#endif
