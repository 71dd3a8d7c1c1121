#include "tests/macos/fakes/LaunchServices.h"

#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace quillet::macos_tests {

LaunchServices& LaunchServices::Shared() {
  static auto& shared = *new LaunchServices;
  return shared;
}

void LaunchServices::Reset() {
  *this = {};
}

}  // namespace quillet::macos_tests

using quillet::macos_tests::LaunchServices;

namespace {

constexpr OSStatus kNoSuchFile = -43;           // fnfErr (MacErrors.h)
constexpr OSStatus kApplicationFails = -10810;  // kLSUnknownErr (Launch Services result codes)

}  // namespace

extern "C" {

// A reference holds the path, which has to be short enough.
OSStatus FSPathMakeRef(const UInt8* path, FSRef* reference, Boolean* isDirectory) {
  const std::string text = reinterpret_cast<const char*>(path);
  if (!LaunchServices::Shared().installed.contains(text)) return kNoSuchFile;
  EXPECT_LT(text.size(), sizeof reference->hidden);
  std::memcpy(reference->hidden, text.c_str(), text.size() + 1);
  if (isDirectory != nullptr) *isDirectory = 1;
  return noErr;
}

OSStatus LSOpenApplication(const LSApplicationParameters* parameters,
                           ProcessSerialNumber* process) {
  EXPECT_EQ(process, nullptr);
  // Not by reference: the packed structure does not align its members.
  EXPECT_TRUE(parameters->version == 0);
  EXPECT_TRUE(parameters->flags == 1U);
  EXPECT_TRUE(parameters->asyncLaunchRefCon == nullptr);
  EXPECT_TRUE(parameters->environment == nullptr);
  EXPECT_TRUE(parameters->argv == nullptr);
  EXPECT_TRUE(parameters->initialEvent == nullptr);
  LaunchServices& services = LaunchServices::Shared();
  if (!services.opens) return kApplicationFails;
  const std::string path = reinterpret_cast<const char*>(parameters->application->hidden);
  services.opened.push_back(path);
  if (std::find(services.running.begin(), services.running.end(), path) == services.running.end()) {
    services.running.push_back(path);
  }
  return noErr;
}

}  // extern "C"
