#include "simulator/Fault.h"

#include <algorithm>
#include <utility>

namespace quillet::simulator {
namespace {

bool Matches(const std::string& rule, const std::string& command) {
  if (rule == "any" || rule == command) return true;
  return (rule == "p" || rule == "w") && command.front() == rule.front();
}

bool CountsSentBytes(FaultTrigger trigger) {
  return trigger == FaultTrigger::kBytesSent || trigger == FaultTrigger::kBytesBothWays;
}

/// Returns the value of the byte counter that the trigger watches, or 0 if the trigger does not
/// count bytes.
std::uint64_t Watched(FaultTrigger trigger, const LineCounters& counters) {
  const bool countsReceived =
      trigger == FaultTrigger::kBytesReceived || trigger == FaultTrigger::kBytesBothWays;
  return (CountsSentBytes(trigger) ? counters.sent : 0) + (countsReceived ? counters.received : 0);
}

void OverwriteLength(Bytes& answer, std::uint64_t length, CommandKind kind) {
  // In the answer to "p", a start byte precedes the length.
  const std::size_t offset = kind == CommandKind::kSendOneRecord ? 1 : 0;
  if (answer.size() < offset + 3) return;
  for (std::size_t i = 0; i < 3; ++i) {
    answer[offset + i] = static_cast<std::uint8_t>(length >> (16 - 8 * i));
  }
}

void EditAnswer(const Fault& fault, CommandKind kind, Bytes& answer) {
  const auto position = std::min<std::uint64_t>(fault.number, answer.size());
  const auto first = answer.begin() + static_cast<std::ptrdiff_t>(position);
  if (fault.action == FaultAction::kInsert) {
    answer.insert(first, fault.bytes.begin(), fault.bytes.end());
  } else if (fault.action == FaultAction::kLose) {
    const auto left = static_cast<std::uint64_t>(answer.end() - first);
    answer.erase(first, first + static_cast<std::ptrdiff_t>(std::min(fault.count, left)));
  } else if (fault.action == FaultAction::kLength) {
    OverwriteLength(answer, fault.number, kind);
  }
}

}  // namespace

void FaultInjector::Arm(Fault fault, const LineCounters& counters, Time now) {
  Armed armed;
  armed.atBytes = fault.afterBytes + Watched(fault.trigger, counters);
  if (fault.trigger == FaultTrigger::kTime) armed.due = now + fault.after;
  armed.fault = std::move(fault);
  armed_.push_back(std::move(armed));
}

void FaultInjector::RestartCounting() {
  for (Armed& armed : armed_) armed.atBytes = armed.fault.afterBytes;
}

std::vector<Fault> FaultInjector::OnCommand(const std::string& command) {
  std::vector<Fault> faults;
  for (Armed& armed : armed_) {
    const Fault& fault = armed.fault;
    if (fault.trigger != FaultTrigger::kCommand || !Matches(fault.command, command)) continue;
    armed.occurrences += 1;
    const bool holds = fault.andLater ? armed.occurrences >= fault.occurrence
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
    const bool isDue = trigger == FaultTrigger::kTime ? now >= armed.due
                                                      : Watched(trigger, counters) >= armed.atBytes;
    if (isDue) due.push_back(armed.fault);
    return isDue;
  });
  return due;
}

std::uint64_t FaultInjector::SendableBefore(const LineCounters& counters) const {
  std::uint64_t sendable = Fault::kAll;
  for (const Armed& armed : armed_) {
    if (!CountsSentBytes(armed.fault.trigger)) continue;
    const std::uint64_t passed = Watched(armed.fault.trigger, counters);
    if (armed.atBytes > passed) sendable = std::min(sendable, armed.atBytes - passed);
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
        plan.chunkSize = fault.number;
        plan.chunkPause = fault.duration;
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
