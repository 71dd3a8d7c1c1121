#include "simulator/FaultInjector.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace quillet::simulator {
namespace {

bool Matches(const std::string& rule, const std::string& command) {
  if (rule == "any" || rule == command) return true;
  return (rule == "p" || rule == "w") && command.front() == rule.front();
}

/// The value of the counter that the trigger watches, 0 for a trigger that watches none.
std::uint64_t Watched(FaultTrigger trigger, const LineCounters& counters) {
  switch (trigger) {
    case FaultTrigger::kBytesSent:
      return counters.sent;
    case FaultTrigger::kBytesReceived:
      return counters.received;
    case FaultTrigger::kBytesBothWays:
      return counters.sent + counters.received;
    case FaultTrigger::kCommand:
    case FaultTrigger::kTime:
      break;
  }
  return 0;
}

bool CountsSentBytes(FaultTrigger trigger) {
  return trigger == FaultTrigger::kBytesSent || trigger == FaultTrigger::kBytesBothWays;
}

Bytes::iterator At(Bytes& bytes, std::uint64_t position) {
  const auto offset = std::min<std::uint64_t>(position, bytes.size());
  return bytes.begin() + static_cast<std::ptrdiff_t>(offset);
}

void OverwriteLength(Bytes& answer, std::uint64_t length, CommandKind kind) {
  // The answer to a request for one record has a lead byte in front of its length.
  const std::size_t offset = kind == CommandKind::kSendOneRecord ? 1 : 0;
  if (answer.size() < offset + 3) return;
  Bytes field;
  AppendBigEndian(field, static_cast<std::uint32_t>(length), 3);
  std::copy(field.begin(), field.end(), answer.begin() + static_cast<std::ptrdiff_t>(offset));
}

void EditAnswer(const Fault& fault, CommandKind kind, Bytes& answer) {
  switch (fault.action) {
    case FaultAction::kBefore:
      answer.insert(answer.begin(), fault.bytes.begin(), fault.bytes.end());
      break;
    case FaultAction::kWithin:
      answer.insert(At(answer, fault.number), fault.bytes.begin(), fault.bytes.end());
      break;
    case FaultAction::kAfter:
      Append(answer, fault.bytes);
      break;
    case FaultAction::kLength:
      OverwriteLength(answer, fault.number, kind);
      break;
    case FaultAction::kTruncate:
      answer.erase(At(answer, fault.number), answer.end());
      break;
    case FaultAction::kLose: {
      const auto first = At(answer, fault.number);
      const auto left = static_cast<std::uint64_t>(answer.end() - first);
      answer.erase(first, first + static_cast<std::ptrdiff_t>(std::min(fault.count, left)));
      break;
    }
    default:
      break;
  }
}

}  // namespace

void FaultInjector::Arm(Fault fault, const LineCounters& counters, Time now) {
  Armed armed;
  armed.at_bytes = fault.after_bytes + Watched(fault.trigger, counters);
  if (fault.trigger == FaultTrigger::kTime) armed.due = now + fault.after;
  armed.fault = std::move(fault);
  armed_.push_back(std::move(armed));
}

void FaultInjector::RestartCounting() {
  for (Armed& armed : armed_) armed.at_bytes = armed.fault.after_bytes;
}

std::vector<Fault> FaultInjector::OnCommand(const std::string& command) {
  std::vector<Fault> faults;
  for (Armed& armed : armed_) {
    const Fault& fault = armed.fault;
    if (fault.trigger != FaultTrigger::kCommand || !Matches(fault.command, command)) continue;
    armed.occurrences += 1;
    const bool holds = fault.and_later ? armed.occurrences >= fault.occurrence
                                       : armed.occurrences == fault.occurrence;
    if (holds) faults.push_back(fault);
  }
  return faults;
}

std::vector<Fault> FaultInjector::TakeDue(const LineCounters& counters, Time now) {
  std::vector<Fault> due;
  std::erase_if(armed_, [&](const Armed& armed) {
    const FaultTrigger trigger = armed.fault.trigger;
    if (trigger == FaultTrigger::kCommand) return false;
    const bool is_due = trigger == FaultTrigger::kTime
                            ? now >= armed.due
                            : Watched(trigger, counters) >= armed.at_bytes;
    if (is_due) due.push_back(armed.fault);
    return is_due;
  });
  return due;
}

std::uint64_t FaultInjector::SendableBefore(const LineCounters& counters) const {
  std::uint64_t sendable = std::numeric_limits<std::uint64_t>::max();
  for (const Armed& armed : armed_) {
    if (!CountsSentBytes(armed.fault.trigger)) continue;
    const std::uint64_t passed = Watched(armed.fault.trigger, counters);
    if (armed.at_bytes > passed) sendable = std::min(sendable, armed.at_bytes - passed);
  }
  return sendable;
}

Time FaultInjector::NextTime() const {
  Time next = Time::max();
  for (const Armed& armed : armed_) next = std::min(next, armed.due);
  return next;
}

void ApplyFaults(const std::vector<Fault>& faults, CommandKind kind, AnswerPlan& plan) {
  for (const Fault& fault : faults) {
    switch (fault.action) {
      case FaultAction::kSilence:
        plan.answer.reset();
        break;
      case FaultAction::kDelay:
        plan.delay += fault.duration;
        break;
      case FaultAction::kChunks:
        plan.chunk_size = fault.number;
        plan.chunk_pause = fault.duration;
        break;
      case FaultAction::kAnswer:
        plan.answer = fault.bytes;
        break;
      default:
        if (plan.answer) EditAnswer(fault, kind, *plan.answer);
    }
  }
}

}  // namespace quillet::simulator
