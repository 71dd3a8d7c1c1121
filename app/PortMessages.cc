#include "app/PortMessages.h"

namespace quillet {

using Kind = platform::PortObstacle::Kind;

void PortMessages::NotOpened(const std::string& path) {
  const platform::PortObstacle obstacle = registry_.Inspect(path);
  if (obstacle.kind == Kind::kPermission) {
    Denied(path, obstacle);
  } else if (obstacle.kind == Kind::kBusy) {
    const std::string program = obstacle.program.empty() ? "Another program" : obstacle.program;
    strip_.Raise(Notice::kPortBusy,
                 program + " is using " + path + ". Close that program, then try again.",
                 {TryAgain()});
  }
}

void PortMessages::Denied(const std::string& path, const platform::PortObstacle& obstacle) {
  const std::string denied = "No permission to use " + path + ". ";
  if (obstacle.joined) {
    strip_.Raise(Notice::kPortDenied,
                 denied + "Log out and in again to activate the group " + obstacle.group + ".");
  } else if (!obstacle.group.empty()) {
    strip_.Raise(
        Notice::kPortDenied,
        denied + "Run the command to join the group " + obstacle.group + ", then log in again.",
        {Copy("sudo usermod -aG " + obstacle.group + " \"$USER\"")});
  } else {
    strip_.Raise(Notice::kPortDenied,
                 "No udev rule lets you use " + path +
                     ". Install the Quillet package, or run the command in a terminal.",
                 {Copy("sudo chown \"$USER\" " + path)});
  }
}

void PortMessages::Silent(const std::string& path) {
  strip_.Raise(
      Notice::kScannerSilent,
      "No scanner is responding on " + path + ". Press the scanner's button. Check the cable.",
      {TryAgain()});
}

void PortMessages::Withdraw() {
  for (const Notice each : {Notice::kPortDenied, Notice::kPortBusy, Notice::kScannerSilent}) {
    strip_.Withdraw(each);
  }
}

StripAction PortMessages::Copy(const std::string& command) const {
  return {"Copy command", [this, command] { pasteboard_.SetString(command); }};
}

}  // namespace quillet
