#include "platform/macos/LaunchServicesApplications.h"

#include <CoreServices/CoreServices.h>

#include <optional>

#include "platform/macos/CfText.h"
#include "platform/macos/ObjectiveC.h"

namespace quillet::platform::macos {
namespace {

constexpr CFIndex kParametersVersion = 0;
constexpr auto kDefaultLaunch = static_cast<LSLaunchFlags>(1);
constexpr char kPathKey[] = "NSApplicationPath";

std::optional<FSRef> FileReference(const std::string& path) {
  FSRef reference{};
  Boolean isDirectory = 0;
  const auto* bytes = reinterpret_cast<const UInt8*>(path.c_str());
  if (FSPathMakeRef(bytes, &reference, &isDirectory) != noErr) return std::nullopt;
  return reference;
}

}  // namespace

bool LaunchServicesApplications::HasApplication(const std::string& path) {
  return FileReference(path).has_value();
}

bool LaunchServicesApplications::OpenApplication(const std::string& path) {
  const auto reference = FileReference(path);
  if (!reference) return false;
  LSApplicationParameters parameters{};
  parameters.version = kParametersVersion;
  parameters.flags = kDefaultLaunch;
  parameters.application = &*reference;
  return LSOpenApplication(&parameters, nullptr) == noErr;
}

std::vector<std::string> LaunchServicesApplications::LaunchedApplications() {
  const AutoreleasePool pool;
  const id workspace = Send<id>(ClassNamed("NSWorkspace"), "sharedWorkspace");
  // An NSArray can be used as a CFArray ("Toll-Free Bridged Types", Core Foundation Design
  // Concepts).
  const auto applications = Send<CFArrayRef>(workspace, "launchedApplications");
  const CfOwner<CFStringRef> key = MakeString(kPathKey);
  std::vector<std::string> paths;
  if (applications == nullptr) return paths;
  for (CFIndex i = 0; i < CFArrayGetCount(applications); ++i) {
    const auto application = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(applications, i));
    if (auto path = TextOf(CFDictionaryGetValue(application, key.get()))) {
      paths.push_back(*std::move(path));
    }
  }
  return paths;
}

}  // namespace quillet::platform::macos
