#pragma once

#include <string>

namespace quillet {

/// Receives the callbacks of a session, on the session's read thread unless stated otherwise. The
/// session does not read from the scanner during a callback on the read thread.
class LumetDelegate {
 public:
  /// Called after the scanner has answered the start-up commands. If bSyncClock is off, called on
  /// the thread that called SyncTavoClock.
  /// @param connected  always true
  virtual void TavoInitializationDone(bool connected) = 0;

  /// Called on the command thread before records are requested one by one. Waits until records can
  /// be delivered.
  virtual void AwaitDelivery() {}

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

}  // namespace quillet
