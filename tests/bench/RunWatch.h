#pragma once

#include <time.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "device/LumetDelegate.h"
#include "device/RecordArchive.h"
#include "tests/bench/Figure.h"

namespace quillet::bench {

/// Returns the processor time of the calling thread in seconds.
inline double ThreadSeconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Forwards the callbacks of a session to its owner and records the times of the first and last
/// record. Runs on the read thread, because polling would slow down the run.
class RecordWatch final : public LumetDelegate {
 public:
  explicit RecordWatch(LumetDelegate& owner) : owner_(owner) {}

  /// Prepares for a run that delivers `records` records.
  void Expect(std::size_t records) { expected_ = left_ = records; }

  /// The time at which the first record was composed. Valid after the run.
  Clock::time_point first() const { return first_; }
  /// The time at which the last record was delivered. Valid after the run.
  Clock::time_point last() const { return last_; }
  /// Processor time of the read thread from the first to the last record, in seconds.
  double ProcessorTime() const { return lastProcessor_ - firstProcessor_; }

  void TavoInitializationDone(bool connected) override { owner_.TavoInitializationDone(connected); }
  void DisplayBarcode(const std::string& record) override {
    if (left_ == expected_) {
      first_ = Clock::now();
      firstProcessor_ = ThreadSeconds();
    }
    owner_.DisplayBarcode(record);
    if (--left_ != 0) return;
    last_ = Clock::now();
    lastProcessor_ = ThreadSeconds();
  }
  void SynchronizeFinished() override { owner_.SynchronizeFinished(); }

 private:
  LumetDelegate& owner_;
  std::size_t expected_ = 0;
  std::size_t left_ = 0;
  Clock::time_point first_;
  Clock::time_point last_;
  double firstProcessor_ = 0;
  double lastProcessor_ = 0;
};

/// Forwards calls to the program's archive, if any, and records the time at which a burst was
/// archived. Runs on the read thread.
class ArchiveWatch final : public RecordArchive {
 public:
  /// @param archive  receives all calls; null: the records are not archived
  explicit ArchiveWatch(RecordArchive* archive) : archive_(archive) {}

  /// The time at which the last line of a burst was archived. Valid after the run.
  Clock::time_point delivered() const { return delivered_; }
  /// Processor time for composing, delivering and archiving the burst, in seconds.
  double ProcessorTime() const { return deliveredProcessor_ - keptProcessor_; }

  void DownloadStarted(std::int32_t records, bool erasePending) override {
    if (archive_) archive_->DownloadStarted(records, erasePending);
  }
  void KeepRecord(std::span<const std::uint8_t> record) override {
    if (archive_) archive_->KeepRecord(record);
  }
  void KeepBurst(std::span<const std::uint8_t> records) override {
    keptProcessor_ = ThreadSeconds();
    if (archive_) archive_->KeepBurst(records);
  }
  void BurstDelivered(bool complete) override {
    if (archive_) archive_->BurstDelivered(complete);
    delivered_ = Clock::now();
    deliveredProcessor_ = ThreadSeconds();
  }
  std::optional<ErasePermit> AwaitCopy() override {
    return archive_ ? archive_->AwaitCopy() : std::nullopt;
  }
  void Erased() override {
    if (archive_) archive_->Erased();
  }
  void EraseDropped() override {
    if (archive_) archive_->EraseDropped();
  }

 private:
  RecordArchive* const archive_;
  Clock::time_point delivered_;
  double keptProcessor_ = 0;
  double deliveredProcessor_ = 0;
};

}  // namespace quillet::bench
