#include "app/PortMessages.h"

#include <utility>

namespace quillet {

using Kind = platform::PortObstacle::Kind;

PortMessages::PortMessages(const Platform& platform, const PortTable& ports, StatusStrip& strip,
                           std::function<void()> tryAgain)
    : platform_(platform),
      ports_(ports),
      strip_(strip),
      tryAgain_(std::move(tryAgain)),
      inspections_(platform.mainQueue, [](bool) {}) {}

void PortMessages::NotOpened(const std::string& path) {
  platform_.mainQueue.Async([this, path] { Inspect(path); });
}

void PortMessages::Inspect(const std::string& path) {
  inspections_.Add([this, path, before = withdrawals_]() -> std::function<void()> {
    const platform::PortObstacle obstacle = platform_.registry.Inspect(path);
    return [this, path, before, obstacle] {
      if (withdrawals_ == before) Show(path, obstacle);
    };
  });
}

void PortMessages::Show(const std::string& path, const platform::PortObstacle& obstacle) {
  switch (obstacle.kind) {
    case Kind::kNone:
      return;
    case Kind::kPermission:
      return ShowDenied(path, obstacle);
    case Kind::kForbidden:
      return Raise(
          Notice::kPortDenied, path,
          "The system is blocking access to " + path +
              ". If Quillet is running in a container or sandbox, give it access to the port.",
          {TryAgain()});
    case Kind::kBusy: {
      const std::string program = obstacle.program.empty() ? "Another program" : obstacle.program;
      return Raise(Notice::kPortBusy, path,
                   program + " is using " + path + ". Close that program, then try again.",
                   {TryAgain()});
    }
  }
}

void PortMessages::ShowDenied(const std::string& path, const platform::PortObstacle& obstacle) {
  const std::string denied = "You do not have permission to use " + path + ". ";
  if (obstacle.joined) {
    Raise(Notice::kPortDenied, path,
          denied + "Log out and back in for your membership in the " + obstacle.group +
              " group to take effect.",
          {});
  } else if (!obstacle.group.empty()) {
    Raise(Notice::kPortDenied, path,
          denied + "Copy the command and run it in a terminal to join the " + obstacle.group +
              " group, or add the device to 70-quillet-scanner.rules.",
          {Copy("sudo usermod -aG " + obstacle.group + " \"$USER\"")});
  } else {
    Raise(Notice::kPortDenied, path,
          "No udev rule gives you access to " + path +
              ". Install the Quillet package, or copy the command and run it in a terminal.",
          {Copy("sudo chown \"$USER\" " + path)});
  }
}

void PortMessages::Silent(const std::string& path) {
  platform_.mainQueue.Async([this, path] {
    Raise(Notice::kScannerSilent, path,
          "No scanner is responding on " + path +
              ". Press the scanner's button, check the cable, then try again.",
          {TryAgain()});
  });
}

void PortMessages::NoThread(const std::string& path) {
  platform_.mainQueue.Async([this, path] {
    Raise(Notice::kNoThread, path,
          "Quillet could not connect because the system is out of threads or memory. "
          "Close other programs, then try again.",
          {TryAgain()});
  });
}

void PortMessages::Raise(Notice notice, const std::string& path, const std::string& text,
                         std::vector<StripAction> actions) {
  paths_[notice] = path;
  strip_.Raise(notice, text, std::move(actions));
}

void PortMessages::Withdraw() {
  platform_.mainQueue.Async([this] {
    ++withdrawals_;
    for (const auto& [notice, path] : std::exchange(paths_, {})) strip_.Withdraw(notice);
  });
}

void PortMessages::WithdrawRemoved() {
  std::erase_if(paths_, [this](const auto& message) {
    const auto& [notice, path] = message;
    const bool isRemoved = !path.empty() && !ports_.Contains(path);
    if (isRemoved) strip_.Withdraw(notice);
    return isRemoved;
  });
}

StripAction PortMessages::Copy(const std::string& command) const {
  return {"Copy command", [this, command] { platform_.pasteboard.SetString(command); }};
}

}  // namespace quillet
