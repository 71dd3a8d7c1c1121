#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <type_traits>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeSettingsForm.h"
#include "tests/support/HookedFileStore.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/SystemLine.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

/// What a test brings itself in place of the fixture's own; null for what it does not.
struct OwnPlatform {
  platform::SerialRegistry* registry = nullptr;
  platform::Workspace* workspace = nullptr;
  platform::KeyEvents* keyEvents = nullptr;
  platform::Pasteboard* pasteboard = nullptr;
  platform::Applications* applications = nullptr;
};

/// The whole program but for its window and its ports, which the test holds in its hands.
class AppFixture : public ::testing::Test {
 protected:
  /// @param speed  how many times faster than real time the program's waits go by
  /// @param own    lives as long as the process
  explicit AppFixture(double speed = 1000, const OwnPlatform& own = {})
      : clock(Immortal<FakeClock>(speed)), own_(own) {
    application.setWindow(&window);
    application.setSyncController(&controller);
  }

  /// Starts the program and waits until its first attempt to connect has ended.
  void Launch() {
    application.applicationDidFinishLaunching();
    FinishConnecting();
  }

  /// Waits until one more attempt to connect has ended.
  void FinishConnecting() {
    ++attempts_;
    ASSERT_TRUE(WaitFor([&] {
      return Started() == attempts_ && log.Count("-[SyncController ConnectThread]") == attempts_ &&
             !controller.bConnecting;
    }));
    mainQueue.RunAll();
  }

  /// As a session reports: the scanner has been initialised.
  void BecomeConnected(std::string_view serial = "0000123456") {
    controller.lumet->SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(serial.data()),
                                      serial.size());
    controller.TavoInitializationDone(true);
    mainQueue.RunAll();
  }

  /// The text of the view, line ends shown as "|".
  std::string View() {
    mainQueue.RunAll();
    std::string text = view.text();
    std::replace(text.begin(), text.end(), '\n', '|');
    return text;
  }

  void ClearView() {
    mainQueue.RunAll();
    view.SetText("");
  }

  /// A path that opens like a port and never answers.
  std::string SilentPort(const std::string& name) {
    const std::string fifo = folder / name;
    mkfifo(fifo.c_str(), 0600);
    return fifo;
  }

  TemporaryFolder folder;
  RecordingLog& log = Immortal<RecordingLog>();
  FakeClock& clock;
  const OwnPlatform own_;
  HookedFileStore& files = Immortal<HookedFileStore>();
  FakeMainQueue& mainQueue = Immortal<FakeMainQueue>();
  FakeRegistry& registry = Immortal<FakeRegistry>();
  FakeWorkspace& workspace = Immortal<FakeWorkspace>();
  FakePanels& panels = Immortal<FakePanels>();
  FakeTicker& ticker = Immortal<FakeTicker>();
  FakeKeyEvents& keyEvents = Immortal<FakeKeyEvents>();
  FakePasteboard& pasteboard = Immortal<FakePasteboard>();
  FakeApplications& applications = Immortal<FakeApplications>();
  FakeTextView& view = Immortal<FakeTextView>();
  FakePopUpList& ports = Immortal<FakePopUpList>();
  FakeToolbarItem& connect = Immortal<FakeToolbarItem>("Connect");
  FakeToolbarItem& synchronize = Immortal<FakeToolbarItem>("Synchronize");
  FakeToolbarItem& settings = Immortal<FakeToolbarItem>("Settings");
  FakeToolbarItem& clear = Immortal<FakeToolbarItem>("Clear");
  FakeProgressDisplay& progress = Immortal<FakeProgressDisplay>();
  FakeSettingsForm& form = Immortal<FakeSettingsForm>();
  FakeWindow& window = Immortal<FakeWindow>();
  QuilletAppDelegate& application = Immortal<QuilletAppDelegate>(log, mainQueue);
  std::string dataFolder = folder / "QuilletData";
  SyncController& controller = Immortal<SyncController>(
      Platform{log, clock, SystemLine(), files, mainQueue, Or(own_.registry, registry),
               Or(own_.workspace, workspace), panels, ticker, Or(own_.keyEvents, keyEvents),
               Or(own_.pasteboard, pasteboard), Or(own_.applications, applications)},
      MainWindowControls{view, ports, connect, settings, synchronize, clear, progress}, form,
      dataFolder);

 private:
  template <class Interface>
  static Interface& Or(Interface* own, std::type_identity_t<Interface>& ours) {
    return own == nullptr ? ours : *own;
  }

  // Attempts that have come past the point where they say that they are connecting.
  std::size_t Started() const {
    std::size_t started = 0;
    for (const std::string& line : log.lines()) {
      if (line.starts_with("-[SyncController TryToConnectTavo]") ||
          line == "-[SyncController StartTavo]") {
        ++started;
      }
    }
    return started;
  }

  std::size_t attempts_ = 0;
};

}  // namespace quillet::test
