#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <string>
#include <string_view>

#include "platform/macos/CfOwner.h"

namespace quillet::platform::macos {

/// Makes a string object. Any thread.
/// @param text  UTF-8, of any length
/// @return null when the text is not UTF-8
CfOwner<CFStringRef> MakeString(std::string_view text);

/// The text of a string object, as UTF-8. Any thread.
/// @param object  any object, or null; stays the caller's
/// @return nothing when it is no string
std::optional<std::string> TextOf(CFTypeRef object);

}  // namespace quillet::platform::macos
