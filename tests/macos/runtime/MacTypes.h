#pragma once

// Basic types of <MacTypes.h> for systems without that header.

#include <cstdint>

using UInt8 = std::uint8_t;
using UInt32 = std::uint32_t;
using SInt32 = std::int32_t;
using Boolean = unsigned char;
using OSStatus = SInt32;
using OptionBits = UInt32;

enum { noErr = 0 };

struct ProcessSerialNumber {
  UInt32 highLongOfPSN;
  UInt32 lowLongOfPSN;
};
