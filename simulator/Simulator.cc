#include "simulator/Simulator.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <utility>

#include "base/UniqueFd.h"

namespace quillet::simulator {
namespace {

/// Calls poll(2) with a time-out in nanoseconds if the system supports it, otherwise in
/// milliseconds.
void PollFor(pollfd* entries, nfds_t count, Duration duration) {
#if defined(__linux__)
  const auto seconds = std::chrono::floor<std::chrono::seconds>(duration);
  const timespec timeout{static_cast<time_t>(seconds.count()),
                         static_cast<long>((duration - seconds).count())};
  ::ppoll(entries, count, &timeout, nullptr);
#else
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(duration);
  ::poll(entries, count, static_cast<int>(milliseconds.count()));
#endif
}

}  // namespace

/// Waits until a descriptor is ready or a deadline passes. Another thread can interrupt the wait.
class Alarm {
 public:
  /// Throws std::system_error if no pipe can be created.
  Alarm() {
    Pipe made = MakePipe("simulator");
    listener_ = std::move(made.reader);
    ringer_ = std::move(made.writer);
  }

  /// Ends the wait in progress, or the next one. Any thread.
  void Ring() {
    // If the pipe is full, the write fails, but the wait ends anyway.
    [[maybe_unused]] const ssize_t ignored = ::write(ringer_.Get(), "", 1);
  }

  /// Waits until poll(2) reports an event, `waiting.until` is reached, or Ring() is called.
  void Wait(const ScannerOnLine::Waiting& waiting) {
    // Limits the time-out of poll(2). Waking up early is harmless.
    constexpr std::chrono::seconds kLongest{60};
    const Time now = Clock::now();
    const Time until = std::clamp<Time>(waiting.until, now, now + kLongest);
    pollfd entries[2] = {{listener_.Get(), POLLIN, 0}, {waiting.descriptor, waiting.events, 0}};
    PollFor(entries, waiting.descriptor < 0 ? 1 : 2, until - now);

    std::array<char, 64> rings;
    while (::read(listener_.Get(), rings.data(), rings.size()) > 0) {
    }
  }

 private:
  UniqueFd listener_;
  UniqueFd ringer_;
};

Simulator::Simulator(Options options)
    : options_(std::move(options)),
      transcript_(options_.keepTranscript, options_.transcriptFile),
      alarm_(std::make_unique<Alarm>()),
      scanner_(options_, transcript_) {}

Simulator::~Simulator() {
  Stop();
}

void Simulator::Start() {
  if (thread_.joinable()) return;
  {
    const std::scoped_lock lock(mutex_);
    stopping_ = false;
    scanner_.Plug(Clock::now());
  }
  thread_ = std::thread([this] { Run(); });
}

void Simulator::Stop() {
  if (!thread_.joinable()) return;
  Change([this] {
    stopping_ = true;
    scanner_.Unplug(Clock::now());
  });
  thread_.join();
}

void Simulator::Run() {
  std::unique_lock lock(mutex_);
  while (true) {
    turned_.wait(lock, [this] { return changes_ == 0; });
    if (stopping_) return;
    const Time now = Clock::now();
    scanner_.TakeTurn(now);
    const ScannerOnLine::Waiting waiting = scanner_.Wait(now);
    turns_ += 1;
    waitingOnLine_ = true;
    turned_.notify_all();

    lock.unlock();
    alarm_->Wait(waiting);
    lock.lock();
    waitingOnLine_ = false;
    turned_.notify_all();
  }
}

/// Runs the action while the thread is not in poll(2). The thread then calls TakeTurn. A line that
/// is closed during poll(2) hangs up only when poll(2) returns.
void Simulator::Change(const std::function<void()>& action) {
  std::unique_lock lock(mutex_);
  changes_ += 1;
  alarm_->Ring();
  turned_.wait(lock, [this] { return !waitingOnLine_; });
  struct AtEnd {
    Simulator& simulator;
    ~AtEnd() {
      simulator.changes_ -= 1;
      simulator.turned_.notify_all();
    }
  } const atEnd{*this};
  action();
}

std::string Simulator::Path() const {
  if (!options_.linkPath.empty()) return options_.linkPath;
  return Ask(&ScannerOnLine::LinePath);
}

void Simulator::Scan(const ScanRecord& record) {
  Change([&] { scanner_.Scan(record, Clock::now()); });
}

void Simulator::Scan(std::uint8_t symbology, std::string_view data) {
  Change([&] {
    scanner_.Scan(MakeRecord(symbology, data, scanner_.Device().ClockNow()), Clock::now());
  });
}

void Simulator::AddFault(std::string_view rule) {
  const Fault fault = ParseFault(rule);
  Change([&] { scanner_.AddFault(fault, Clock::now()); });
}

void Simulator::SetRecords(std::vector<ScanRecord> records) {
  const std::scoped_lock lock(mutex_);
  scanner_.Device().SetRecords(std::move(records));
}

std::vector<ScanRecord> Simulator::Records() const {
  return Ask([](const ScannerOnLine& scanner) { return scanner.Device().Records(); });
}

DeviceReport Simulator::Report() const {
  return Ask([](const ScannerOnLine& scanner) { return scanner.Device().Report(); });
}

std::size_t Simulator::CountOf(std::string_view command) const {
  return Ask([&](const ScannerOnLine& scanner) {
    const auto& seen = scanner.Device().Report().commandsSeen;
    return static_cast<std::size_t>(std::count(seen.begin(), seen.end(), command));
  });
}

const Transcript& Simulator::GetTranscript() const {
  // Waits for the end of the current turn, because bytes are recorded after they have been sent.
  const std::scoped_lock lock(mutex_);
  return transcript_;
}

bool Simulator::WaitFor(const std::function<bool()>& condition, Milliseconds timeout) const {
  constexpr Milliseconds kPoll{5};  // maximum time between two checks of the condition
  const Time deadline = Clock::now() + timeout;
  std::unique_lock lock(mutex_);
  while (true) {
    const std::uint64_t turns = turns_;
    lock.unlock();
    if (condition()) return true;
    if (Clock::now() >= deadline) return false;
    lock.lock();
    const Time next = std::min<Time>(deadline, Clock::now() + kPoll);
    turned_.wait_until(lock, next, [&] { return turns_ != turns; });
  }
}

}  // namespace quillet::simulator
