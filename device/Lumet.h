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
#include "device/LumetDelegate.h"
#include "device/ReceiveMachine.h"
#include "device/ReceivedBytes.h"
#include "device/ScannerIdentity.h"
#include "device/SerialPort.h"
#include "device/Settings.h"
#include "platform/Clock.h"
#include "platform/SerialLine.h"

namespace quillet {

/// The scanner session. It owns the serial channel, dispatches what the scanner sends, sends one
/// queued command at a time, and holds the scanner's identity and the user's settings.
///
/// Threads: the main and the connection thread connect, disconnect and queue commands. The read
/// thread dispatches answers. The command thread sends and waits. They share words and the queue
/// without locks. A session is never destroyed, since the read thread lives as long as the process.
class Lumet final : public Settings, public ScannerIdentity, public SerialPortDelegate {
 public:
  static constexpr std::int32_t kCommandBufferSize = 1024;  ///< bytes of a command with its NUL

  /// @param log    outlives the session, which is never destroyed; so do `clock` and `line`
  /// @param clock  makes the pauses and gives the scanner the time
  /// @param line   the way to the scanner's port
  Lumet(SystemLog& log, platform::Clock& clock, platform::SerialLine& line);
  Lumet(const Lumet&) = delete;
  Lumet& operator=(const Lumet&) = delete;

  /// The receiver of the callbacks, null at first; not owned. Any thread.
  LumetDelegate* delegate() const { return delegate_.load(); }
  /// Sets the receiver, which is never destroyed. Any thread.
  void setDelegate(LumetDelegate* owner) { delegate_.store(owner); }

  /// Sets the download, which is never destroyed. Once, before connecting.
  void setDownload(Download* download) { download_ = download; }

  // --- Connection -------------------------------------------------------------------------------

  /// Opens the scanner's port and queues the start-up commands. Takes about a second. Connection
  /// thread.
  /// @param path  NUL-terminated path of the port
  /// @return 1 if the port was opened, else 0. The scanner's answers are reported later, through
  ///         TavoInitializationDone.
  std::uint8_t connectTavo(const char* path);

  /// Resets the receive path and the queue, starts the command thread if there is none, queues the
  /// start-up commands and sleeps one second.
  void InitTavo();

  /// Closes the port, empties the identity texts and ends the command thread. Allowed on a session
  /// that never connected. Any thread except the read thread.
  void disconnectTavo();

  /// The scanner's serial number. Users show it from kHiddenSerialCharacters on.
  const SerialNumberField& returnSerialNumber() const { return SerialNo; }

  // --- Receiving: read thread -------------------------------------------------------------------

  void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) override;

  /// Receives one byte: DataFromDevice without its log line.
  void HandleInputData(std::uint8_t byte);

  /// Dispatches a complete answer by the type of the command in progress.
  /// @param data    always RxBuffer
  /// @param length  bytes received, which may be more than RxBuffer holds
  void HandleCommandData(const std::uint8_t* data, std::int32_t length);

  // --- Sending: command thread, except for WakeupTavo -------------------------------------------

  void WakeupTavo(bool flag);  ///< queues a wake-up; the flag has no effect. Any thread.
  void CommandThread();        ///< body of the command thread
  void DispatchCommand();      ///< one pass: serves the entry at the head, if no answer is due
  void ThreadSendCommand();    ///< sends the entry at the head and waits up to 5 s
  void SendCommand();          ///< sends commandBuf, one byte per millisecond
  void SendNullData();         ///< sends three NULs, which have no answer
  void WakeupCommand();        ///< sends "W" up to five times, 0.5 s each

  /// Sends commandBuf and polls for the answer every 0.1 s.
  /// @param waitFactor  longest wait in half seconds; 0 does not wait
  /// @return 1 if it was answered in time, else 0.
  std::uint8_t SendCommandAndWait(std::int32_t waitFactor);

  // --- Device commands: each queues and returns. Any thread. ------------------------------------

  void GetSerialNumber();      ///< the answer fills SerialNo
  void GetFWVersion();         ///< the answer fills FWVersion and sets bTavo300
  void GetAssetNumber();       ///< the answer fills AssetNumber
  void SetWedgeMode(bool on);  ///< the answer calls SyncTavoClock
  void SyncTavoClock();        ///< sets the clock if bSyncClock; TavoInitializationDone follows
  void EraseTavoMemory();      ///< erases every record in the scanner
  void Synchronize() { download_->Synchronize(); }  ///< downloads every record

  // --- For the download -------------------------------------------------------------------------

  /// Appends an entry to the queue. If it does not fit, it is logged and dropped. Any thread.
  void Queue(std::initializer_list<std::uint8_t> entry);

  void SetCommand(std::string_view command);  ///< fills commandBuf; its answer is due from now on
  void TakeCommand();                         ///< moves the entry being served into commandBuf
  void ConsumeHead();                         ///< removes the entry being served
  bool DropQueue();  ///< empties the queue; false if a new connection has begun
  void ExpectBurst() { receive_.ExpectBurst(); }  ///< makes the next byte the first of a burst

  /// Publishes the step of the download. The thread that knows it.
  void Show(const DisplayState& state) { display_ = state; }

  // --- State ------------------------------------------------------------------------------------

  DisplayState display() const { return display_; }            ///< for a display; any thread
  std::int32_t SyncEndIndex() const { return syncEndIndex_; }  ///< records in the scanner
  std::int32_t SyncStartIndex() const { return 0; }            ///< index for "q"; nothing sets it
  std::int32_t commandType() const { return commandType_; }    ///< type of the command in progress
  bool bCommandDone() const { return bCommandDone_ != 0; }     ///< no command waits for its answer
  bool bConnected() const { return bConnected_ != 0; }         ///< the port is open
  const CommandQueue& cmdArray() const { return cmdArray_; }   ///< the commands that wait
  const ReceiveMachine& receive() const { return receive_; }   ///< the unit being received

  /// The big-endian number in `count` (0 to 4) bytes of RxBuffer from `start`. Read thread.
  std::uint32_t MakeInteger(std::int32_t start, std::int32_t count) const;

  /// The big-endian number in four bytes.
  static std::uint32_t MakeOneNumber(const std::uint8_t* fourBytes) {
    return NumberAt({fourBytes, 4}, 0, 4);
  }

  /// Stores an answer without its last byte, as much of it as fits.
  template <std::size_t Size>
  static void CopyStringData(const std::uint8_t* source, ByteField<Size>& destination,
                             std::int32_t length) {
    destination.Assign(source, length > 1 ? static_cast<std::size_t>(length - 1) : 0);
  }

 private:
  void Receive(std::span<const std::uint8_t> bytes);
  void HandleEvent(ReceiveMachine::Event event);
  void ShowReceived();
  void InitialSetting();
  void TruncateSerialNumber(std::int32_t length);

  SystemLog& log_;
  platform::Clock& clock_;
  SerialPort serial_;
  std::atomic<LumetDelegate*> delegate_{nullptr};
  Download* download_ = nullptr;
  Word<std::uint8_t> bCommandDone_ = 1;
  ReceiveMachine receive_{bCommandDone_};
  Word<std::int32_t> syncEndIndex_ = 0;
  CommandQueue cmdArray_;
  std::optional<CommandQueue::Entry> head_;  // the entry being served; command thread
  ThreadHandle commandThread_;
  std::atomic<std::uint8_t> bConnected_ = 0;
  Word<std::int32_t> commandType_ = 0;
  std::int32_t commandLength_ = 0;                    // command thread
  std::uint8_t commandBuf_[kCommandBufferSize] = {};  // command thread
  Word<DisplayState> display_ = DisplayState();
};

}  // namespace quillet
