#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/Bytes.h"

namespace quillet::simulator {

/// What sets a fault off.
enum class FaultTrigger {
  kCommand,        ///< a command arrives ("on")
  kBytesSent,      ///< so many bytes have gone to the computer since plugging in ("after-sent")
  kBytesReceived,  ///< so many have come from it ("after-received")
  kBytesBothWays,  ///< so many have passed in both directions together ("after-bytes")
  kTime,           ///< so much time has passed since the start ("at")
};

/// What goes wrong then.
enum class FaultAction {
  // On the answer to a command:
  kIgnore,    ///< not carried out, not answered
  kSilence,   ///< carried out, not answered
  kDelay,     ///< answered later by `duration`
  kChunks,    ///< answered in pieces of `number` bytes with `duration` between them
  kBefore,    ///< `bytes` in front of the answer
  kWithin,    ///< `bytes` behind the answer's first `number` bytes
  kAfter,     ///< `bytes` behind the answer
  kAnswer,    ///< `bytes` in place of the answer
  kLength,    ///< the answer's frame announces `number` bytes
  kTruncate,  ///< only the answer's first `number` bytes
  // On an answer, or at any time:
  kLose,    ///< on: `count` bytes behind the answer's first `number`; else: the next `number` bytes
  kUnplug,  ///< the cable is pulled, and put in again after `replug`, if there is one
  // At any time:
  kPlug,   ///< the cable is put in
  kSend,   ///< `bytes` at once, in the middle of an answer too
  kPause,  ///< nothing is sent for `duration`
  kScan,   ///< somebody scans a barcode: symbology byte `number`, data `bytes`
};

/// One thing that goes wrong, once or again and again.
struct Fault {
  FaultTrigger trigger = FaultTrigger::kCommand;
  /// kCommand: the command's text; "w" and "p" stand for all that begin so, "any" for all.
  std::string command;
  /// kCommand: which occurrence, counted from 1 since the fault was armed.
  std::uint64_t occurrence = 1;
  /// kCommand: all later occurrences as well.
  bool and_later = false;
  /// The triggers of bytes: how many.
  std::uint64_t after_bytes = 0;
  /// kTime: how long after it was armed.
  std::chrono::nanoseconds after{0};

  FaultAction action = FaultAction::kSilence;
  std::uint64_t number = 0;
  std::uint64_t count = 1;
  std::chrono::nanoseconds duration{0};
  std::optional<std::chrono::nanoseconds> replug;
  Bytes bytes;
};

/// Reads one rule, as "on P delay 700". Throws std::invalid_argument in words for its writer.
Fault ParseFault(std::string_view rule);

/// Reads a script: one rule per line, empty lines and everything from a word that begins with '#'
/// ignored. Throws InputError with the number of the line.
std::vector<Fault> ParseFaults(std::string_view script);

/// The description of the rules for people, as --help shows it.
std::string_view FaultHelp();

}  // namespace quillet::simulator
