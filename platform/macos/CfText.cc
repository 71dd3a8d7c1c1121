#include "platform/macos/CfText.h"

namespace quillet::platform::macos {

CfOwner<CFStringRef> MakeString(std::string_view text) {
  constexpr Boolean kWithoutByteOrderMark = 0;
  return CfOwner<CFStringRef>(CFStringCreateWithBytes(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
      static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, kWithoutByteOrderMark));
}

std::optional<std::string> TextOf(CFTypeRef object) {
  if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID()) return std::nullopt;
  const auto string = static_cast<CFStringRef>(object);
  // Room for the NUL that CFStringGetCString puts behind the text.
  const CFIndex room =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<std::size_t>(room), '\0');
  if (!CFStringGetCString(string, text.data(), room, kCFStringEncodingUTF8)) return std::nullopt;
  text.resize(text.find('\0'));
  return text;
}

}  // namespace quillet::platform::macos
