#include "app/ApplicationDelivery.h"

#include "base/Log.h"
#include "base/Utf8.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::KeyEvent;
using platform::KeyFlag;

constexpr std::uint16_t kKeyV = 9;
constexpr int kRunningChecks = 10;

// Pause before and after pressing the paste keys. The first pause gives the clipboard time to
// become ready. The second gives the application time to read the clipboard before the next record
// replaces its contents.
constexpr auto kPastePause = 100ms;

void PressKey(platform::KeyEvents& events, std::uint16_t virtualKey, KeyFlag flag) {
  const KeyEvent press[] = {{virtualKey, true, flag}, {virtualKey, false, KeyFlag::kNone}};
  events.Post(press);
}

}  // namespace

void ApplicationDelivery::Deliver(const std::string& record, bool paste) {
  const std::lock_guard lock(delivering_);
  if (paste) return Paste(record);
  if (!IsAscii(record)) return;
  for (const char character : record) {
    const KeyValue key = KeyForCharacter(static_cast<unsigned char>(character));
    if (key != kNoKey) SendKeyCode(key);
  }
}

void ApplicationDelivery::Paste(const std::string& record) {
  // If SetString fails, Command-V would paste the old contents of the clipboard.
  if (!platform_.pasteboard.SetString(record)) {
    Log(platform_.log, "-[SyncController DisplayBarcode:]", ":Couldn't set pasteboard");
    return;
  }
  platform_.clock.Sleep(kPastePause);
  SendCommandAndV();
  platform_.clock.Sleep(kPastePause);
}

void ApplicationDelivery::SendKeyCode(KeyValue key) {
  PressKey(platform_.keyEvents, key & kKeyCodeMask,
           key & kShiftBit ? KeyFlag::kShift : KeyFlag::kNone);
}

void ApplicationDelivery::SendCommandAndV() {
  PressKey(platform_.keyEvents, kKeyV, KeyFlag::kCommand);
}

bool ApplicationDelivery::Run(const std::string& application) {
  applicationPath.Set(application);
  if (!platform_.applications.HasApplication(application)) {
    Log(platform_.log, "-[SyncController RunApplication]", ":Couldn't get FSRef");
    return false;
  }
  if (!platform_.applications.OpenApplication(application)) {
    Log(platform_.log, "-[SyncController RunApplication]", ":Couldn't open application ",
        ForeignText(application));
    return false;
  }
  // Intentional: there is no pause between the checks, so an application that starts slowly is
  // reported as not running.
  for (int check = 0; check < kRunningChecks; ++check) {
    if (IsRunning()) return true;
  }
  return false;
}

bool ApplicationDelivery::IsRunning() {
  for (const std::string& running : platform_.applications.LaunchedApplications()) {
    if (running == applicationPath.Get()) {
      Log(platform_.log, ForeignText(running), " Is Running");
      return true;
    }
  }
  return false;
}

}  // namespace quillet
