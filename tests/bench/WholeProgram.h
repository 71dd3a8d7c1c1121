#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFileStore.h"
#include "simulator/RecordGenerator.h"
#include "simulator/Simulator.h"
#include "tests/bench/Figure.h"
#include "tests/bench/RunWatch.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeRunsWindow.h"
#include "tests/support/FakeSettingsForm.h"
#include "tests/support/SystemLine.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::bench {

template <class Condition>
void Await(Condition&& condition,
           std::chrono::microseconds pause = std::chrono::microseconds(100)) {
  while (!condition()) std::this_thread::sleep_for(pause);
}

/// Starts a simulated scanner that holds `records` records. The scanner is never destroyed.
/// @param speed    line speed in bit/s; 0: unlimited
/// @param latency  time from the last byte of a command to the first byte of its answer
inline simulator::Simulator& StartScanner(std::size_t records, std::uint64_t speed,
                                          std::chrono::milliseconds latency = {}) {
  simulator::Options options;
  options.speed = speed;
  options.latency = latency;
  options.device.records = simulator::StockTaking(records, simulator::Model::kOlder);
  auto& scanner = *new simulator::Simulator(options);
  scanner.Start();
  return scanner;
}

/// The program without its window, connected to a simulated scanner over a pseudo-terminal. Its
/// parts are never destroyed, because the threads of a session use them until the process ends.
class WholeProgram {
 public:
  /// @param burst    true: all records in one transfer; false: record by record
  /// @param archive  path of the archive folder; empty: a folder in the temporary folder
  WholeProgram(simulator::Simulator& scanner, SystemLog& log, bool burst = true,
               const std::string& archive = {})
      : application_(*new QuilletAppDelegate(log, queue_)),
        controller_(*new SyncController(
            Platform{log, clock_, test::SystemLine(), files_, queue_, registry_, workspace_,
                     panels_, ticker_, keyEvents_, pasteboard_, applications_},
            MainWindowControls{view_, ports_, item_, item_, item_, item_, item_, strip_}, form_,
            runs_,
            Paths{folder_ / "QuilletData", archive.empty() ? folder_ / "Archive" : archive})) {
    registry_.Attach("usbmodem1", scanner.Path());
    application_.setWindow(&window_);
    application_.setSyncController(&controller_);
    application_.applicationDidFinishLaunching();
    Await([&] { return bool{controller_.bIsConnected} && !controller_.bConnecting; });
    controller_.lumet->bBurstSync = burst;
  }
  WholeProgram(const WholeProgram&) = delete;
  WholeProgram& operator=(const WholeProgram&) = delete;

  void StartRun() {
    queue_.RunAll();
    view_.SetText("");
    controller_.synchronizeButton();
  }

  /// Number of records that the current run has delivered.
  std::int32_t records() const { return controller_.barcodeCount; }

  /// Sends the session's callbacks to `watch`, which must outlive the program.
  void setWatch(RecordWatch& watch) { controller_.lumet->setDelegate(&watch); }
  LumetDelegate& owner() { return controller_; }
  SyncController& controller() { return controller_; }

  /// Turns the archive on or off for later runs. Returns the watch that measures these runs.
  const ArchiveWatch& WatchArchive(bool archived) {
    auto& watch = *new ArchiveWatch(archived ? controller_.lumet->archive() : nullptr);
    controller_.lumet->setArchive(&watch);
    return watch;
  }

  void AwaitEndOfRun() {
    Await(
        [&] {
          queue_.RunAll();
          return view_.text().find("Synchronization finished") != std::string::npos;
        },
        std::chrono::milliseconds(1));
  }

 private:
  test::TemporaryFolder& folder_ = *new test::TemporaryFolder;
  platform::posix::PosixClock& clock_ = *new platform::posix::PosixClock;
  platform::posix::PosixFileStore& files_ = *new platform::posix::PosixFileStore;
  test::FakeMainQueue& queue_ = *new test::FakeMainQueue;
  test::FakeRegistry& registry_ = *new test::FakeRegistry;
  test::FakeWorkspace& workspace_ = *new test::FakeWorkspace;
  test::FakePanels& panels_ = *new test::FakePanels;
  test::FakeTicker& ticker_ = *new test::FakeTicker;
  test::FakeStatusDisplay& strip_ = *new test::FakeStatusDisplay;
  test::FakeSettingsForm& form_ = *new test::FakeSettingsForm;
  test::FakeRunsWindow& runs_ = *new test::FakeRunsWindow;
  test::FakeKeyEvents& keyEvents_ = *new test::FakeKeyEvents;
  test::FakePasteboard& pasteboard_ = *new test::FakePasteboard;
  test::FakeApplications& applications_ = *new test::FakeApplications;
  test::FakeTextView& view_ = *new test::FakeTextView;
  test::FakePopUpList& ports_ = *new test::FakePopUpList;
  test::FakeToolbarItem& item_ = *new test::FakeToolbarItem("");
  test::FakeWindow& window_ = *new test::FakeWindow;
  QuilletAppDelegate& application_;
  SyncController& controller_;
};

}  // namespace quillet::bench
