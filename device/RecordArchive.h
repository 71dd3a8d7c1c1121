#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace quillet {

/// Permission to erase the scanner, granted only if no record would be lost. Lumet sends the erase
/// command only with a permit.
class ErasePermit {
 public:
  /// Returns a permit for a run without records.
  /// @param received  number of records received in the run
  /// @return the permit if `received` is 0, else no value
  static std::optional<ErasePermit> ForEmptyRun(std::int64_t received) {
    if (received != 0) return std::nullopt;
    return ErasePermit();
  }

 private:
  friend class RunArchive;  // creates permits for records that are on the disk
  ErasePermit() = default;
};

/// Stores every record that the session receives, and decides whether the scanner may be erased.
/// Implemented by RunArchive.
class RecordArchive {
 public:
  /// Called when the scanner has reported how many records it has. Read thread.
  /// @param records       number of records that the scanner has reported
  /// @param erasePending  whether an erase command of an earlier run is still queued
  virtual void DownloadStarted(std::int32_t records, bool erasePending) = 0;

  /// Stores a record that is not part of a burst. Called before the record is delivered. Also
  /// called for a record that is not delivered because it answers a command other than "p" or "P".
  /// Read thread.
  /// @param record  the stored record as received; valid during the call
  virtual void KeepRecord(std::span<const std::uint8_t> record) = 0;

  /// Stores a burst. Called before its first record is delivered. Read thread.
  /// @param records  the bytes of all records, as received; valid during the call
  virtual void KeepBurst(std::span<const std::uint8_t> records) = 0;

  /// Called after the last record of a burst has been delivered. Read thread.
  /// @param complete  false if some records are known to be incomplete
  virtual void BurstDelivered(bool complete) = 0;

  /// Waits until every record of the run is on the computer's disk or a time limit has passed.
  /// Command thread.
  /// @return no value if the scanner must not be erased
  virtual std::optional<ErasePermit> AwaitCopy() = 0;

  /// Called after the scanner has confirmed that it is erased. Read thread.
  virtual void Erased() = 0;

  /// Called if a permitted erase command is not sent, because the connection ended during
  /// AwaitCopy. Command thread.
  virtual void EraseDropped() = 0;

 protected:
  ~RecordArchive() = default;
};

}  // namespace quillet
