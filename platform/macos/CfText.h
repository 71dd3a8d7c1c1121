#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
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

/// Makes a string object. Any thread.
/// @param text  UTF-8, of any length
/// @return null when the text is not UTF-8
CfOwner<CFStringRef> MakeString(std::string_view text);

/// The text of a string object, as UTF-8. Any thread.
/// @param object  any object, or null; stays the caller's
/// @return nothing when it is no string
std::optional<std::string> TextOf(CFTypeRef object);

}  // namespace quillet::platform::macos
