#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace quillet {

/// Counts the records that were typed or pasted since a run began. Excludes records that
/// are known to have gone to Quillet's windows, which ignore them. Any thread, unless stated
/// otherwise.
class DeliveredCount {
 public:
  /// Monotonic time; see Clock::Now.
  using Time = std::chrono::nanoseconds;

  void Reset();                 ///< called when a run begins; sets the number to 0
  void Add() { ++posted_; }     ///< counts a record; called before its keys are sent
  void Remove() { --posted_; }  ///< uncounts the last record; called if its keys were rejected
  std::int32_t Get() const;     ///< returns the number of records

  /// Called before each record, by one thread at a time. A series of records whose keys Quillet's
  /// windows ignored has ended if the previous record began more than 1 s after the last ignored
  /// key.
  /// @return true if this call is the first one after the end of a series
  bool BeginRecord(Time now);

  /// Excludes the last record, because a Quillet window has ignored one of its keys. Main thread.
  /// @return true for the first ignored key since Reset or since BeginRecord returned true.
  bool ExcludeLast(Time now);

 private:
  std::atomic<std::int32_t> posted_ = 0;        // records typed or pasted since the run began
  std::atomic<bool> areMissed_ = false;         // records firstMissed_ to lastMissed_ were ignored
  std::atomic<std::int32_t> firstMissed_ = 0;   // value of posted_ when areMissed_ was set
  std::atomic<std::int32_t> lastMissed_ = 0;    // value of posted_ when a key was last ignored
  std::atomic<std::int32_t> missedBefore_ = 0;  // records ignored until areMissed_ was last cleared
  std::atomic<Time> lastIgnored_ = Time::min();
  Time lastRecord_{};  // used only by BeginRecord
};

}  // namespace quillet
