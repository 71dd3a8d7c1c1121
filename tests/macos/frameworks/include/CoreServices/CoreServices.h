#pragma once

// Declarations of the File Manager and Launch Services for builds without the framework's headers,
// as far as platform/macos uses them. Source: developer.apple.com/documentation/coreservices.

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef struct FSRef {
  UInt8 hidden[80];
} FSRef;

typedef OptionBits LSLaunchFlags;
typedef struct AEDesc AppleEvent;

// The public declaration is also packed to 2 bytes.
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

static_assert(sizeof(FSRef) == 80);
static_assert(__builtin_offsetof(LSApplicationParameters, application) == 12);
static_assert(sizeof(LSApplicationParameters) == 52);

OSStatus FSPathMakeRef(const UInt8* path, FSRef* reference, Boolean* isDirectory);
OSStatus LSOpenApplication(const LSApplicationParameters* parameters, ProcessSerialNumber* process);

}  // extern "C"
