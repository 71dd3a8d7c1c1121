#include "simulator/ScannerOnLine.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

namespace quillet::simulator {
namespace {

using std::chrono::milliseconds;

// A pseudo-terminal does not report when its port is opened, so the port is checked at this
// interval.
constexpr milliseconds kPortPoll{2};
// Interval between attempts to open a device node that does not exist.
constexpr milliseconds kNodePoll{100};
// While the buffer is full, sending is retried after this time or when poll(2) reports an event.
constexpr milliseconds kFullPoll{5};
// Maximum time to wait for the computer to read all bytes before the cable is pulled.
constexpr milliseconds kCutTimeout{1000};
constexpr std::chrono::microseconds kCutPoll{100};

template <class Span>
Bytes CopyOf(Span bytes) {
  return Bytes(bytes.begin(), bytes.end());
}

}  // namespace

ScannerOnLine::ScannerOnLine(const Options& options, Transcript& transcript)
    : options_(options),
      transcript_(transcript),
      device_(options.device, [] { return Clock::now().time_since_epoch(); }),
      endpoint_(options.deviceNode.empty() ? MakePseudoTerminal(options.terminalMode)
                                           : MakeDeviceNode(options.deviceNode, options.speed)),
      link_(options.linkPath),
      output_(options.speed) {}

void ScannerOnLine::Plug(Time now) {
  if (plugged_) return;
  replugAt_.reset();
  endpoint_->Open();
  try {
    link_.PointTo(endpoint_->Path());
  } catch (...) {
    endpoint_->Close();
    throw;
  }
  plugged_ = true;
  counters_ = {};
  faults_.RestartCounting();
  transcript_.AddEvent(now, "plugged in: " + endpoint_->Path());
  if (std::exchange(begun_, true)) return;
  for (const Fault& fault : options_.faults) AddFault(fault, now);
}

void ScannerOnLine::Unplug(Time now) {
  replugAt_.reset();
  PullOut(now, "unplugged");
}

void ScannerOnLine::TakeTurn(Time now) {
  if (cutting_) {
    FinishCut(now);
    return;
  }
  TriggerFaults(now);
  if (replugAt_ && now >= *replugAt_) {
    Attempt("could not plug in the scanner: ", now, [&] { Plug(now); });
  }
  if (plugged_ && !HasLine()) {
    try {
      endpoint_->Open();
      transcript_.AddEvent(now, "line reopened");
    } catch (const std::system_error&) {  // the device node still does not exist
    }
  }
  // The transcript shows "port opened" before the first bytes and "port closed" after the last.
  if (!portOpen_) FollowPort(now);
  if (HasLine()) ReceiveAll(now);
  FollowPort(now);
  SendDue(now);
}

ScannerOnLine::Waiting ScannerOnLine::Wait(Time now) const {
  if (cutting_) return {-1, 0, now + kCutPoll};
  Waiting waiting;
  waiting.until = std::min(faults_.NextTime(), replugAt_.value_or(Time::max()));
  if (!receiverFull_) waiting.until = std::min(waiting.until, output_.NextDue());
  if (!plugged_) return waiting;
  if (!HasLine()) {
    waiting.until = std::min<Time>(waiting.until, now + kNodePoll);
  } else if (!portOpen_) {
    waiting.until = std::min<Time>(waiting.until, now + kPortPoll);
  } else {
    waiting.descriptor = endpoint_->Descriptor();
    waiting.events = POLLIN;
    if (receiverFull_) {
      waiting.events |= POLLOUT;
      waiting.until = std::min<Time>(waiting.until, now + kFullPoll);
    }
  }
  return waiting;
}

void ScannerOnLine::ReceiveAll(Time now) {
  std::array<std::uint8_t, 4096> buffer;
  while (!cutting_ && HasLine()) {
    const Endpoint::Transfer transfer = endpoint_->Read(buffer);
    std::size_t taken = 0;
    while (taken < transfer.count && !cutting_ && plugged_) ReceiveByte(buffer[taken++], now);
    transcript_.Add(now, Direction::kReceived, CopyOf(std::span(buffer).first(taken)));
    if (transfer.hungUp && !options_.deviceNode.empty()) HangUp(now, "line hung up");
    if (transfer.count == 0) return;
  }
}

void ScannerOnLine::ReceiveByte(std::uint8_t byte, Time now) {
  counters_.received += 1;
  if (const auto command = device_.Receive(byte)) Answer(*command, now);
  TriggerFaults(now);
}

void ScannerOnLine::Answer(const Command& command, Time now) {
  const std::vector<Fault> faults = faults_.OnCommand(command.text);
  for (const Fault& fault : faults) {
    if (fault.action == FaultAction::kUnplug) BeginCut(fault.replug, now);
    if (fault.action == FaultAction::kUnplug || fault.action == FaultAction::kIgnore) return;
  }
  AnswerPlan plan{device_.Execute(command)};
  ApplyFaults(faults, command.kind, plan);
  QueueAnswer(plan, now + options_.latency + plan.delay);
}

void ScannerOnLine::QueueAnswer(const AnswerPlan& plan, Time begin) {
  if (!plan.answer) return;
  std::span<const std::uint8_t> rest = *plan.answer;
  Duration pause{0};
  while (!rest.empty()) {
    const std::size_t size =
        plan.chunkSize == 0 ? rest.size() : std::min(plan.chunkSize, rest.size());
    output_.Append(CopyOf(rest.first(size)), begin, pause);
    rest = rest.subspan(size);
    pause = plan.chunkPause;
  }
}

void ScannerOnLine::FollowPort(Time now) {
  const bool open = plugged_ && endpoint_->IsPortOpen();
  if (open == portOpen_) return;
  portOpen_ = open;
  receiverFull_ = false;
  transcript_.AddEvent(now, open ? "port opened" : "port closed");
  if (open || !plugged_) return;
  // Discards unread output, as a serial driver does when the port's last descriptor is closed.
  endpoint_->DiscardOutput();
  device_.ForgetUnfinishedCommand();
}

void ScannerOnLine::SendDue(Time now) {
  while (!cutting_) {
    const auto due = output_.Due(now);
    if (due.empty()) return;
    const auto sendable = static_cast<std::size_t>(
        std::min<std::uint64_t>(due.size(), faults_.SendableBefore(counters_)));
    if (!SendSome(due.first(sendable), now)) return;
    TriggerFaults(now);
  }
}

/// Sends bytes, or drops them if the port is closed.
/// @return false if the receiver's buffer is full or the line has hung up.
bool ScannerOnLine::SendSome(std::span<const std::uint8_t> bytes, Time now) {
  if (!portOpen_) {
    counters_.lost += bytes.size();
    output_.Consume(bytes.size(), now);
    return true;
  }
  const Endpoint::Transfer transfer = endpoint_->Write(bytes);
  counters_.sent += transfer.count;
  transcript_.Add(now, Direction::kSent, CopyOf(bytes.first(transfer.count)));
  receiverFull_ = transfer.count < bytes.size();
  output_.Consume(transfer.count, now);
  if (transfer.hungUp && !options_.deviceNode.empty()) {
    HangUp(now, "line hung up");
    return false;
  }
  if (receiverFull_) output_.Stall(now);
  return !receiverFull_;
}

void ScannerOnLine::TriggerFaults(Time now) {
  for (const Fault& fault : faults_.TakeDue(counters_, now)) Trigger(fault, now);
}

void ScannerOnLine::Trigger(const Fault& fault, Time now) {
  switch (fault.action) {
    case FaultAction::kUnplug:
      BeginCut(fault.replug, now);
      break;
    case FaultAction::kPlug:
      Attempt("could not plug in the scanner: ", now, [&] { Plug(now); });
      break;
    case FaultAction::kSend:
      output_.InsertNow(fault.bytes, now);
      break;
    case FaultAction::kPause:
      output_.HoldUntil(now + fault.duration);
      break;
    case FaultAction::kLose:
      output_.Drop(fault.count);
      break;
    case FaultAction::kScan:
      Attempt("could not scan: ", now, [&] {
        const auto symbology = static_cast<std::uint8_t>(fault.number);
        Scan({symbology, fault.bytes, device_.ClockNow()}, now);
      });
      break;
    default:
      break;  // the other actions apply to answers
  }
}

void ScannerOnLine::Attempt(std::string_view failure, Time now,
                            const std::function<void()>& action) {
  try {
    action();
  } catch (const std::exception& error) {
    transcript_.AddEvent(now, std::string(failure) + error.what());
  }
}

void ScannerOnLine::BeginCut(std::optional<std::chrono::nanoseconds> replug, Time now) {
  if (!plugged_ || cutting_) return;
  output_.Clear();
  cutting_ = Cut{now + kCutTimeout, replug};
}

/// Pulls the cable after the computer has read all sent bytes, because a hang-up discards unread
/// bytes. Until then, nothing is sent or received.
void ScannerOnLine::FinishCut(Time now) {
  if (endpoint_->HasUnreadOutput() && now < cutting_->deadline) return;
  const Cut cut = *std::exchange(cutting_, std::nullopt);
  PullOut(now, "unplugged by a fault rule");
  if (cut.replug) replugAt_ = now + *cut.replug;
}

void ScannerOnLine::HangUp(Time now, std::string_view reason) {
  transcript_.AddEvent(now, reason);
  endpoint_->Close();
  output_.Clear();
  device_.ForgetUnfinishedCommand();
  receiverFull_ = false;
}

void ScannerOnLine::PullOut(Time now, std::string_view reason) {
  if (!plugged_) return;
  plugged_ = false;
  cutting_.reset();
  // The link is removed first: a program that looks for the port after the hang-up must not find
  // the link.
  link_.Remove();
  HangUp(now, reason);
  FollowPort(now);
}

}  // namespace quillet::simulator
