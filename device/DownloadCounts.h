#pragma once

#include <atomic>
#include <cstdint>

#include "base/Word.h"

namespace quillet {

/// Counts the records of the current download. A live scan between two requests is not an answer,
/// so it does not make up for a record that the scanner did not send. A live scan while a request
/// waits for its answer cannot be told from the answer.
class DownloadCounts {
 public:
  /// Begins a download: the scanner has reported its number of records. Read thread.
  void Begin();

  void RecordRequested() { ++requested_; }              ///< called for each "p"; command thread
  void RecordAnswered() { answered_ = answered_ + 1; }  ///< a frame has answered "p"; read thread

  void RecordArchived() { received_ = received_ + 1; }      ///< a frame was archived; read thread
  void BurstArchived(std::int32_t records);                 ///< a burst was archived; read thread
  void BurstRecordDelivered() { pending_ = pending_ - 1; }  ///< read thread

  /// Number of records that have arrived, including live scans. Excludes erased records. Any
  /// thread.
  std::int32_t received() const { return received_; }

  /// Number of records of a burst that are in the archive, but have not been delivered yet.
  /// Excludes erased records. Any thread.
  std::int32_t pending() const { return pending_; }

  /// Number of records that were requested one by one, but did not arrive. During the download, it
  /// includes the record that is still awaited. Any thread.
  std::int32_t missing() const { return requested_ - answered_; }

 private:
  std::atomic<std::int32_t> requested_{0};
  Word<std::int32_t> answered_ = 0;
  Word<std::int32_t> received_ = 0;
  Word<std::int32_t> pending_ = 0;
};

inline void DownloadCounts::Begin() {
  requested_ = 0;
  answered_ = 0;
  received_ = 0;
}

inline void DownloadCounts::BurstArchived(std::int32_t records) {
  received_ = received_ + records;
  pending_ = records;
}

}  // namespace quillet
