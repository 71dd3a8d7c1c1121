#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <string>

#include "device/DisplayState.h"

namespace quillet {

/// What can be seen of a run at one moment.
struct RunState {
  using Phase = DisplayState::Phase;  ///< the step of the download
  Phase phase = Phase::kPreparing;    ///< how far it is
  std::int32_t records = 0;           ///< records that have been delivered
  std::int32_t expected = 0;          ///< records that the scanner holds
  std::int32_t bytes = 0;             ///< of a burst, received
  std::int32_t announced = 0;         ///< of a burst, to come in all; 0 while that is not known

  /// Whether all of it is the same.
  bool operator==(const RunState&) const = default;
};

/// Turns what is seen of a run, several times a second, into what is shown of it: how much has
/// come, how fast it comes, and how long the rest will take. One object per run.
class RunProgress {
 public:
  /// Time since any fixed moment.
  using Time = std::chrono::milliseconds;

  /// What is shown.
  struct Shown {
    std::string text;      ///< UTF-8, one line
    double fraction = -1;  ///< 0 to 1, negative when not known

    /// Whether all of it is the same.
    bool operator==(const Shown&) const = default;
  };

  /// What is to be shown now.
  /// @param now    a clock that never goes back
  /// @param state  the run as it is seen now
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
  std::deque<Sample> samples_;  // of the last seconds
};

}  // namespace quillet
