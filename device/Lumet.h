#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>

#include "base/SystemLog.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/CommandQueue.h"
#include "device/DisplayState.h"
#include "device/Download.h"
#include "device/DownloadCounts.h"
#include "device/LumetDelegate.h"
#include "device/ReceiveMachine.h"
#include "device/ReceivedBytes.h"
#include "device/RecordArchive.h"
#include "device/ScannerIdentity.h"
#include "device/SerialPort.h"
#include "device/Settings.h"
#include "platform/Clock.h"
#include "platform/SerialLine.h"

namespace quillet {

/// The scanner session. Owns the serial channel, dispatches received data, sends queued commands
/// one at a time, and stores the scanner's identity and the user's settings.
///
/// The main thread and the connection thread connect, disconnect and queue commands. The read
/// thread dispatches answers. The command thread sends commands and waits for their answers. A
/// session is never destroyed, since the read thread runs until the process ends.
class Lumet final : public Settings, public ScannerIdentity, public SerialPortDelegate {
 public:
  /// @param log    the log; must live until the process ends, like `clock` and `line`
  /// @param clock  used for pauses and to set the scanner's clock
  /// @param line   opens, reads and writes the scanner's port
  Lumet(SystemLog& log, platform::Clock& clock, platform::SerialLine& line);
  Lumet(const Lumet&) = delete;
  Lumet& operator=(const Lumet&) = delete;

  /// The receiver of the callbacks, or null; not owned. Any thread.
  LumetDelegate* delegate() const { return delegate_.load(); }
  /// Sets the receiver of the callbacks. The receiver must live until the process ends. Any thread.
  void setDelegate(LumetDelegate* owner) { delegate_.store(owner); }

  /// The archive, or null. Without an archive, the session sends no erase command.
  RecordArchive* archive() const { return archive_; }
  ///@{ Call once, before the first connection. The argument must live until the process ends.
  void setArchive(RecordArchive* archive) { archive_ = archive; }
  void setDownload(Download* download) { download_ = download; }
  ///@}

  // --- Connection ---
  /// Opens the scanner's port, queues the start-up commands and sleeps 1 s. TavoInitializationDone
  /// is called after the scanner has answered the commands. Connection thread.
  /// @param path  NUL-terminated path of the port
  /// @return 1 if the port is open, else 0.
  std::uint8_t connectTavo(const char* path);

  /// Discards received data and queued commands, queues the start-up commands and sleeps 1 s.
  void InitTavo();

  /// Closes the port, clears the serial number and firmware version and ends the command thread.
  /// May be called before the first connection. Any thread except the read thread.
  void disconnectTavo();

  // --- Receiving: read thread ---
  void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) override;
  void DeviceHungUp() override;
  /// Processes one received byte, without logging it.
  void HandleInputData(std::uint8_t byte) { Receive({&byte, 1}); }

  /// Handles a complete answer to the command `commandType`.
  /// @param data    always RxBuffer
  /// @param length  the number of received bytes; may exceed the size of RxBuffer
  void HandleCommandData(const std::uint8_t* data, std::int32_t length);

  // --- Sending: command thread ---
  void CommandThread();      ///< body of the command thread
  void DispatchCommand();    ///< runs the next command in the queue, if no answer is pending
  void ThreadSendCommand();  ///< sends the next command and waits up to 5 s for its answer
  void SendCommand();        ///< sends commandBuf, one byte per millisecond
  void SendNullData();       ///< sends three NULs, which the scanner does not answer
  void EraseIfPermitted();   ///< sends the queued erase command, or drops it if not permitted
  void WakeupCommand();      ///< sends "W" up to five times; waits up to 0.5 s for each answer

  /// Sends commandBuf and polls for the answer every 0.1 s.
  /// @param waitFactor  time-out in units of 0.5 s; if 0, does not wait
  /// @return 1 if the scanner answered in time, else 0.
  std::uint8_t SendCommandAndWait(std::int32_t waitFactor);

  // --- Device commands. Each function queues one command. Any thread. ---
  void WakeupTavo(bool flag) { Queue({flag, 'W'}); }  ///< wakes the scanner; `flag` has no effect
  void GetSerialNumber() { Queue({0x01, 'M'}); }      ///< the answer sets SerialNo
  void GetFWVersion() { Queue({0x01, 'V'}); }         ///< the answer sets FWVersion and bTavo300
  void GetAssetNumber() { Queue({0x04, '2', 'Z', 'S', 'G'}); }  ///< the answer sets AssetNumber
  void EraseTavoMemory() { Queue({0x01, 'E'}); }    ///< the archive decides whether it is sent
  void Synchronize() { download_->Synchronize(); }  ///< downloads all records

  /// Switches wedge mode on or off. SyncTavoClock is called after the scanner has answered.
  void SetWedgeMode(bool on) { Queue({0x03, 'w', static_cast<std::uint8_t>(on ? '1' : '0'), '#'}); }

  /// Sets the scanner's clock if bSyncClock is on. TavoInitializationDone is called afterwards.
  void SyncTavoClock();

  // --- For the download ---
  /// Appends an entry to the queue, or logs and drops it if the queue is full. Any thread.
  void Queue(std::initializer_list<std::uint8_t> entry);
  void SetCommand(std::string_view command);  ///< fills commandBuf and clears bCommandDone
  void TakeCommand();                         ///< moves the current entry to commandBuf
  void ConsumeHead();                         ///< removes the current entry
  bool DropQueue();    ///< empties the queue and returns true, unless a new connection has begun
  void ExpectBurst();  ///< treats the next byte as the start of a burst

  /// Publishes the progress of the download. Called by the thread that runs the current step.
  void Show(const DisplayState& state) { display_ = state; }
  DownloadCounts& counts() { return counts_; }  ///< record counts of the download

  // --- State ---
  const DownloadCounts& counts() const { return counts_; }     ///< see DownloadCounts
  DisplayState display() const { return display_; }            ///< download progress; any thread
  std::int32_t SyncEndIndex() const { return syncEndIndex_; }  ///< number of records in the scanner
  std::int32_t SyncStartIndex() const { return 0; }            ///< index of the record for "q"
  std::int32_t commandType() const { return commandType_; }    ///< type of the last command
  bool bCommandDone() const { return bCommandDone_ != 0; }     ///< no answer is pending
  bool bConnected() const { return bConnected_ != 0; }         ///< the port is open
  const CommandQueue& cmdArray() const { return cmdArray_; }   ///< the queued commands
  const ReceiveMachine& receive() const { return receive_; }   ///< the received data
  /// Returns true if the last connectTavo could not start a thread. Any thread.
  bool LacksThread() const { return lacksThread_ || serial_.LacksThread(); }
  /// The scanner's serial number. Its first kHiddenSerialCharacters characters are not displayed.
  const SerialNumberField& returnSerialNumber() const { return SerialNo; }

  /// Returns the big-endian number in `count` (0 to 4) bytes of RxBuffer at `start`. Read thread.
  std::uint32_t MakeInteger(std::int32_t start, std::int32_t count) const {
    return NumberAt(receive_.RxBuffer(), start, count);
  }
  /// Returns the big-endian number in four bytes.
  static std::uint32_t MakeOneNumber(const std::uint8_t* fourBytes) {
    return NumberAt({fourBytes, 4}, 0, 4);
  }

  /// Stores an answer without its last byte, truncated to the size of the field.
  template <std::size_t Size>
  static void CopyStringData(const std::uint8_t* source, ByteField<Size>& destination,
                             std::int32_t length) {
    destination.Assign(source, length > 1 ? static_cast<std::size_t>(length - 1) : 0);
  }

 private:
  void Receive(std::span<const std::uint8_t> bytes);
  bool SendErase(const ErasePermit& permit, std::uint32_t port);
  void ShowReceived();
  void LogCommand();
  std::uint8_t AwaitAnswer(std::int32_t waitFactor);
  void InitialSetting();
  void TruncateSerialNumber(std::int32_t length);

  static constexpr std::int32_t kCommandBufferSize = 1024;  // in bytes, including a NUL

  SystemLog& log_;
  platform::Clock& clock_;
  SerialPort serial_;
  std::atomic<LumetDelegate*> delegate_{nullptr};
  Download* download_ = nullptr;
  RecordArchive* archive_ = nullptr;
  Word<std::uint8_t> bCommandDone_ = 1;
  ReceiveMachine receive_{bCommandDone_};
  Word<std::int32_t> syncEndIndex_ = 0;
  CommandQueue cmdArray_;
  Word<std::uint32_t> queuePort_ = 0;        // SerialPort::openings at the last call to InitTavo
  std::optional<CommandQueue::Entry> head_;  // the current entry; command thread
  ThreadHandle commandThread_;
  std::atomic<bool> lacksThread_{false};
  std::atomic<std::uint8_t> bConnected_ = 0;
  Word<std::int32_t> commandType_ = 0;
  std::int32_t commandLength_ = 0;                    // command thread only
  std::uint8_t commandBuf_[kCommandBufferSize] = {};  // command thread only
  Word<DisplayState> display_ = DisplayState();
  DownloadCounts counts_;
};

}  // namespace quillet
