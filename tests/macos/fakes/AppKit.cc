// Fake versions of the parts of the Objective-C runtime, Foundation, AppKit and Launch Services
// that platform/macos uses. <objc/message.h> is not included because this file defines objc_msgSend
// with the parameters of the actual calls.

#include <CoreServices/CoreServices.h>
#include <objc/runtime.h>

#include <algorithm>
#include <cstring>

#include "tests/macos/fakes/Fakes.h"

using namespace quillet::macos_tests;

namespace {

constexpr OSStatus kNoSuchFile = -43;           // fnfErr (MacErrors.h)
constexpr OSStatus kApplicationFails = -10810;  // kLSUnknownErr (Launch Services result codes)

const std::set<std::string> kClasses = {"NSApplication", "NSAutoreleasePool", "NSObject",
                                        "NSPasteboard", "NSWorkspace"};
constexpr char kTheApplication[] = "the application";
constexpr char kTheGeneralPasteboard[] = "the general pasteboard";
constexpr char kTheWorkspace[] = "the workspace";

struct Instance final : Object {
  explicit Instance(std::string name) : className(std::move(name)) {}
  const std::string className;
  std::vector<Held> held;  // autoreleased objects, if this is a pool
};

std::vector<Instance*> pools;  // innermost last

std::uintptr_t Number(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address);
}

const void* Reference(std::uintptr_t number) {
  return reinterpret_cast<const void*>(number);
}

std::uintptr_t Unknown(const std::string& receiver, const std::string& selector) {
  ADD_FAILURE() << receiver << " does not know " << selector;
  return 0;
}

std::uintptr_t ToClass(const std::string& name, const std::string& selector) {
  if (selector == "alloc" && (name == "NSObject" || name == "NSAutoreleasePool")) {
    return Number(Make<const void*, Instance>(name));
  }
  if (name == "NSApplication" && selector == "sharedApplication") return Number(kTheApplication);
  if (name == "NSPasteboard" && selector == "generalPasteboard") {
    return Number(kTheGeneralPasteboard);
  }
  if (name == "NSWorkspace" && selector == "sharedWorkspace") return Number(kTheWorkspace);
  return Unknown(name, selector);
}

std::uintptr_t ToInstance(const void* reference, const std::string& selector) {
  auto& instance = As<Instance>(reference);
  const bool isPool = instance.className == "NSAutoreleasePool";
  if (selector == "init") {
    if (isPool) pools.push_back(&instance);
    return Number(reference);
  }
  if (selector != "release" && (selector != "drain" || !isPool)) {
    return Unknown(instance.className, selector);
  }
  if (isPool) {
    EXPECT_EQ(pools.back(), &instance) << "pools must be drained from the innermost outwards";
    pools.pop_back();
  }
  CFRelease(reference);
  return 0;
}

// Returns an array of dictionaries, one per running application. The innermost pool owns the array.
std::uintptr_t ListApplications() {
  if (TheMac().listsNothing) return 0;
  const auto list = Make<CFArrayRef, Array>();
  const auto add = [&](const std::string& key, const std::string& value) {
    const auto entry = Make<CFDictionaryRef, Dictionary>();
    const auto text = Make<CFStringRef, String>(value);
    As<Dictionary>(entry).values[key] = Hold(text);
    As<Array>(list).elements.push_back(Hold(entry));
    CFRelease(text);
    CFRelease(entry);
  };
  if (TheMac().listsNameless) add("NSApplicationName", "Nameless");
  for (const std::string& path : TheMac().running) add("NSApplicationPath", path);
  EXPECT_FALSE(pools.empty()) << "no pool releases the list";
  if (!pools.empty()) pools.back()->held.push_back(Hold(list));
  CFRelease(list);
  return Number(list);
}

std::uintptr_t ToPasteboard(const std::string& selector, std::uintptr_t first,
                            std::uintptr_t second) {
  Called(selector);
  Mac& mac = TheMac();
  if (selector == "clearContents") {
    mac.declaredTypes.clear();
    mac.pasteboardText.reset();
  } else if (selector == "declareTypes:owner:") {
    for (const Held& type : As<Array>(Reference(first)).elements) {
      mac.declaredTypes.push_back(As<String>(type.get()).text);
    }
    if (second != 0) mac.pasteboardOwner = As<Instance>(Reference(second)).className;
  } else if (selector == "setString:forType:") {
    const std::vector<std::string> type = {As<String>(Reference(second)).text};
    EXPECT_EQ(mac.declaredTypes, type) << "the type was not declared";
    mac.pasteboardText = As<String>(Reference(first)).text;
  } else {
    return Unknown(kTheGeneralPasteboard, selector);
  }
  return 1;
}

std::uintptr_t ToApplication(const std::string& selector, std::uintptr_t first) {
  if (selector == "isActive") return TheMac().active ? 1 : 0;
  if (selector != "activateIgnoringOtherApps:") return Unknown(kTheApplication, selector);
  // Only the low byte of a BOOL argument is defined.
  if ((first & 0xFFU) == 1) ++TheMac().activations;
  return 0;
}

std::uintptr_t ToWorkspace(const std::string& selector, std::uintptr_t first,
                           std::uintptr_t second) {
  if (selector == "launchedApplications") return ListApplications();
  if (selector == "openFile:") {
    TheMac().openedFiles.push_back(As<String>(Reference(first)).text);
    return 1;
  }
  if (selector != "selectFile:inFileViewerRootedAtPath:") return Unknown(kTheWorkspace, selector);
  EXPECT_EQ(As<String>(Reference(second)).text, "");
  TheMac().selectedFiles.push_back(As<String>(Reference(first)).text);
  return 1;
}

}  // namespace

std::size_t quillet::macos_tests::OpenPools() {
  return pools.size();
}

extern "C" {

extern const CFStringRef NSPasteboardTypeString;
const CFStringRef NSPasteboardTypeString = Make<CFStringRef, String>("public.utf8-plain-text");

Class objc_getClass(const char* name) {
  const auto found = kClasses.find(name);
  EXPECT_NE(found, kClasses.end()) << "no class " << name;
  return found == kClasses.end() ? nullptr
                                 : reinterpret_cast<Class>(const_cast<std::string*>(&*found));
}

SEL sel_registerName(const char* name) {
  static auto& names = *new std::set<std::string>;
  return reinterpret_cast<SEL>(const_cast<std::string*>(&*names.emplace(name).first));
}

// Integer and pointer arguments are passed in the same registers. Arguments that a method does not
// take are undefined and not read.
std::uintptr_t objc_msgSend(const void* receiver, SEL method, std::uintptr_t first,
                            std::uintptr_t second) {
  const std::string& selector = *reinterpret_cast<const std::string*>(method);
  if (receiver == nullptr) return 0;
  for (const std::string& name : kClasses) {
    if (&name == receiver) return ToClass(name, selector);
  }
  if (selector == "CGEvent") return Number(receiver);  // a fake NSEvent also acts as its CGEvent
  if (receiver == kTheApplication) return ToApplication(selector, first);
  if (receiver == kTheGeneralPasteboard) return ToPasteboard(selector, first, second);
  if (receiver == kTheWorkspace) return ToWorkspace(selector, first, second);
  return ToInstance(receiver, selector);
}

// Stores the path in the reference.
OSStatus FSPathMakeRef(const UInt8* path, FSRef* reference, Boolean* isDirectory) {
  const std::string text = reinterpret_cast<const char*>(path);
  if (!TheMac().installed.contains(text)) return kNoSuchFile;
  EXPECT_LT(text.size(), sizeof reference->hidden);
  std::memcpy(reference->hidden, text.c_str(), text.size() + 1);
  if (isDirectory != nullptr) *isDirectory = 1;
  return noErr;
}

OSStatus LSOpenApplication(const LSApplicationParameters* parameters,
                           ProcessSerialNumber* process) {
  EXPECT_EQ(process, nullptr);
  // EXPECT_EQ cannot bind references to members of a packed structure.
  EXPECT_TRUE(parameters->version == 0 && parameters->flags == 1U);
  EXPECT_TRUE(parameters->asyncLaunchRefCon == nullptr && parameters->environment == nullptr);
  EXPECT_TRUE(parameters->argv == nullptr && parameters->initialEvent == nullptr);
  if (!TheMac().opens) return kApplicationFails;
  const std::string path = reinterpret_cast<const char*>(parameters->application->hidden);
  TheMac().opened.push_back(path);
  std::vector<std::string>& running = TheMac().running;
  if (std::count(running.begin(), running.end(), path) == 0) running.push_back(path);
  return noErr;
}

}  // extern "C"
