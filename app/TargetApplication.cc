#include "app/TargetApplication.h"

#include <utility>

#include "base/Log.h"
#include "device/Settings.h"

namespace quillet {
namespace {

constexpr int kRunningChecks = 10;

constexpr char kNotFound[] = "\" was not found. Choose another application.";
constexpr char kNotOpened[] = "\" could not be opened. Choose another application.";

}  // namespace

bool TargetApplication::Run(const std::string& application) {
  applicationPath.Set(application);
  if (!platform_.applications.HasApplication(application)) {
    Log(platform_.log, "-[SyncController RunApplication]", ":Couldn't get FSRef");
    Show(application, kNotFound);
    return false;
  }
  if (!platform_.applications.OpenApplication(application)) {
    Log(platform_.log, "-[SyncController RunApplication]", ":Couldn't open application ",
        ForeignText(application));
    Show(application, kNotOpened);
    return false;
  }
  Show(application, nullptr);
  // Intentional: there is no pause between the checks, so an application that starts slowly is
  // reported as not running.
  for (int check = 0; check < kRunningChecks; ++check) {
    if (IsRunning()) return true;
  }
  return false;
}

bool TargetApplication::IsRunning() {
  for (const std::string& running : platform_.applications.LaunchedApplications()) {
    if (running == applicationPath.Get()) {
      Log(platform_.log, ForeignText(running), " Is Running");
      return true;
    }
  }
  return false;
}

void TargetApplication::Check(std::int32_t destination, const std::string& application) {
  const bool isMissing =
      destination == kToNamedApplication && !platform_.applications.HasApplication(application);
  Show(application, isMissing ? kNotFound : nullptr);
}

// Shows a message that ends with `problem`, or removes it if `problem` is null.
void TargetApplication::Show(const std::string& application, const char* problem) {
  const std::lock_guard lock(showing_);
  std::string message;
  if (problem != nullptr) {
    message = "The application \"" + application.substr(application.rfind('/') + 1) + problem;
  }
  if (std::exchange(message_, message) == message) return;
  if (message.empty()) return strip_.Withdraw(Notice::kTargetMissing);
  strip_.Raise(Notice::kTargetMissing, message, {{"Choose…", choose_}});
}

}  // namespace quillet
