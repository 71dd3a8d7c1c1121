#pragma once

#include <string>

namespace quillet {

/// Receives the callbacks of a session, on the session's read thread. The session does not read
/// from the scanner during a callback.
class LumetDelegate {
 public:
  /// Called after the scanner has answered the start-up commands. If bSyncClock is off, called on
  /// the thread that called SyncTavoClock.
  /// @param connected  always true
  virtual void TavoInitializationDone(bool connected) = 0;

  /// Called for each record.
  /// @param record  the composed line in UTF-8, with its record delimiter; valid during the call
  virtual void DisplayBarcode(const std::string& record) = 0;

  /// Called after the scanner has answered the closing command of a download.
  virtual void SynchronizeFinished() = 0;

  /// See SerialPortDelegate::DeviceHungUp.
  virtual void DeviceHungUp() {}

 protected:
  ~LumetDelegate() = default;
};

/// The download functions that the session calls. Implemented by RecordDownload.
class Download {
 public:
  virtual void Synchronize() = 0;           ///< queues the commands of a download; any thread
  virtual void SynchronizeRecord() = 0;     ///< runs the command "p"; command thread
  virtual void SynchronizeBurst() = 0;      ///< runs the command "P"; command thread
  virtual void SynchronizeOneRecord() = 0;  ///< runs the command "q"; command thread
  virtual void SynchronizeBurstData() = 0;  ///< delivers the records of a burst; read thread
  virtual void SynchronizeData() = 0;       ///< delivers the record of a frame; read thread
  virtual void KeepMisplacedRecord() = 0;   ///< archives a frame if it is a record; read thread

 protected:
  ~Download() = default;
};

}  // namespace quillet
