#pragma once

#include <atomic>
#include <cstdint>

namespace quillet {

/// Numbers the units of the archive in order of arrival, and records which of them belong to the
/// current run. A unit is a single record or a burst. Any thread, unless stated otherwise.
class RunUnits {
 public:
  /// Number of the last unit with a certain property, such as a failed write.
  using Mark = std::atomic<std::int64_t>;

  /// Called when a run begins. The run includes units that have arrived but have not been written
  /// yet. StartRun makes this run the current run.
  void RunBegan() { writtenAtBegin_ = written_.load(); }
  /// Makes the most recently begun run the current run.
  void StartRun() { before_ = writtenAtBegin_.load(); }

  void Arrived() { ++arrived_; }  ///< called when a unit arrives; read thread
  void Written() { ++written_; }  ///< called when the archive has processed a unit; read thread

  std::int64_t arrived() const { return arrived_; }  ///< number of the last unit that arrived
  std::int64_t written() const { return written_; }  ///< number of calls to Written

  /// Number of units that have arrived since the current run began, even if it has ended.
  std::int64_t Count() const { return arrived_ - before_; }

  /// Sets `mark` to the last unit that arrived.
  void Set(Mark& mark) const { mark = arrived_.load(); }
  /// Returns true if any of the units that Count includes is marked.
  bool IsSet(const Mark& mark) const { return mark > before_; }
  /// Returns true if the last unit that arrived is marked.
  bool IsLast(const Mark& mark) const { return mark == arrived_; }

 private:
  std::atomic<std::int64_t> arrived_{0};
  std::atomic<std::int64_t> written_{0};
  std::atomic<std::int64_t> writtenAtBegin_{0};
  std::atomic<std::int64_t> before_{0};  // units before the current run
};

}  // namespace quillet
