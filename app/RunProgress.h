#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

#include "device/DisplayState.h"

namespace quillet {

/// A snapshot of a run.
struct RunState {
  using Phase = DisplayState::Phase;                 ///< see DisplayState
  Phase phase = Phase::kPreparing;                   ///< current phase
  std::int32_t records = 0;                          ///< number of records delivered
  std::int32_t expected = 0;                         ///< number of records stored in the scanner
  std::int32_t bytes = 0;                            ///< number of burst bytes received
  std::int32_t announced = 0;                        ///< length of the burst in bytes; 0 if unknown
  bool operator==(const RunState&) const = default;  ///< compares all members
};

/// Returns "1 record", "2 records" and so on.
std::string Counted(std::int64_t records);

/// Computes the progress display of one run from periodic snapshots: amount received, rate and time
/// left. Create one object per run and use it on one thread only.
class RunProgress {
 public:
  /// Time since an arbitrary fixed point.
  using Time = std::chrono::milliseconds;

  /// Contents of the progress display.
  struct Shown {
    std::string text;                               ///< UTF-8, one line
    double fraction = -1;                           ///< 0 to 1; negative if unknown
    std::string advice = {};                        ///< advice if the run may be stuck; else empty
    bool operator==(const Shown&) const = default;  ///< compares all members
  };

  /// Returns the contents to show now. Call several times a second.
  /// @param now    current monotonic time
  /// @param state  the current snapshot
  Shown Look(Time now, const RunState& state);

 private:
  struct Sample {
    Time time;
    double position;
  };

  Shown Describe(Time now, const RunState& state);
  std::string Pace(const RunState& state, double remaining) const;
  double Rate() const;
  void Remember(Time now, double position);

  RunState seen_;
  Time lastChange_{-1};
  std::deque<Sample> samples_;  // taken within the last kWindow
};

}  // namespace quillet
