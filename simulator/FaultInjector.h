#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "simulator/CommandParser.h"
#include "simulator/Fault.h"
#include "simulator/OutputQueue.h"

namespace quillet::simulator {

/// How many bytes have passed since plugging in.
struct LineCounters {
  std::uint64_t sent = 0;
  std::uint64_t received = 0;
};

/// Keeps the faults that may still happen, and says when it is their time.
class FaultInjector {
 public:
  /// From now on the fault may happen; its bytes, times and occurrences are counted from here.
  void Arm(Fault fault, const LineCounters& counters, Time now);

  /// A new line begins: bytes are counted from zero again.
  void RestartCounting();

  /// The command has arrived: the faults that hold for it, in order of arming.
  std::vector<Fault> OnCommand(const std::string& command);

  /// The faults of bytes and times whose moment has come; each is given once.
  std::vector<Fault> TakeDue(const LineCounters& counters, Time now);

  /// How many bytes may be sent before such a fault comes due; at least 1.
  std::uint64_t SendableBefore(const LineCounters& counters) const;

  /// When the next fault that waits for a time comes due, or Time::max().
  Time NextTime() const;

 private:
  struct Armed {
    Fault fault;
    Time due = Time::max();         ///< kTime
    std::uint64_t at_bytes = 0;     ///< the triggers of bytes: the counter's value
    std::uint64_t occurrences = 0;  ///< kCommand: so far
  };

  std::vector<Armed> armed_;
};

/// What is to be done about one command.
struct AnswerPlan {
  std::optional<Bytes> answer;  ///< nothing: not answered
  std::chrono::nanoseconds delay{0};
  std::size_t chunk_size = 0;  ///< 0: not divided
  std::chrono::nanoseconds chunk_pause{0};
};

/// Changes the plan as these faults have it, in their order. kIgnore and kUnplug change nothing:
/// they keep the command from being carried out at all.
void ApplyFaults(const std::vector<Fault>& faults, CommandKind kind, AnswerPlan& plan);

}  // namespace quillet::simulator
