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

/// What sets a fault off.
enum class FaultTrigger {
  kCommand,        ///< a command arrives ("on")
  kBytesSent,      ///< bytes sent to the computer since plugging in ("after-sent")
  kBytesReceived,  ///< bytes received from it since plugging in ("after-received")
  kBytesBothWays,  ///< the sum of both ("after-bytes")
  kTime,           ///< time since the start ("at")
};

/// What goes wrong.
enum class FaultAction {
  // On the answer to a command:
  kIgnore,   ///< not carried out, not answered
  kSilence,  ///< carried out, not answered
  kDelay,    ///< answered later by `duration`
  kChunks,   ///< answered in pieces of `number` bytes with `duration` between them
  kInsert,   ///< `bytes` after the answer's first `number` bytes
  kAnswer,   ///< `bytes` instead of the answer
  kLength,   ///< the answer's frame announces `number` bytes
  // On an answer, or at any time:
  kLose,    ///< `count` bytes are lost; of an answer, those after its first `number` bytes
  kUnplug,  ///< the cable is pulled, and plugged in again after `replug`, if there is one
  // At any time:
  kPlug,   ///< the cable is plugged in
  kSend,   ///< `bytes` at once, in the middle of an answer too
  kPause,  ///< nothing is sent for `duration`
  kScan,   ///< a barcode is scanned: symbology byte `number`, data `bytes`
};

/// One rule of a fault script.
struct Fault {
  static constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

  FaultTrigger trigger = FaultTrigger::kCommand;
  /// kCommand: the command's text; "w" and "p" mean all that begin so, "any" means all.
  std::string command;
  /// kCommand: which occurrence, counted from 1 since the fault was armed.
  std::uint64_t occurrence = 1;
  /// kCommand: all later occurrences as well.
  bool andLater = true;
  /// The triggers that count bytes: how many.
  std::uint64_t afterBytes = 0;
  /// kTime: how long after the fault was armed.
  std::chrono::nanoseconds after{0};

  FaultAction action = FaultAction::kSilence;
  std::uint64_t number = 0;
  std::uint64_t count = 1;
  std::chrono::nanoseconds duration{0};
  std::optional<std::chrono::nanoseconds> replug;
  Bytes bytes;
};

/// Reads one rule, such as "on P delay 700". Throws std::invalid_argument with a message for its
/// writer.
Fault ParseFault(std::string_view rule);

/// Reads a script: one rule per line. Empty lines and everything from a word that begins with '#'
/// are ignored. Throws InputError.
std::vector<Fault> ParseFaults(std::string_view script);

/// The description of the rules that --help shows.
extern const std::string_view kFaultHelp;

/// Bytes since plugging in.
struct LineCounters {
  std::uint64_t sent = 0;
  std::uint64_t received = 0;
  std::uint64_t lost = 0;  ///< sent while the computer had its port closed
};

/// The faults that may still happen, and when they are due.
class FaultInjector {
 public:
  /// Adds a fault. Its bytes, time and occurrences are counted from now.
  void Arm(Fault fault, const LineCounters& counters, Time now);

  /// Counts bytes from zero again, on a new line.
  void RestartCounting();

  /// Counts a command that has arrived; returns the faults that apply to it, in order of arming.
  std::vector<Fault> OnCommand(const std::string& command);

  /// The faults of bytes and times that have become due; each is returned once.
  std::vector<Fault> TakeDue(const LineCounters& counters, Time now);

  /// How many bytes may be sent before such a fault becomes due; at least 1.
  std::uint64_t SendableBefore(const LineCounters& counters) const;

  /// When the next fault that waits for a time becomes due, or Time::max().
  Time NextTime() const;

 private:
  struct Armed {
    Fault fault;
    Time due = Time::max();         ///< kTime
    std::uint64_t atBytes = 0;      ///< the triggers of bytes: the counter's value
    std::uint64_t occurrences = 0;  ///< kCommand: so far
  };

  std::vector<Armed> armed_;
};

/// How one command is answered.
struct AnswerPlan {
  std::optional<Bytes> answer;  ///< nothing: no answer
  std::chrono::nanoseconds delay{0};
  std::size_t chunkSize = 0;  ///< 0: not divided
  std::chrono::nanoseconds chunkPause{0};
};

/// Applies these faults to the plan, in their order. kIgnore and kUnplug change nothing: they keep
/// the command from being carried out.
void ApplyFaults(const std::vector<Fault>& faults, CommandKind kind, AnswerPlan& plan);

}  // namespace quillet::simulator
