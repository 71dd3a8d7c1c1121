// The Objective-C runtime, and what the classes of Foundation and AppKit do with a message. The
// header with objc_msgSend is left out on purpose: here the function has the parameters that it is
// called with.

#include "tests/macos/fakes/AppKit.h"

#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <objc/runtime.h>

#include <cstdint>
#include <set>

#include "tests/macos/fakes/LaunchServices.h"
#include "tests/macos/fakes/Objects.h"

using namespace quillet::macos_tests;

namespace {

const std::set<std::string> kClasses = {"NSApplication", "NSAutoreleasePool", "NSObject",
                                        "NSPasteboard", "NSWorkspace"};
constexpr char kTheApplication[] = "the application";
constexpr char kTheGeneralPasteboard[] = "the general pasteboard";
constexpr char kTheWorkspace[] = "the workspace";

/// An object by its class; for a pool, what it has taken up.
class Instance final : public Object {
 public:
  explicit Instance(std::string value) : className(std::move(value)) {}
  ~Instance() override {
    for (const CFTypeRef object : held) CFRelease(object);
  }
  const std::string className;
  std::vector<CFTypeRef> held;
};

// Pools are nested: the last is the one that takes up.
std::vector<Instance*> pools;

std::uintptr_t Number(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address);
}

CFTypeRef Reference(std::uintptr_t number) {
  return reinterpret_cast<CFTypeRef>(number);
}

std::uintptr_t Unknown(const std::string& receiver, const std::string& selector) {
  ADD_FAILURE() << receiver << " does not know " << selector;
  return 0;
}

std::uintptr_t ToClass(const std::string& name, const std::string& selector) {
  if (selector == "alloc" && (name == "NSObject" || name == "NSAutoreleasePool")) {
    return Number(ReferenceTo(*new Instance(name)));
  }
  if (name == "NSApplication" && selector == "sharedApplication") return Number(kTheApplication);
  if (name == "NSPasteboard" && selector == "generalPasteboard") {
    return Number(kTheGeneralPasteboard);
  }
  if (name == "NSWorkspace" && selector == "sharedWorkspace") return Number(kTheWorkspace);
  return Unknown(name, selector);
}

std::uintptr_t ToInstance(Instance& instance, const std::string& selector) {
  const CFTypeRef reference = ReferenceTo(instance);
  const bool is_pool = instance.className == "NSAutoreleasePool";
  if (selector == "init") {
    if (is_pool) pools.push_back(&instance);
    return Number(reference);
  }
  if (selector == "release" || (selector == "drain" && is_pool)) {
    if (is_pool) {
      EXPECT_EQ(pools.back(), &instance) << "pools are drained from the innermost outwards";
      pools.pop_back();
    }
    CFRelease(reference);
    return 0;
  }
  return Unknown(instance.className, selector);
}

/// The dictionaries of what runs. Whoever asks does not own the list: the innermost pool does.
std::uintptr_t ListApplications() {
  if (AppKit::Shared().listsNothing) return 0;
  auto& list = *new Array;
  const auto add = [&](const std::string& key, const std::string& value) {
    auto& entry = *new Dictionary;
    auto& text = *new String(value);
    entry.Set(key, ReferenceTo(text));
    list.Add(ReferenceTo(entry));
    CFRelease(ReferenceTo(text));
    CFRelease(ReferenceTo(entry));
  };
  if (AppKit::Shared().listsNameless) add("NSApplicationName", "Nameless");
  for (const std::string& path : LaunchServices::Shared().running) add("NSApplicationPath", path);
  EXPECT_FALSE(pools.empty()) << "nobody would release the list";
  if (!pools.empty()) pools.back()->held.push_back(ReferenceTo(list));
  return Number(ReferenceTo(list));
}

std::uintptr_t ToPasteboard(const std::string& selector, std::uintptr_t first,
                            std::uintptr_t second) {
  AppKit::Pasteboard& board = AppKit::Shared().pasteboard;
  Called(selector);
  if (selector == "clearContents") {
    board = {};
  } else if (selector == "declareTypes:owner:") {
    for (const CFTypeRef type : As<Array>(Reference(first)).elements) {
      board.types.push_back(As<String>(type).text);
    }
    if (second != 0) board.owner = As<Instance>(Reference(second)).className;
  } else if (selector == "setString:forType:") {
    const std::vector<std::string> type = {As<String>(Reference(second)).text};
    EXPECT_EQ(board.types, type) << "only a declared type can be set";
    board.text = As<String>(Reference(first)).text;
  } else {
    return Unknown(kTheGeneralPasteboard, selector);
  }
  return 1;
}

std::uintptr_t ToApplication(const std::string& selector, std::uintptr_t first) {
  if (selector != "activateIgnoringOtherApps:") return Unknown(kTheApplication, selector);
  // Of a BOOL only the low byte is passed.
  if ((first & 0xFFU) == 1) ++AppKit::Shared().activations;
  return 0;
}

}  // namespace

AppKit& AppKit::Shared() {
  static auto& shared = *new AppKit;
  return shared;
}

void AppKit::Reset() {
  *this = {};
}

std::size_t AppKit::OpenPools() const {
  return pools.size();
}

extern "C" {

extern const CFStringRef NSPasteboardTypeString;
const CFStringRef NSPasteboardTypeString =
    static_cast<CFStringRef>(ReferenceTo(*new String("public.utf8-plain-text")));

Class objc_getClass(const char* name) {
  const auto found = kClasses.find(name);
  EXPECT_NE(found, kClasses.end()) << "there is no class " << name;
  return found == kClasses.end() ? nullptr
                                 : reinterpret_cast<Class>(const_cast<std::string*>(&*found));
}

SEL sel_registerName(const char* name) {
  static auto& names = *new std::set<std::string>;
  return reinterpret_cast<SEL>(const_cast<std::string*>(&*names.emplace(name).first));
}

// Arguments are whole numbers and addresses, which are passed alike in registers; those that a
// method does not have are not looked at.
std::uintptr_t objc_msgSend(const void* receiver, SEL method, std::uintptr_t first,
                            std::uintptr_t second) {
  const std::string& selector = *reinterpret_cast<const std::string*>(method);
  if (receiver == nullptr) return 0;
  for (const std::string& name : kClasses) {
    if (&name == receiver) return ToClass(name, selector);
  }
  if (receiver == kTheApplication) return ToApplication(selector, first);
  if (receiver == kTheGeneralPasteboard) return ToPasteboard(selector, first, second);
  if (receiver == kTheWorkspace) {
    return selector == "launchedApplications" ? ListApplications()
                                              : Unknown(kTheWorkspace, selector);
  }
  return ToInstance(As<Instance>(receiver), selector);
}

}  // extern "C"
