// Fake Core Foundation: objects, strings, collections and the run loop.

#include "output/TextEncoding.h"
#include "tests/macos/fakes/Fakes.h"

using namespace quillet::macos_tests;

namespace {

constexpr CFTypeID kStringType = 7;
constexpr CFTypeID kOtherType = 1;

const std::string kDefaultModeName = "kCFRunLoopDefaultMode";

// The address of this variable identifies the thread's run loop.
thread_local char loop;
thread_local std::set<CFRunLoopSourceRef> sources;

std::set<const void*>& Live() {
  static auto& live = *new std::set<const void*>;
  return live;
}

Object* Find(CFTypeRef reference, const char* what) {
  if (Live().contains(reference)) return &As<Object>(reference);
  ADD_FAILURE() << what << " of a destroyed object";
  return nullptr;
}

bool IsThisLoopsDefaultMode(CFRunLoopRef which, CFRunLoopMode mode) {
  return static_cast<void*>(which) == &loop && mode == kCFRunLoopDefaultMode;
}

}  // namespace

namespace quillet::macos_tests {

Object::Object() {
  Live().insert(this);
}

Object::~Object() {
  Live().erase(this);
}

std::string Dictionary::Text(const std::string& key) const {
  const auto found = values.find(key);
  return found == values.end() ? "" : As<String>(found->second.get()).text;
}

Mac& TheMac() {
  static auto& mac = *new Mac;
  return mac;
}

std::size_t LiveObjects() {
  return Live().size();
}

bool IsOnRunLoop(CFRunLoopSourceRef source) {
  return sources.contains(source);
}

}  // namespace quillet::macos_tests

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFArrayCallBacks kCFTypeArrayCallBacks{};
const CFRunLoopMode kCFRunLoopDefaultMode = reinterpret_cast<CFRunLoopMode>(&kDefaultModeName);

CFTypeRef CFRetain(CFTypeRef reference) {
  if (auto* const object = Find(reference, "Retain")) ++object->references;
  return reference;
}

void CFRelease(CFTypeRef reference) {
  auto* const object = Find(reference, "Release");
  if (object != nullptr && --object->references == 0) delete object;
}

CFTypeID CFGetTypeID(CFTypeRef object) {
  return dynamic_cast<String*>(&As<Object>(object)) != nullptr ? kStringType : kOtherType;
}

CFTypeID CFStringGetTypeID() {
  return kStringType;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternal) {
  EXPECT_EQ(encoding, static_cast<CFStringEncoding>(kCFStringEncodingUTF8));
  EXPECT_EQ(isExternal, 0);
  const std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
  return quillet::RepairUtf8(text) == text ? Make<CFStringRef, String>(text) : nullptr;
}

// On macOS, the length is in UTF-16 units and the maximum size is an upper bound. The fakes return
// the exact size, so that a buffer without room for the terminating NUL is detected.
CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(As<String>(string).text.size());
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  EXPECT_EQ(encoding, static_cast<CFStringEncoding>(kCFStringEncodingUTF8));
  return length;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding) {
  EXPECT_EQ(encoding, static_cast<CFStringEncoding>(kCFStringEncodingUTF8));
  const std::string& text = As<String>(string).text;
  if (static_cast<std::size_t>(size) <= text.size()) return 0;
  text.copy(buffer, text.size());
  buffer[text.size()] = '\0';
  return 1;
}

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) {
  EXPECT_EQ(callBacks, &kCFTypeArrayCallBacks) << "the elements are not retained";
  const auto array = Make<CFArrayRef, Array>();
  for (CFIndex i = 0; i < count; ++i) As<Array>(array).elements.push_back(Hold(values[i]));
  return array;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(As<Array>(array).elements.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex position) {
  return As<Array>(array).elements.at(static_cast<std::size_t>(position)).get();
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto& values = As<Dictionary>(dictionary).values;
  const auto found = values.find(As<String>(key).text);
  return found == values.end() ? nullptr : found->second.get();
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  As<Dictionary>(dictionary).values[As<String>(key).text] = Hold(value);
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
