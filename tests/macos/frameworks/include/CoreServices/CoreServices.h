#pragma once

// Declares the parts of the File Manager and Launch Services that platform/macos uses, for builds
// without the frameworks' headers. Source: developer.apple.com/documentation/coreservices.

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

typedef struct FSRef {
  UInt8 hidden[80];
} FSRef;

typedef OptionBits LSLaunchFlags;
typedef struct AEDesc AppleEvent;

// Packed to 2 bytes, like the public declaration.
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
