// A burst of 20,000 records to a file, through the whole program but for its window, over a
// pseudo-terminal: how long it takes beside what the line and the fixed polls take by themselves.
//
// Usage: run_bench [RECORDS]

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "app/QuilletAppDelegate.h"
#include "app/SyncController.h"
#include "platform/posix/PosixClock.h"
#include "platform/posix/PosixFileStore.h"
#include "platform/posix/SyslogLog.h"
#include "simulator/RecordGenerator.h"
#include "simulator/Simulator.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/FakeSettingsWindow.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace quillet;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration duration) {
  return std::chrono::duration<double>(duration).count();
}

template <class Condition>
void Await(Condition&& condition) {
  while (!condition()) std::this_thread::sleep_for(100us);
}

// How long `bytes` take from one end of a pseudo-terminal to the other by the same poll, and
// nothing else: 200 microseconds of sleep and a read.
double BarePoll(std::size_t bytes) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  grantpt(master);
  unlockpt(master);
  const int line = open(ptsname(master), O_RDONLY | O_NOCTTY | O_NONBLOCK);
  termios settings{};
  tcgetattr(line, &settings);
  cfmakeraw(&settings);
  tcsetattr(line, TCSANOW, &settings);
  std::thread sender([&] {
    const std::string block(4096, 'x');
    for (std::size_t sent = 0; sent < bytes;) {
      const ssize_t count = write(master, block.data(), std::min(block.size(), bytes - sent));
      if (count > 0) sent += static_cast<std::size_t>(count);
    }
  });
  const auto start = Clock::now();
  std::vector<char> buffer(10240);
  for (std::size_t received = 0; received < bytes;) {
    std::this_thread::sleep_for(200us);
    const ssize_t count = read(line, buffer.data(), buffer.size());
    if (count > 0) received += static_cast<std::size_t>(count);
  }
  const double taken = Seconds(Clock::now() - start);
  sender.join();
  close(line);
  close(master);
  return taken;
}

struct Run {
  double records;   // from the last byte of "P" to the last record composed
  double finished;  // from there to "Synchronization finished", behind the two closing commands
  std::size_t bytes;
};

// One whole program on one scanner.
class Bench {
 public:
  Bench(std::size_t records, std::uint64_t speed) {
    simulator::Options options = simulator::Options::Instant();
    options.speed = speed;
    options.device.records = simulator::StockTaking(records, simulator::Model::kOlder);
    scanner_ = new simulator::Simulator(options);
    scanner_->Start();
    registry_.Attach("usbmodem1", scanner_->path());
    application_.setWindow(&window_);
    application_.setSyncController(&controller_);
    application_.applicationDidFinishLaunching();
    Await([&] { return bool{controller_.bIsConnected} && !controller_.bConnecting; });
  }

  Run Synchronize() {
    const auto count = static_cast<std::int32_t>(scanner_->records().size());
    const std::size_t asked = scanner_->CountOf("P");
    queue_.RunAll();
    view_.SetText("");
    controller_.synchronizeButton();
    Await([&] { return scanner_->CountOf("P") > asked; });
    const auto start = Clock::now();
    Await([&] { return controller_.barcodeCount == count; });
    const auto composed = Clock::now();
    Await([&] {
      queue_.RunAll();
      return view_.text().find("Synchronization finished") != std::string::npos;
    });
    std::size_t bytes = 3;
    for (const auto& record : scanner_->records()) {
      bytes += Encode(record, simulator::Model::kOlder).size();
    }
    return {Seconds(composed - start), Seconds(Clock::now() - composed), bytes};
  }

 private:
  test::TemporaryFolder& folder_ = *new test::TemporaryFolder;
  platform::posix::SyslogLog& log_ = *new platform::posix::SyslogLog;
  platform::posix::PosixClock& clock_ = *new platform::posix::PosixClock;
  platform::posix::PosixFileStore& files_ = *new platform::posix::PosixFileStore;
  test::FakeMainQueue& queue_ = *new test::FakeMainQueue;
  test::FakeRegistry& registry_ = *new test::FakeRegistry;
  test::FakeWorkspace& workspace_ = *new test::FakeWorkspace;
  test::FakePanels& panels_ = *new test::FakePanels;
  test::FakeTicker& ticker_ = *new test::FakeTicker;
  test::FakeProgressDisplay& progress_ = *new test::FakeProgressDisplay;
  test::FakeSettingsWindow& choices_ = *new test::FakeSettingsWindow;
  test::FakeKeyEvents& keyEvents_ = *new test::FakeKeyEvents;
  test::FakePasteboard& pasteboard_ = *new test::FakePasteboard;
  test::FakeApplications& applications_ = *new test::FakeApplications;
  test::FakeTextView& view_ = *new test::FakeTextView;
  test::FakePopUpList& ports_ = *new test::FakePopUpList;
  test::FakeToolbarItem& item_ = *new test::FakeToolbarItem("");
  test::FakeWindow& window_ = *new test::FakeWindow;
  QuilletAppDelegate& application_ = *new QuilletAppDelegate(log_, queue_);
  SyncController& controller_ =
      *new SyncController(Platform{log_, clock_, files_, queue_, registry_, workspace_, panels_,
                                   ticker_, keyEvents_, pasteboard_, applications_},
                          MainWindowControls{view_, ports_, item_, item_, item_, item_, progress_},
                          choices_.Controls(), folder_ / "QuilletData");
  simulator::Simulator* scanner_ = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  const std::size_t records = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 20000;

  Bench unpaced(records, 0);
  for (int i = 0; i < 5; ++i) {
    const Run run = unpaced.Synchronize();
    const double bare = BarePoll(run.bytes);
    std::printf(
        "unpaced: %zu bytes; records after %.4f s, bare poll %.4f s, ratio %.2f; "
        "finished %.3f s later\n",
        run.bytes, run.records, bare, run.records / bare, run.finished);
  }

  Bench paced(records, 115200);
  const Run run = paced.Synchronize();
  const double line = static_cast<double>(run.bytes) * 10 / 115200;
  std::printf(
      "115200 bit/s: %zu bytes; records after %.3f s, the line itself %.3f s, ratio %.4f; "
      "finished %.3f s later\n",
      run.bytes, run.records, line, run.records / line, run.finished);
  std::fflush(stdout);
  _exit(0);
}
