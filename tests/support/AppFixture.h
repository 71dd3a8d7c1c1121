#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <type_traits>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "tests/support/FakeClock.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeRunsWindow.h"
#include "tests/support/FakeSettingsForm.h"
#include "tests/support/HookedFileStore.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/ScannerLine.h"
#include "tests/support/StoredSettings.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

/// Platform parts that replace the fixture's fakes. A null pointer keeps the fake.
struct OwnPlatform {
  platform::SerialLine* line = nullptr;
  platform::SerialRegistry* registry = nullptr;
  platform::Workspace* workspace = nullptr;
  platform::KeyEvents* keyEvents = nullptr;
  platform::Pasteboard* pasteboard = nullptr;
  platform::Applications* applications = nullptr;
};

/// The whole program with fake windows and a fake platform. The test's thread is the main thread.
class AppFixture : public ::testing::Test {
 protected:
  /// @param speed  see FakeClock
  /// @param own    replacements for the fakes; must live until the process ends
  explicit AppFixture(double speed = 1000, const OwnPlatform& own = {})
      : clock(Immortal<FakeClock>(speed)), own_(own) {
    application.setWindow(&window);
    application.setSyncController(&controller);
    clock.OnSleep([&tavo = tavo, &connected = controller.bIsConnected] { tavo.Settle(connected); });
  }
  ~AppFixture() override { clock.Stop(); }

  /// Writes a settings file with `choice`. Each output line is a record's data followed by CR LF.
  /// Call before Launch.
  void StartWith(const Choice& choice) { WriteSettingsFile(choice, dataFolder); }

  /// Chooses a destination in the settings window, browses for its path and saves.
  void Choose(int destination, const std::string& path = {}) {
    settings.Press();
    form.Set(&platform::SettingsValues::destination, destination);
    panels.answer = path;
    form.Browse();
    form.Save();
  }

  /// Changes a value in the settings window and saves.
  template <class Value>
  void Change(Value platform::SettingsValues::*control, Value value) {
    settings.Press();
    form.Set(control, value);
    form.Save();
  }

  /// Starts the program and waits until its first attempt to connect has ended.
  void Launch() {
    application.applicationDidFinishLaunching();
    FinishConnecting();
  }

  /// Waits for the next connection attempt to finish.
  void FinishConnecting() {
    ++attempts_;
    ASSERT_TRUE(WaitFor([&] { return Started() == attempts_ && !controller.bConnecting; }));
    tavo.WaitUntilRead();
    mainQueue.RunAll();
  }

  /// Adds a port with a scanner, but does not notify the program. @return the path of the port
  std::string Attach(const std::string& name, simulator::DeviceSettings scanner = Scanner()) {
    tavo.Attach(folder / name, std::move(scanner));
    registry.Attach(name, folder / name);
    return folder / name;
  }

  /// Plugs in a scanner and waits until it is connected.
  void BecomeConnected(simulator::DeviceSettings scanner = Scanner()) {
    tavo.Attach(folder / "usbmodem1", std::move(scanner));
    registry.Plug("usbmodem1", folder / "usbmodem1");
    FinishConnecting();
    ASSERT_TRUE(controller.bIsConnected);
  }

  /// Starts the program with a scanner, waits until it is connected and clears the view.
  void LaunchConnected(simulator::DeviceSettings scanner = Scanner()) {
    Attach("usbmodem1", std::move(scanner));
    Launch();
    ClearView();
  }

  /// Presses Synchronize and waits until the run has ended.
  void Synchronize() {
    const std::size_t ends = Ends();
    synchronize.Press();
    AwaitEnd(ends);
  }
  /// Number of runs that have ended.
  std::size_t Ends() const { return log.Count("-[SyncController SynchronizeFinished]"); }
  /// Waits until more than `before` runs have ended.
  void AwaitEnd(std::size_t before) {
    ASSERT_TRUE(WaitFor([&] { return Ends() > before; }));
    tavo.WaitUntilRead();
  }

  /// Waits until the scanner has been erased and the program has received the answer.
  void AwaitErase() {
    ASSERT_TRUE(WaitFor([&] { return tavo.Commands().ends_with("E "); })) << tavo.Commands();
    tavo.WaitUntilRead();
  }

  /// Returns the text of the main view, with "|" for line feeds.
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

  /// Number of attempts to connect so far.
  std::size_t Attempts() const { return log.Count("-[SyncController ConnectThread]"); }

  TemporaryFolder folder;
  RecordingLog& log = Immortal<RecordingLog>();
  FakeClock& clock;
  const OwnPlatform own_;
  ScannerLine& tavo = Immortal<ScannerLine>();
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
  FakeToolbarItem& earlierRuns = Immortal<FakeToolbarItem>("Earlier synchronizations…");
  FakeStatusDisplay& strip = Immortal<FakeStatusDisplay>();
  FakeSettingsForm& form = Immortal<FakeSettingsForm>();
  FakeRunsWindow& runs = Immortal<FakeRunsWindow>();
  FakeWindow& window = Immortal<FakeWindow>();
  QuilletAppDelegate& application = Immortal<QuilletAppDelegate>(log, mainQueue);
  std::string dataFolder = folder / "QuilletData";
  std::string archiveFolder = folder / "Archive";
  SyncController& controller = Immortal<SyncController>(
      Platform{log, clock, Or(own_.line, tavo), files, mainQueue, Or(own_.registry, registry),
               Or(own_.workspace, workspace), panels, ticker, Or(own_.keyEvents, keyEvents),
               Or(own_.pasteboard, pasteboard), Or(own_.applications, applications)},
      MainWindowControls{view, ports, connect, settings, synchronize, clear, earlierRuns, strip},
      form, runs, Paths{dataFolder, archiveFolder, {}, folder / "Confirmed"});

 private:
  template <class Interface>
  static Interface& Or(Interface* own, std::type_identity_t<Interface>& ours) {
    return own == nullptr ? ours : *own;
  }

  // Number of connection attempts that have begun. Each has already set bConnecting to true.
  std::size_t Started() const {
    return static_cast<std::size_t>(std::ranges::count_if(log.lines(), [](const auto& line) {
      return line.starts_with("-[SyncController TryToConnectTavo]") ||
             line == "-[SyncController StartTavo]";
    }));
  }

  std::size_t attempts_ = 0;
};

}  // namespace quillet::test
