#pragma once

#include <atomic>
#include <cstdint>

namespace quillet {

/// Numbers the units of the archive, which are single records and bursts, in order of arrival, and
/// knows which of them belong to the current run. Any thread, unless stated otherwise.
class RunUnits {
 public:
  /// The last unit that has a certain property, for example that it could not be written.
  using Mark = std::atomic<std::int64_t>;

  /// Notes that a run begins: units not yet written belong to it. They count from StartRun on.
  void RunBegan() { writtenAtBegin_ = written_.load(); }
  /// Makes the run that began last the current run.
  void StartRun() { before_ = writtenAtBegin_.load(); }

  void Arrived() { ++arrived_; }  ///< called when a unit arrives; read thread
  void Written() { ++written_; }  ///< called when the archive is done with a unit; read thread

  std::int64_t arrived() const { return arrived_; }  ///< number of the last unit that arrived
  std::int64_t written() const { return written_; }  ///< number of units that Written ended

  /// Number of units in the current run and after it.
  std::int64_t count() const { return arrived_ - before_; }

  void Set(Mark& mark) const { mark = arrived_.load(); }            ///< marks the last unit
  bool IsSet(const Mark& mark) const { return mark > before_; }     ///< for a unit that counts
  bool IsLast(const Mark& mark) const { return mark == arrived_; }  ///< for the last unit

 private:
  std::atomic<std::int64_t> arrived_{0};
  std::atomic<std::int64_t> written_{0};
  std::atomic<std::int64_t> writtenAtBegin_{0};
  std::atomic<std::int64_t> before_{0};  // units before the current run
};

}  // namespace quillet
