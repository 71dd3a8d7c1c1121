#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <type_traits>

namespace quillet::platform::macos {

/// Gives one reference to a Core Foundation object back.
struct CfRelease {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns one reference to a Core Foundation object: what a function with Create or Copy in its name
/// has returned ("The Create Rule", Memory Management Programming Guide for Core Foundation).
template <typename Reference>
using CfOwner = std::unique_ptr<std::remove_pointer_t<Reference>, CfRelease>;

}  // namespace quillet::platform::macos
