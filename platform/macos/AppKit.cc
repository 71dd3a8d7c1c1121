#include "platform/macos/AppKit.h"

#include <CoreFoundation/CoreFoundation.h>

#include "platform/macos/CfText.h"

/// The pasteboard's type of plain text (NSPasteboardTypeString in the AppKit reference), whose
/// header only Objective-C can read.
extern "C" const CFStringRef NSPasteboardTypeString;

namespace quillet::platform::macos {

GeneralPasteboard::GeneralPasteboard()
    : owner_(Send<id>(Send<id>(ClassNamed("NSObject"), "alloc"), "init")) {}

GeneralPasteboard::~GeneralPasteboard() {
  Send<void>(owner_, "release");
}

bool GeneralPasteboard::SetString(std::string_view text) {
  const AutoreleasePool pool;
  const id pasteboard = Send<id>(ClassNamed("NSPasteboard"), "generalPasteboard");
  Send<CFIndex>(pasteboard, "clearContents");
  const void* types[] = {NSPasteboardTypeString};
  const CfOwner<CFArrayRef> plainText(
      CFArrayCreate(kCFAllocatorDefault, types, 1, &kCFTypeArrayCallBacks));
  Send<CFIndex>(pasteboard, "declareTypes:owner:", plainText.get(), owner_);
  // A null string would be an exception.
  const CfOwner<CFStringRef> string = MakeString(text);
  return string != nullptr &&
         Send<BOOL>(pasteboard, "setString:forType:", string.get(), NSPasteboardTypeString) != 0;
}

void SharedApplication::ActivateIgnoringOtherApps() {
  constexpr BOOL kEvenIfAnotherIsActive = 1;
  const AutoreleasePool pool;
  const id application = Send<id>(ClassNamed("NSApplication"), "sharedApplication");
  Send<void>(application, "activateIgnoringOtherApps:", kEvenIfAnotherIsActive);
}

}  // namespace quillet::platform::macos
