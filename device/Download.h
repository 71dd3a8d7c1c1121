#pragma once

namespace quillet {

/// The download functions that the session calls. Implemented by RecordDownload.
class Download {
 public:
  virtual void Synchronize() = 0;           ///< queues the commands of a download; any thread
  virtual void SynchronizeRecord() = 0;     ///< runs the command "p"; command thread
  virtual void SynchronizeBurst() = 0;      ///< runs the command "P"; command thread
  virtual void SynchronizeOneRecord() = 0;  ///< runs the command "q"; command thread
  virtual void SynchronizeBurstData() = 0;  ///< delivers the records of a burst; read thread
  virtual void SynchronizeData() = 0;  ///< delivers the record in the received frame; read thread
  /// Archives a frame that answers a command other than "p" or "P", if the frame is a record. Read
  /// thread.
  virtual void KeepMisplacedRecord() = 0;

 protected:
  ~Download() = default;
};

}  // namespace quillet
