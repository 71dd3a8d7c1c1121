// Usage: list_bench ROUNDS
//
// Opens the "Earlier synchronizations" window with 100 runs of 2 MB in the archive, and saves the
// newest run. That run was interrupted, so its lines are composed again for the preview and the
// file. For each round, prints in milliseconds:
//   list            time until the window shows all runs and the preview; baseline: reading the
//                   same files once
//   list-turn       longest processor time of a main loop pass, from opening the window to saving
//                   the run; baseline: the duration of a frame at 60 Hz

#include <unistd.h>

#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFileStore.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtRunsWindow.h"
#include "simulator/RecordGenerator.h"
#include "tests/bench/Figure.h"
#include "tests/bench/Pulse.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeSettingsForm.h"
#include "tests/support/SystemLine.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace quillet;
using bench::Clock;

constexpr int kRuns = 100;
constexpr std::size_t kRunSize = 2'000'000;

// Creates the files of the archive.
void PutRuns(const std::string& folder) {
  std::string burst;
  while (burst.size() < kRunSize) {
    for (const auto& record : simulator::StockTaking(5000, simulator::Model::kOlder)) {
      const auto bytes = Encode(record, simulator::Model::kOlder);
      burst.append(bytes.begin(), bytes.end());
    }
  }
  std::string lines;
  while (lines.size() < kRunSize) lines += "4006381333931\r\n";
  for (int run = 0; run < kRuns; ++run) {
    char time[32];
    std::snprintf(time, sizeof time, "%02d:%02d:00", run / 60, run % 60);
    char name[64];
    std::snprintf(name, sizeof name, "/20261116_%02d%02d00_2104005771", run / 60, run % 60);
    const std::string records =
        std::string("quillet-archive 1\ntime 2026-11-16 ") + time +
        "\nscanner 2104005771\nfirmware 1\nlayout older\nsettings 10001101100100\n"
        "destination 1 \nburst " +
        std::to_string(burst.size()) + "\n" + burst + "\n" +
        (run + 1 < kRuns ? "end complete 2026-11-16 03:00:00\n" : "");
    test::PutFile(folder + name + ".records", records);
    test::PutFile(folder + name + ".txt", lines);
  }
}

/// The program with only the window "Earlier synchronizations". Never destroyed, because its
/// threads keep running.
class Program {
 public:
  Program(platform::MainQueue& queue, QWidget& parent, const test::TemporaryFolder& folder)
      : window_(*new platform::qt::QtRunsWindow(parent)),
        application_(*new QuilletAppDelegate(log_, queue)),
        controller_(*new SyncController(
            Platform{log_, clock_, test::SystemLine(), files_, queue, registry_, workspace_,
                     panels_, ticker_, keyEvents_, pasteboard_, applications_},
            MainWindowControls{view_, ports_, item_, item_, item_, item_, earlier_, progress_},
            form_, window_, Paths{folder / "QuilletData", folder / "Archive"})) {
    application_.setWindow(&mainWindow_);
    application_.setSyncController(&controller_);
    application_.applicationDidFinishLaunching();
    panels_.answer = folder / "saved.txt";
  }

  void OpenList() { earlier_.Press(); }
  bool IsListed() {
    return window_.findChild<QTreeWidget*>()->topLevelItemCount() == kRuns &&
           !window_.findChild<QPlainTextEdit*>()->document()->isEmpty();
  }
  void Save() {
    for (auto* button : window_.findChildren<QPushButton*>()) {
      if (button->text() == QStringLiteral("&Save as…")) button->click();
    }
  }
  bool IsSaved() {
    for (const auto* label : window_.findChildren<QLabel*>()) {
      if (label->text().startsWith(QStringLiteral("Saved: "))) return true;
    }
    return false;
  }
  void Hide() { window_.runsWindow().Close(); }

 private:
  NoLog& log_ = *new NoLog;
  platform::posix::PosixClock clock_;
  platform::posix::PosixFileStore files_;
  test::FakeRegistry registry_;
  test::FakeWorkspace workspace_;
  test::FakePanels panels_;
  test::FakeTicker ticker_;
  test::FakeStatusDisplay progress_;
  test::FakeSettingsForm form_;
  test::FakeKeyEvents keyEvents_;
  test::FakePasteboard pasteboard_;
  test::FakeApplications applications_;
  test::FakeTextView view_;
  test::FakePopUpList ports_;
  test::FakeToolbarItem item_{""};
  test::FakeToolbarItem earlier_{""};
  test::FakeWindow mainWindow_;
  platform::qt::QtRunsWindow& window_;
  QuilletAppDelegate& application_;
  SyncController& controller_;
};

template <class Condition>
void Spin(Condition&& condition) {
  while (!condition()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

double ReadOnce(const std::string& folder) {
  platform::posix::PosixFileStore files;
  const auto start = Clock::now();
  for (const auto& entry : files.List(folder)) {
    if (entry.name.ends_with(".records")) files.Read(folder + "/" + entry.name, 10 * kRunSize);
  }
  return bench::Milliseconds(Clock::now() - start);
}

void Measure(int rounds, const test::TemporaryFolder& folder) {
  constexpr double kFrame = 16;
  const std::string archive = folder / "Archive";
  std::filesystem::create_directory(archive);
  PutRuns(archive);
  platform::qt::QtMainQueue queue;
  QWidget parent;
  parent.show();
  bench::Pulse pulse;
  for (int round = 0; round < rounds; ++round) {
    auto& program = *new Program(queue, parent, folder);
    QCoreApplication::processEvents();
    pulse.Reset();
    const auto start = Clock::now();
    program.OpenList();
    Spin([&] { return program.IsListed(); });
    const auto listed = Clock::now();
    program.Save();
    Spin([&] { return program.IsSaved(); });
    bench::PrintFigure("list", bench::Milliseconds(listed - start), ReadOnce(archive));
    bench::PrintFigure("list-turn", pulse.longestBusy(), kFrame);
    program.Hide();
  }
}

}  // namespace

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  {
    const test::TemporaryFolder folder;
    Measure(argc > 1 ? std::atoi(argv[1]) : 1, folder);
  }
  _exit(0);  // skips destructors, because the programs' threads are still running
}
