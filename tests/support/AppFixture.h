#pragma once

#include <gtest/gtest.h>

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
#include "tests/support/ScannerLine.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

/// Parts of the platform that replace the fixture's, or null.
struct OwnPlatform {
  platform::SerialLine* line = nullptr;
  platform::SerialRegistry* registry = nullptr;
  platform::Workspace* workspace = nullptr;
  platform::KeyEvents* keyEvents = nullptr;
  platform::Pasteboard* pasteboard = nullptr;
  platform::Applications* applications = nullptr;
};

/// The settings that a test chooses.
struct Choice {
  int destination = 0;
  std::string path = {};  ///< of the file or application; empty: unchanged
  bool syncclock = false, clearmemory = false, burstsync = true, autosync = false;
  bool appenddata = false, nonenglish = false;
};

/// The whole program without its windows, in the test's hands.
class AppFixture : public ::testing::Test {
 protected:
  /// @param speed  how many times faster than real time the program's waits are
  /// @param own    lives as long as the process
  explicit AppFixture(double speed = 1000, const OwnPlatform& own = {})
      : clock(Immortal<FakeClock>(speed)), own_(own) {
    application.setWindow(&window);
    application.setSyncController(&controller);
    clock.OnSleep([&tavo = tavo, &connected = controller.bIsConnected](std::size_t) {
      tavo.Settle(connected);
    });
  }

  /// Writes a settings file. With it a line is the record's data, a carriage return and a line
  /// feed. Before Launch.
  void StartWith(const Choice& choice) {
    SettingsImage image;
    image.fill('0');
    const std::pair<std::size_t, int> values[] = {{4, 4},
                                                  {5, choice.syncclock},
                                                  {6, choice.clearmemory},
                                                  {7, choice.destination},
                                                  {8, choice.burstsync},
                                                  {9, choice.autosync},
                                                  {10, choice.appenddata},
                                                  {11, 1},
                                                  {13, choice.nonenglish}};
    for (const auto& [place, value] : values) image[place] = static_cast<char>('0' + value);
    for (const auto place : {kApplicationNamePosition, kFileNamePosition}) {
      WriteName(image, place, choice.path.empty() ? dataFolder + kPlaceholder : choice.path);
    }
    std::filesystem::create_directory(dataFolder);
    PutFile(dataFolder + "/QuilletRegistry.txt", {image.data(), image.size()});
  }

  /// Chooses in the settings window and saves.
  void Choose(const Choice& choice) {
    settings.Press();
    using Values = platform::SettingsValues;
    form.Set(&Values::destination, choice.destination);
    const std::pair<bool Values::*, bool> boxes[] = {
        {&Values::syncclock, choice.syncclock},   {&Values::clearmemory, choice.clearmemory},
        {&Values::burstsync, choice.burstsync},   {&Values::autosync, choice.autosync},
        {&Values::appenddata, choice.appenddata}, {&Values::nonenglish, choice.nonenglish}};
    for (const auto& [box, on] : boxes) form.Set(box, on);
    panels.answer = choice.path;
    if (!choice.path.empty()) form.Browse();
    form.Save();
  }

  /// Starts the program and waits until its first attempt to connect has ended.
  void Launch() {
    application.applicationDidFinishLaunching();
    FinishConnecting();
  }

  /// Waits until one more attempt to connect has ended.
  void FinishConnecting() {
    ++attempts_;
    ASSERT_TRUE(WaitFor([&] { return Started() == attempts_ && !controller.bConnecting; }));
    tavo.WaitUntilRead();
    mainQueue.RunAll();
  }

  /// A port with a scanner, present before the program starts. @return its path
  std::string Attach(const std::string& name, simulator::DeviceSettings scanner = Scanner()) {
    tavo.Attach(folder / name, std::move(scanner));
    registry.Attach(name, folder / name);
    return folder / name;
  }

  /// A scanner is plugged in and connected.
  void BecomeConnected(simulator::DeviceSettings scanner = Scanner()) {
    tavo.Attach(folder / "usbmodem1", std::move(scanner));
    registry.Plug("usbmodem1", folder / "usbmodem1");
    ++attempts_;
    ASSERT_TRUE(WaitFor([&] { return controller.bIsConnected && !controller.bConnecting; }));
    tavo.WaitUntilRead();
    mainQueue.RunAll();
  }

  /// Connected, with an empty view.
  void LaunchConnected(simulator::DeviceSettings scanner = Scanner()) {
    Attach("usbmodem1", std::move(scanner));
    Launch();
    ClearView();
  }

  /// Presses Synchronize and waits for the end of the run.
  void Synchronize() {
    const std::size_t before = Ends();
    synchronize.Press();
    AwaitEnd(before);
  }
  std::size_t Ends() const { return log.Count("-[SyncController SynchronizeFinished]"); }
  /// Waits until more runs than these have ended.
  void AwaitEnd(std::size_t before) {
    ASSERT_TRUE(WaitFor([&] { return Ends() > before; }));
    tavo.WaitUntilRead();
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

  /// Attempts to connect so far.
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
  FakeProgressDisplay& progress = Immortal<FakeProgressDisplay>();
  FakeSettingsForm& form = Immortal<FakeSettingsForm>();
  FakeWindow& window = Immortal<FakeWindow>();
  QuilletAppDelegate& application = Immortal<QuilletAppDelegate>(log, mainQueue);
  std::string dataFolder = folder / "QuilletData";
  SyncController& controller = Immortal<SyncController>(
      Platform{log, clock, Or(own_.line, tavo), files, mainQueue, Or(own_.registry, registry),
               Or(own_.workspace, workspace), panels, ticker, Or(own_.keyEvents, keyEvents),
               Or(own_.pasteboard, pasteboard), Or(own_.applications, applications)},
      MainWindowControls{view, ports, connect, settings, synchronize, clear, progress}, form,
      dataFolder);

 private:
  template <class Interface>
  static Interface& Or(Interface* own, std::type_identity_t<Interface>& ours) {
    return own == nullptr ? ours : *own;
  }

  // Attempts that have set bConnecting.
  std::size_t Started() const {
    const auto lines = log.lines();
    return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [](auto& line) {
      return line.starts_with("-[SyncController TryToConnectTavo]") ||
             line == "-[SyncController StartTavo]";
    }));
  }

  std::size_t attempts_ = 0;
};

}  // namespace quillet::test
