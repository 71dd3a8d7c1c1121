#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace quillet::platform::macos {

/// Releases one reference to a Core Foundation object.
struct CfRelease {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns one reference to a Core Foundation object, as returned by functions with Create or Copy in
/// the name ("The Create Rule", Memory Management Programming Guide for Core Foundation).
template <typename Reference>
using CfOwner = std::unique_ptr<std::remove_pointer_t<Reference>, CfRelease>;

/// Creates a string object. Any thread.
/// @param text  UTF-8
/// @return null if the text is not UTF-8
inline CfOwner<CFStringRef> MakeString(std::string_view text) {
  constexpr Boolean kWithoutByteOrderMark = 0;
  return CfOwner<CFStringRef>(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
      static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, kWithoutByteOrderMark));
}

/// Returns the text of a string object, as UTF-8. Any thread.
/// @param object  any object, or null
/// @return no value if the object is not a string
inline std::optional<std::string> TextOf(CFTypeRef object) {
  if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID()) return std::nullopt;
  const auto string = static_cast<CFStringRef>(object);
  const CFIndex length = CFStringGetLength(string);
  const CFIndex room = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;  // NUL
  std::string text(static_cast<std::size_t>(room), '\0');
  if (!CFStringGetCString(string, text.data(), room, kCFStringEncodingUTF8)) return std::nullopt;
  text.resize(text.find('\0'));
  return text;
}

}  // namespace quillet::platform::macos
