#include "simulator/Simulator.h"

#include <algorithm>
#include <utility>

#include "simulator/Alarm.h"
#include "simulator/ScannerOnLine.h"

namespace quillet::simulator {

Simulator::Simulator(Options options)
    : options_(std::move(options)),
      transcript_(options_.transcript_limit, options_.transcript_file),
      alarm_(std::make_unique<Alarm>()),
      scanner_(std::make_unique<ScannerOnLine>(options_, transcript_)) {}

Simulator::~Simulator() {
  Stop();
}

void Simulator::Start() {
  if (thread_.joinable()) return;
  {
    const std::scoped_lock lock(mutex_);
    stopping_ = false;
    scanner_->Begin(Clock::now());
  }
  thread_ = std::thread([this] { Run(); });
}

void Simulator::Stop() {
  if (!thread_.joinable()) return;
  Change([this] {
    stopping_ = true;
    scanner_->Unplug(Clock::now());
  });
  thread_.join();
}

void Simulator::Run() {
  std::unique_lock lock(mutex_);
  while (true) {
    turned_.wait(lock, [this] { return changes_ == 0; });
    if (stopping_) return;
    const Time now = Clock::now();
    scanner_->TakeTurn(now);
    const ScannerOnLine::Waiting waiting = scanner_->Wait(now);
    turns_ += 1;
    waiting_on_line_ = true;
    turned_.notify_all();

    lock.unlock();
    alarm_->Wait(waiting.descriptor, waiting.events, waiting.until);
    lock.lock();
    waiting_on_line_ = false;
    turned_.notify_all();
  }
}

void Simulator::Change(const std::function<void()>& action) {
  // While the thread waits on the line it keeps the line in existence: closing it would not be seen
  // at the other end before the wait is over.
  std::unique_lock lock(mutex_);
  changes_ += 1;
  alarm_->Ring();
  turned_.wait(lock, [this] { return !waiting_on_line_; });
  struct LetGo {
    Simulator& simulator;
    ~LetGo() {
      simulator.changes_ -= 1;
      simulator.turned_.notify_all();
    }
  } const let_go{*this};
  action();
}

std::string Simulator::path() const {
  const std::scoped_lock lock(mutex_);
  return options_.link_path.empty() ? scanner_->line_path() : options_.link_path;
}

std::string Simulator::line_path() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->line_path();
}

void Simulator::Unplug() {
  Change([this] { scanner_->Unplug(Clock::now()); });
}

void Simulator::Plug() {
  Change([this] { scanner_->Plug(Clock::now()); });
}

bool Simulator::IsPlugged() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->is_plugged();
}

bool Simulator::IsPortOpen() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->is_port_open();
}

void Simulator::Scan(const ScanRecord& record) {
  Change([&] { scanner_->Scan(record, Clock::now()); });
}

void Simulator::Scan(std::uint8_t symbology, std::string_view data) {
  Change([&] {
    scanner_->Scan(MakeRecord(symbology, data, scanner_->device().clock()), Clock::now());
  });
}

void Simulator::AddFault(std::string_view rule) {
  Fault fault = ParseFault(rule);
  Change([&] { scanner_->AddFault(std::move(fault), Clock::now()); });
}

std::vector<ScanRecord> Simulator::records() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().records();
}

void Simulator::SetRecords(std::vector<ScanRecord> records) {
  const std::scoped_lock lock(mutex_);
  scanner_->device().SetRecords(std::move(records));
}

std::vector<std::string> Simulator::commands_seen() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().commands_seen();
}

std::size_t Simulator::CountOf(std::string_view command) const {
  const std::scoped_lock lock(mutex_);
  const auto& seen = scanner_->device().commands_seen();
  return static_cast<std::size_t>(std::count(seen.begin(), seen.end(), command));
}

std::vector<std::string> Simulator::complaints() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().complaints();
}

std::vector<std::string> Simulator::notes() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().notes();
}

std::size_t Simulator::erase_count() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().erase_count();
}

std::optional<CalendarTime> Simulator::clock_set_to() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().clock_set_to();
}

CalendarTime Simulator::clock() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->device().clock();
}

std::uint64_t Simulator::sent_bytes() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->counters().sent;
}

std::uint64_t Simulator::received_bytes() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->counters().received;
}

std::uint64_t Simulator::lost_bytes() const {
  const std::scoped_lock lock(mutex_);
  return scanner_->lost_bytes();
}

const Transcript& Simulator::transcript() const {
  // Bytes are written before they are noted; this waits for the turn in which that happens.
  const std::scoped_lock lock(mutex_);
  return transcript_;
}

bool Simulator::WaitFor(const std::function<bool()>& condition, Milliseconds timeout) const {
  constexpr Milliseconds kLook{5};  // for conditions that do not depend on the scanner alone
  const Time deadline = Clock::now() + timeout;
  std::unique_lock lock(mutex_);
  while (true) {
    const std::uint64_t turns = turns_;
    lock.unlock();
    if (condition()) return true;
    if (Clock::now() >= deadline) return false;
    lock.lock();
    const Time look = std::min<Time>(deadline, Clock::now() + kLook);
    turned_.wait_until(lock, look, [&] { return turns_ != turns; });
  }
}

bool Simulator::WaitForCommand(std::string_view command, std::size_t times,
                               Milliseconds timeout) const {
  return WaitFor([&] { return CountOf(command) >= times; }, timeout);
}

bool Simulator::WaitForPort(bool open, Milliseconds timeout) const {
  return WaitFor([&] { return IsPortOpen() == open; }, timeout);
}

bool Simulator::WaitForQuiet(Milliseconds timeout) const {
  return WaitFor(
      [&] {
        const std::scoped_lock lock(mutex_);
        return scanner_->is_quiet();
      },
      timeout);
}

}  // namespace quillet::simulator
