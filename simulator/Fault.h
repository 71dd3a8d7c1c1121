#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Bytes.h"
#include "simulator/CommandParser.h"
#include "simulator/OutputQueue.h"

namespace quillet::simulator {

/// The event that triggers a fault. The byte count starts at 0 when the fault is armed, and
/// restarts at 0 when the cable is plugged in.
enum class FaultTrigger {
  kCommand,        ///< a command arrives ("on")
  kBytesSent,      ///< `afterBytes` bytes have been sent to the computer ("after-sent")
  kBytesReceived,  ///< `afterBytes` bytes have been received ("after-received")
  kBytesBothWays,  ///< `afterBytes` bytes have been sent and received in total ("after-bytes")
  kTime,           ///< the time `after` has passed since the fault was armed ("at")
};

/// The effect of a fault.
enum class FaultAction {
  // Only with kCommand:
  kIgnore,   ///< the command is neither executed nor answered
  kSilence,  ///< the command is executed but not answered
  kDelay,    ///< the answer is delayed by `duration`
  kChunks,   ///< the answer is sent in chunks of `number` bytes with pauses of `duration`
  kInsert,   ///< `bytes` are inserted after the first `number` bytes of the answer
  kAnswer,   ///< `bytes` replace the answer
  kLength,   ///< the length field of the answer's frame is set to `number`
  // Allowed with all triggers:
  kLose,    ///< the next `count` bytes are lost; with kCommand, the `count` bytes after the first
            ///< `number` bytes of the answer
  kUnplug,  ///< the cable is unplugged; if `replug` is set, it is plugged in again after that time
  // Not allowed with kCommand:
  kPlug,   ///< the cable is plugged in
  kSend,   ///< `bytes` are sent immediately, even in the middle of an answer
  kPause,  ///< sending stops for `duration`
  kScan,   ///< a barcode is scanned, with the symbology byte `number` and the data `bytes`
};

/// One rule of a fault script.
struct Fault {
  static constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

  FaultTrigger trigger = FaultTrigger::kCommand;
  std::string command;           ///< kCommand: the command's text; "w", "p" or "any" for a group
  std::uint64_t occurrence = 1;  ///< kCommand: number of the matching command, counted from 1
  bool andLater = true;          ///< kCommand: also applies to all later occurrences
  std::uint64_t afterBytes = 0;  ///< byte triggers: the number of bytes
  std::chrono::nanoseconds after{0};  ///< kTime: delay after the fault is armed

  FaultAction action = FaultAction::kSilence;
  std::uint64_t number = 0;
  std::uint64_t count = 1;
  std::chrono::nanoseconds duration{0};
  std::optional<std::chrono::nanoseconds> replug;
  Bytes bytes;
};

/// Parses a rule such as "on P delay 700". Throws std::invalid_argument, with a message for the
/// user, if the rule is invalid.
Fault ParseFault(std::string_view rule);

/// Parses a script with one rule per line. Ignores empty lines and comments, which begin with '#'.
/// Throws InputError.
std::vector<Fault> ParseFaults(std::string_view script);

/// The part of HelpText() about fault scripts.
extern const std::string_view kFaultHelp;

/// Byte counts since the cable was plugged in.
struct LineCounters {
  std::uint64_t sent = 0;
  std::uint64_t received = 0;
  std::uint64_t lost = 0;  ///< bytes sent while the port was closed
};

/// Holds the armed faults and applies them to commands and answers.
class FaultInjector {
 public:
  /// Adds a fault. Bytes, time and occurrences are counted from now.
  void Arm(Fault fault, const LineCounters& counters, Time now);
  /// Resets the byte counts to 0. Called when the cable is plugged in.
  void RestartCounting();
  /// Counts a received command. Returns the faults that apply to the command, in the order in which
  /// they were armed.
  std::vector<Fault> OnCommand(const std::string& command);
  /// Returns the faults whose byte count or time has been reached. Each fault is returned once.
  std::vector<Fault> TakeDue(const LineCounters& counters, Time now);
  /// The number of bytes that can be sent before the next fault is due; at least 1. Considers only
  /// faults that count sent bytes.
  std::uint64_t SendableBefore(const LineCounters& counters) const;
  /// The time of the next kTime fault, or Time::max().
  Time NextTime() const;

 private:
  struct Armed {
    Fault fault;
    Time due = Time::max();         ///< kTime: when the fault is due
    std::uint64_t atBytes = 0;      ///< byte triggers: the fault occurs at this counter value
    std::uint64_t occurrences = 0;  ///< kCommand: the number of matching commands so far
  };

  std::vector<Armed> armed_;
};

/// The planned answer to a command.
struct AnswerPlan {
  std::optional<Bytes> answer;  ///< none: the command is not answered
  std::chrono::nanoseconds delay{0};
  std::size_t chunkSize = 0;  ///< in bytes; 0: the answer is not split
  std::chrono::nanoseconds chunkPause{0};
};

/// Applies the faults to the plan, in order. kIgnore and kUnplug do not change the plan.
void ApplyFaults(const std::vector<Fault>& faults, CommandKind kind, AnswerPlan& plan);

}  // namespace quillet::simulator
