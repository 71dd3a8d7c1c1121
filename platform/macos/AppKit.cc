#include "platform/macos/AppKit.h"

#include <CoreFoundation/CoreFoundation.h>

#include "platform/macos/CfText.h"

// Declared here as in the AppKit reference, because the AppKit header requires Objective-C.
extern "C" const CFStringRef NSPasteboardTypeString;

namespace quillet::platform::macos {

bool GeneralPasteboard::SetString(std::string_view text) {
  const AutoreleasePool pool;
  const id pasteboard = Send<id>(ClassNamed("NSPasteboard"), "generalPasteboard");
  Send<CFIndex>(pasteboard, "clearContents");
  const void* types[] = {NSPasteboardTypeString};
  const CfOwner<CFArrayRef> plainText(
      CFArrayCreate(kCFAllocatorDefault, types, 1, &kCFTypeArrayCallBacks));
  Send<CFIndex>(pasteboard, "declareTypes:owner:", plainText.get(), owner_);
  // setString raises an exception if the string is null.
  const CfOwner<CFStringRef> string = MakeString(text);
  return string != nullptr &&
         Send<BOOL>(pasteboard, "setString:forType:", string.get(), NSPasteboardTypeString) != 0;
}

void SharedApplication::ActivateIgnoringOtherApps() {
  constexpr BOOL kIgnoringOtherApps = 1;
  const AutoreleasePool pool;
  const id application = Send<id>(ClassNamed("NSApplication"), "sharedApplication");
  Send<void>(application, "activateIgnoringOtherApps:", kIgnoringOtherApps);
}

bool SharedApplication::IsActive() {
  const AutoreleasePool pool;
  const id application = Send<id>(ClassNamed("NSApplication"), "sharedApplication");
  return Send<BOOL>(application, "isActive") != 0;
}

void SharedApplication::ShowInFolder(const std::string& path) {
  const AutoreleasePool pool;
  const id workspace = Send<id>(ClassNamed("NSWorkspace"), "sharedWorkspace");
  const CfOwner<CFStringRef> file = MakeString(path);
  const CfOwner<CFStringRef> noRoot = MakeString("");
  if (file == nullptr) return;  // not UTF-8
  Send<BOOL>(workspace, "selectFile:inFileViewerRootedAtPath:", file.get(), noRoot.get());
}

void SharedApplication::OpenFile(const std::string& path) {
  const AutoreleasePool pool;
  const id workspace = Send<id>(ClassNamed("NSWorkspace"), "sharedWorkspace");
  const CfOwner<CFStringRef> file = MakeString(path);
  if (file == nullptr) return;  // not UTF-8
  Send<BOOL>(workspace, "openFile:", file.get());
}

}  // namespace quillet::platform::macos
