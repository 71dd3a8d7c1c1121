#pragma once

#include <string>

namespace quillet {

/// The owner of a session. The session calls it on its read thread, and reads nothing from the
/// scanner during a call. With clock setting off, TavoInitializationDone is called on the thread
/// that called SyncTavoClock.
class LumetDelegate {
 public:
  /// The start-up commands have been answered.
  /// @param connected  always true
  virtual void TavoInitializationDone(bool connected) = 0;

  /// One record has been composed into a line.
  /// @param record  UTF-8 text with its record delimiter; valid during the call only
  virtual void DisplayBarcode(const std::string& record) = 0;

  /// The closing command of a download has been answered.
  virtual void SynchronizeFinished() = 0;

 protected:
  ~LumetDelegate() = default;
};

/// The record download, which builds on the session: see download/RecordDownload.h.
class Download {
 public:
  virtual void Synchronize() = 0;           ///< queues a download; any thread
  virtual void SynchronizeRecord() = 0;     ///< serves "p"; command thread
  virtual void SynchronizeBurst() = 0;      ///< serves "P"; command thread
  virtual void SynchronizeOneRecord() = 0;  ///< serves "q"; command thread
  virtual void SynchronizeBurstData() = 0;  ///< formats a burst; read thread
  virtual void SynchronizeData() = 0;       ///< formats the record after the length; read thread

 protected:
  ~Download() = default;
};

}  // namespace quillet
