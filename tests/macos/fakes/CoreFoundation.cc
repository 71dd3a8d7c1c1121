// Core Foundation's strings, collections and run loop.

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/macos/fakes/Objects.h"
#include "tests/macos/fakes/RunLoop.h"

using namespace quillet::macos_tests;

namespace {

constexpr CFTypeID kStringType = 7;
constexpr CFTypeID kOtherType = 1;

const std::string kDefaultModeName = "kCFRunLoopDefaultMode";

constexpr CFStringEncoding kUtf8 = 0x08000100;  // kCFStringEncodingUTF8, a published value

// Whose address tells one thread's loop from another's.
thread_local char loop;
thread_local std::set<CFRunLoopSourceRef> sources;

bool IsThisLoopsDefaultMode(CFRunLoopRef which, CFRunLoopMode mode) {
  return static_cast<void*>(which) == &loop && mode == kCFRunLoopDefaultMode;
}

bool IsUtf8(const std::string& text) {
  std::size_t more = 0;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool continues = (byte & 0xC0U) == 0x80U;
    if (continues != (more > 0)) return false;
    if (continues) {
      --more;
    } else if (byte >= 0x80U) {
      if (byte < 0xC2U || byte > 0xF4U) return false;
      more = byte >= 0xF0U ? 3 : byte >= 0xE0U ? 2 : 1;
    }
  }
  return more == 0;
}

}  // namespace

bool quillet::macos_tests::IsOnRunLoop(CFRunLoopSourceRef source) {
  return sources.contains(source);
}

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFArrayCallBacks kCFTypeArrayCallBacks{};
const CFRunLoopMode kCFRunLoopDefaultMode = reinterpret_cast<CFRunLoopMode>(&kDefaultModeName);

CFTypeID CFGetTypeID(CFTypeRef object) {
  const bool is_string =
      dynamic_cast<String*>(static_cast<Object*>(const_cast<void*>(object))) != nullptr;
  return is_string ? kStringType : kOtherType;
}

CFTypeID CFStringGetTypeID() {
  return kStringType;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternal) {
  EXPECT_EQ(encoding, kUtf8);
  EXPECT_EQ(isExternal, 0);
  std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
  if (!IsUtf8(text)) return nullptr;
  return static_cast<CFStringRef>(ReferenceTo(*new String(std::move(text))));
}

// On macOS a length is in UTF-16 units and the size is what any such text could need. Here it is
// exactly what this one needs, so that room that is forgotten is missed.
CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(As<String>(string).text.size());
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  EXPECT_EQ(encoding, kUtf8);
  return length;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding) {
  EXPECT_EQ(encoding, kUtf8);
  const std::string& text = As<String>(string).text;
  if (static_cast<std::size_t>(size) <= text.size()) return 0;
  text.copy(buffer, text.size());
  buffer[text.size()] = '\0';
  return 1;
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
  EXPECT_EQ(callBacks, &kCFTypeArrayCallBacks) << "the elements would not be held";
  auto& array = *new Array;
  for (CFIndex i = 0; i < count; ++i) array.Add(values[i]);
  return static_cast<CFArrayRef>(ReferenceTo(array));
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(As<Array>(array).elements.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex position) {
  return As<Array>(array).elements.at(static_cast<std::size_t>(position));
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  return As<Dictionary>(dictionary).Get(As<String>(key).text);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  As<Dictionary>(dictionary).Set(As<String>(key).text, value);
}

CFRunLoopRef CFRunLoopGetCurrent() {
  return reinterpret_cast<CFRunLoopRef>(&loop);
}

void CFRunLoopAddSource(CFRunLoopRef which, CFRunLoopSourceRef source, CFRunLoopMode mode) {
  Called("CFRunLoopAddSource");
  ASSERT_TRUE(IsThisLoopsDefaultMode(which, mode));
  if (sources.insert(source).second) CFRetain(source);
}

void CFRunLoopRemoveSource(CFRunLoopRef which, CFRunLoopSourceRef source, CFRunLoopMode mode) {
  Called("CFRunLoopRemoveSource");
  ASSERT_TRUE(IsThisLoopsDefaultMode(which, mode));
  if (sources.erase(source) > 0) CFRelease(source);
}

}  // extern "C"
