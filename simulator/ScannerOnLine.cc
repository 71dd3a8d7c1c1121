#include "simulator/ScannerOnLine.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace quillet::simulator {
namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

/// A pseudo-terminal does not say when its other end is opened: it is looked at so often.
constexpr milliseconds kPortLook{2};
/// A device node that has gone is tried again so often.
constexpr milliseconds kNodeLook{100};
/// A full buffer is tried again so often, besides when poll(2) says so.
constexpr milliseconds kFullLook{5};
/// Before a fault pulls the cable, the computer gets so long to take what was sent.
constexpr milliseconds kCutPatience{1000};
constexpr microseconds kCutLook{100};

std::unique_ptr<Endpoint> MakeEndpoint(const Options& options) {
  if (!options.device_node.empty()) return MakeDeviceNode(options.device_node, options.speed);
  return MakePseudoTerminal(options.terminal_mode);
}

}  // namespace

ScannerOnLine::ScannerOnLine(const Options& options, Transcript& transcript)
    : options_(options),
      transcript_(transcript),
      device_(options.device, [] { return Clock::now().time_since_epoch(); }),
      endpoint_(MakeEndpoint(options)),
      link_(options.link_path),
      output_(options.speed) {}

void ScannerOnLine::Begin(Time now) {
  Plug(now);
  if (std::exchange(begun_, true)) return;
  for (const Fault& fault : options_.faults) AddFault(fault, now);
}

void ScannerOnLine::Plug(Time now) {
  if (plugged_) return;
  replug_at_.reset();
  endpoint_->Open();
  try {
    link_.PointTo(endpoint_->path());
  } catch (...) {
    endpoint_->Close();
    throw;
  }
  plugged_ = true;
  counters_ = {};
  faults_.RestartCounting();
  transcript_.AddEvent(now, "plugged in: " + endpoint_->path());
}

void ScannerOnLine::Unplug(Time now) {
  replug_at_.reset();
  PullOut(now, "unplugged");
}

void ScannerOnLine::Scan(const ScanRecord& record, Time now) {
  output_.Append(device_.Scan(record), now);
}

void ScannerOnLine::AddFault(Fault fault, Time now) {
  faults_.Arm(std::move(fault), counters_, now);
}

void ScannerOnLine::TakeTurn(Time now) {
  if (cutting_) {
    FinishCut(now);
    return;
  }
  LetFaultsHappen(now);
  if (replug_at_ && now >= *replug_at_) PlugIfPossible(now);
  if (plugged_ && endpoint_->descriptor() < 0) OpenAgain(now);
  // An opening comes before what is received, a closing behind it.
  if (!port_open_) FollowPort(now);
  if (endpoint_->descriptor() >= 0) ReceiveAll(now);
  FollowPort(now);
  SendDue(now);
}

ScannerOnLine::Waiting ScannerOnLine::Wait(Time now) const {
  if (cutting_) return {-1, 0, now + kCutLook};
  Waiting waiting;
  waiting.until = std::min(faults_.NextTime(), replug_at_.value_or(Time::max()));
  if (!receiver_full_) waiting.until = std::min(waiting.until, output_.NextDue());
  if (!plugged_) return waiting;
  if (endpoint_->descriptor() < 0) {
    waiting.until = std::min<Time>(waiting.until, now + kNodeLook);
  } else if (!port_open_) {
    waiting.until = std::min<Time>(waiting.until, now + kPortLook);
  } else {
    waiting.descriptor = endpoint_->descriptor();
    waiting.events = POLLIN;
    if (receiver_full_) {
      waiting.events |= POLLOUT;
      waiting.until = std::min<Time>(waiting.until, now + kFullLook);
    }
  }
  return waiting;
}

void ScannerOnLine::PlugIfPossible(Time now) {
  try {
    Plug(now);
  } catch (const std::system_error& error) {
    replug_at_.reset();
    transcript_.AddEvent(now, std::string("cannot be plugged in: ") + error.what());
  }
}

void ScannerOnLine::ScanIfPossible(const Fault& fault, Time now) {
  const auto symbology = static_cast<std::uint8_t>(fault.number);
  try {
    Scan({symbology, fault.bytes, device_.clock(), std::nullopt}, now);
  } catch (const std::length_error& error) {
    transcript_.AddEvent(now, std::string("cannot be scanned: ") + error.what());
  }
}

void ScannerOnLine::OpenAgain(Time now) {
  try {
    endpoint_->Open();
    transcript_.AddEvent(now, "line opened again");
  } catch (const std::system_error&) {
    // Still gone; the next look is in kNodeLook.
  }
}

void ScannerOnLine::ReceiveAll(Time now) {
  std::array<std::uint8_t, 4096> buffer;
  while (!cutting_ && endpoint_->descriptor() >= 0) {
    const Endpoint::Transfer transfer = endpoint_->Read(buffer);
    const auto bytes = std::span{buffer}.first(transfer.count);
    std::size_t taken = 0;
    while (taken < bytes.size() && !cutting_ && plugged_) {
      ReceiveByte(bytes[taken], now);
      taken += 1;
    }
    transcript_.Add(now, Direction::kReceived,
                    Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken)));
    if (transfer.hung_up && ServesNode()) HangUp(now, "line hung up");
    if (transfer.count == 0) return;
  }
}

void ScannerOnLine::ReceiveByte(std::uint8_t byte, Time now) {
  counters_.received += 1;
  if (const auto command = device_.Receive(byte)) Answer(*command, now);
  LetFaultsHappen(now);
}

void ScannerOnLine::Answer(const Command& command, Time now) {
  const std::vector<Fault> faults = faults_.OnCommand(command.text);
  for (const Fault& fault : faults) {
    if (fault.action == FaultAction::kUnplug) {
      BeginCut(fault.replug, now);
      return;
    }
    if (fault.action == FaultAction::kIgnore) return;
  }
  AnswerPlan plan{device_.Execute(command), {}, options_.chunk_size, options_.chunk_pause};
  ApplyFaults(faults, command.kind, plan);
  QueueAnswer(plan, now + options_.latency + plan.delay);
}

void ScannerOnLine::QueueAnswer(const AnswerPlan& plan, Time begin) {
  if (!plan.answer) return;
  const Bytes& answer = *plan.answer;
  if (plan.chunk_size == 0) {
    output_.Append(answer, begin);
    return;
  }
  for (std::size_t at = 0; at < answer.size(); at += plan.chunk_size) {
    const std::size_t size = std::min(plan.chunk_size, answer.size() - at);
    const auto first = answer.begin() + static_cast<std::ptrdiff_t>(at);
    output_.Append(Bytes(first, first + static_cast<std::ptrdiff_t>(size)), begin,
                   at == 0 ? Duration::zero() : plan.chunk_pause);
  }
}

void ScannerOnLine::FollowPort(Time now) {
  const bool open = plugged_ && endpoint_->IsPortOpen();
  if (open == port_open_) return;
  port_open_ = open;
  receiver_full_ = false;
  transcript_.AddEvent(now, open ? "port opened" : "port closed");
  if (open || !plugged_) return;
  // As a driver does when its port is closed for the last time.
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
    LetFaultsHappen(now);
  }
}

/// False when the receiver takes no more for the moment.
bool ScannerOnLine::SendSome(std::span<const std::uint8_t> bytes, Time now) {
  if (!port_open_) {
    lost_bytes_ += bytes.size();
    output_.Consume(bytes.size(), now);
    return true;
  }
  const Endpoint::Transfer transfer = endpoint_->Write(bytes);
  counters_.sent += transfer.count;
  transcript_.Add(
      now, Direction::kSent,
      Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(transfer.count)));
  output_.Consume(transfer.count, now);
  if (transfer.hung_up && ServesNode()) {
    HangUp(now, "line hung up");
    return false;
  }
  receiver_full_ = transfer.count < bytes.size();
  if (receiver_full_) output_.Stall(now);
  return !receiver_full_;
}

void ScannerOnLine::LetFaultsHappen(Time now) {
  for (const Fault& fault : faults_.TakeDue(counters_, now)) LetHappen(fault, now);
}

void ScannerOnLine::LetHappen(const Fault& fault, Time now) {
  switch (fault.action) {
    case FaultAction::kUnplug:
      BeginCut(fault.replug, now);
      break;
    case FaultAction::kPlug:
      PlugIfPossible(now);
      break;
    case FaultAction::kSend:
      output_.InsertNow(fault.bytes, now);
      break;
    case FaultAction::kPause:
      output_.HoldUntil(now + fault.duration);
      break;
    case FaultAction::kLose:
      output_.Drop(fault.number);
      break;
    case FaultAction::kScan:
      ScanIfPossible(fault, now);
      break;
    default:
      break;  // the others belong to a command
  }
}

void ScannerOnLine::BeginCut(std::optional<std::chrono::nanoseconds> replug, Time now) {
  if (!plugged_ || cutting_) return;
  output_.Clear();
  cutting_ = Cut{now + kCutPatience, replug};
}

/// The cable is pulled at an exact byte. A hang-up destroys what the computer has not read yet, so
/// it waits until that is read; nothing is received or sent meanwhile.
void ScannerOnLine::FinishCut(Time now) {
  if (endpoint_->HasUnreadOutput() && now < cutting_->deadline) return;
  const Cut cut = *std::exchange(cutting_, std::nullopt);
  PullOut(now, "unplugged by a fault");
  if (cut.replug) replug_at_ = now + *cut.replug;
}

void ScannerOnLine::HangUp(Time now, std::string_view reason) {
  transcript_.AddEvent(now, reason);
  endpoint_->Close();
  output_.Clear();
  device_.ForgetUnfinishedCommand();
  receiver_full_ = false;
}

void ScannerOnLine::PullOut(Time now, std::string_view reason) {
  if (!plugged_) return;
  plugged_ = false;
  cutting_.reset();
  // First the link: who looks for a path after the hang-up must not find the old one.
  link_.Remove();
  HangUp(now, reason);
  FollowPort(now);
}

}  // namespace quillet::simulator
