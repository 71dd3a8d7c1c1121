#pragma once

#include <atomic>
#include <cstdint>

#include "base/Word.h"

namespace quillet {

/// Counts the records of the current download. A live scan between two requests does not count as
/// an answer, so it cannot mask a missing record. A live scan that arrives while a request is
/// pending cannot be distinguished from the answer.
class DownloadCounts {
 public:
  /// Begins a download. Called when the scanner has reported its number of records. Read thread.
  void Begin();

  void RecordRequested() { ++requested_; }  ///< called for each "p"; command thread
  /// Called when a frame arrives in response to "p". Read thread.
  void RecordAnswered() { answered_ = answered_ + 1; }

  /// Called before "P" is sent. Command thread.
  /// @param port  current value of SerialPort::openings
  void BurstRequested(std::uint32_t port) { burstPort_ = port; }
  /// Called when a burst has arrived. Read thread.
  /// @param port  current value of SerialPort::openings
  void BurstAnswered(std::uint32_t port) { burstCutOff_ = port != burstPort_; }

  /// Returns true if the connection ended before the burst was complete. In that case, the data
  /// that arrives over the next connection is treated as the burst. Any thread.
  bool burstCutOff() const { return burstCutOff_; }

  void RecordArchived() { received_ = received_ + 1; }      ///< a frame was archived; read thread
  void BurstArchived(std::int32_t records);                 ///< a burst was archived; read thread
  void BurstRecordDelivered() { pending_ = pending_ - 1; }  ///< read thread

  /// Number of records that have arrived, including live scans. Excludes erased records. Any
  /// thread.
  std::int32_t received() const { return received_; }

  /// Number of records of a burst that are in the archive, but have not been delivered yet.
  /// Excludes erased records. Any thread.
  std::int32_t pending() const { return pending_; }

  /// Number of records that were requested one by one and have not arrived, including a pending
  /// one. Any thread.
  std::int32_t Missing() const { return requested_ - answered_; }

 private:
  std::atomic<std::int32_t> requested_{0};
  Word<std::int32_t> answered_ = 0;
  Word<std::uint32_t> burstPort_ = 0;
  Word<bool> burstCutOff_ = false;
  Word<std::int32_t> received_ = 0;
  Word<std::int32_t> pending_ = 0;
};

inline void DownloadCounts::Begin() {
  requested_ = 0;
  answered_ = 0;
  burstCutOff_ = false;
  received_ = 0;
}

inline void DownloadCounts::BurstArchived(std::int32_t records) {
  received_ = received_ + records;
  pending_ = records;
}

}  // namespace quillet
