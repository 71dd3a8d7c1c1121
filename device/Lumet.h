#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "base/SystemLog.h"
#include "base/ThreadHandle.h"
#include "base/Word.h"
#include "device/ByteField.h"
#include "device/CommandQueue.h"
#include "device/RecordComposer.h"
#include "device/SerialPort.h"
#include "device/Settings.h"
#include "platform/Clock.h"

namespace quillet {

/// The owner of a session. All three calls are made on the session's read thread (with clock
/// setting off, TavoInitializationDone on whatever thread called SyncTavoClock); while one runs,
/// nothing is read from the scanner.
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

/// The scanner session: owns the serial channel, holds the scanner's identity and the user's
/// settings, takes every byte that the scanner sends through a state machine, sends commands one
/// at a time from a queue, and composes records into lines.
///
/// Its operations stand in several files, by subject: device/Lumet.cc (connection),
/// device/HandleInputData.cc and device/HandleCommandData.cc (receiving), device/CommandThread.cc
/// (sending), device/DeviceCommands.cc (identity, mode, clock, erase), download/RecordDownload.cc,
/// download/RecordFields.cc and download/Composition.cc. Those that only make a line of a record
/// are declared in device/RecordComposer.h, together with the fields that they use.
///
/// Threads: main and connection thread connect, disconnect and start downloads; the read thread
/// runs everything that an answer sets off; the command thread sends and waits. They hand over
/// through the words and the queue below, without locks. A session is made once and never
/// destroyed, since the read thread lives as long as the process.
///
/// The fields are open, as those of a structure: the controller reads and writes the settings, and
/// the tests look at the rest. A field that is not a Word, an atomic or a queue belongs to the
/// thread that its comment names.
class Lumet final : public RecordComposer, public SerialPortDelegate {
 public:
  static constexpr std::int32_t kRxBufferSize = 4194304;    ///< bytes of the largest answer
  static constexpr std::int32_t kCommandBufferSize = 1024;  ///< bytes of a command with its NUL

  /// @param log    outlives the session, which is never destroyed; so do `clock` and `line`
  /// @param clock  makes the pauses and gives the scanner the time
  /// @param line   the way to the scanner's port
  Lumet(SystemLog& log, platform::Clock& clock, platform::SerialLine& line);
  Lumet(const Lumet&) = delete;
  Lumet& operator=(const Lumet&) = delete;

  // --- Connection (device/Lumet.cc) -------------------------------------------------------------

  /// Who hears of what the scanner sends; not owned, and nobody at first. Any thread.
  LumetDelegate* delegate() const { return delegate_.load(); }
  /// Sets the owner, who must outlive the read thread's use of it. Any thread.
  void setDelegate(LumetDelegate* owner) { delegate_.store(owner); }

  /// Opens the scanner's port and starts the start-up commands. Takes about a second. Connection
  /// thread.
  /// @param path  NUL-terminated path of the port
  /// @return 1 when the port opened, else 0. The scanner itself reports through
  ///         TavoInitializationDone, if it answers.
  std::uint8_t connectTavo(const char* path);

  /// Resets the receive path and the queue, starts the command thread if there is none, and queues
  /// the start-up commands. Sleeps one second.
  void InitTavo();

  /// Closes the port, empties the identity texts, lets the command thread end. Any thread but the
  /// read thread; allowed on a session that never connected.
  void disconnectTavo();

  /// The scanner's serial number. Those who show it start at kHiddenSerialCharacters.
  const SerialNumberField& returnSerialNumber() const { return SerialNo; }

  // --- Receiving (device/HandleInputData.cc, device/HandleCommandData.cc); read thread ----------

  /// Takes a chunk in. Its bytes go through HandleInputData in order, but for those of a frame's or
  /// burst's body, with which nothing happens before the last: they are stored in one go.
  void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) override;

  /// Takes one byte through the receive states.
  void HandleInputData(std::uint8_t byte);

  /// Acts on a complete answer by the type of the command that waits.
  /// @param data    the answer; always RxBuffer
  /// @param length  how many bytes the scanner sent, which may be more than RxBuffer holds
  void HandleCommandData(const std::uint8_t* data, std::int32_t length);

  // --- Sending (device/CommandThread.cc) --------------------------------------------------------

  /// Queues a wake-up. The flag is queued with it and changes nothing in what is sent.
  void WakeupTavo(bool flag);

  /// The body of the command thread: ends soon after the session was disconnected.
  void CommandThread();

  /// Sends the entry at the head of the queue, if one waits and no answer is outstanding, and
  /// waits for its answer. One pass of the command thread without its pause.
  void DispatchCommand();

  /// Takes the entry being served off the queue, sends it and waits five seconds for its answer.
  /// When there is none, nothing more is sent until some answer is complete. Command thread.
  void ThreadSendCommand();

  /// Sends commandBuf, a byte per millisecond. Command thread.
  void SendCommand();

  /// Sends commandBuf and polls for its answer every 0.1 s.
  /// @param waitFactor  in half seconds; 0 does not wait
  /// @return 1 when it was answered in time, else 0.
  std::uint8_t SendCommandAndWait(std::int32_t waitFactor);

  /// Serves a wake-up: sends "W" up to five times, half a second each. If none is answered, every
  /// command that waits is dropped and the receive path starts anew. Command thread.
  void WakeupCommand();

  /// Sends three NULs, for which there is no answer. Command thread.
  void SendNullData();

  // --- Device commands (device/DeviceCommands.cc): each queues and returns ----------------------

  // Any thread. A queue that is full refuses the command, which is only logged. The bytes stand in
  // docs/protocol.md.

  void GetSerialNumber();  ///< the answer fills SerialNo
  void GetFWVersion();     ///< the answer fills FWVersion and decides bTavo300
  void GetAssetNumber();   ///< the answer fills AssetNumber

  /// Switches wedge mode on or off. The answer runs SyncTavoClock.
  void SetWedgeMode(bool on);

  /// Sets the scanner's clock to the computer's local time, if bSyncClock says so; the owner hears
  /// of TavoInitializationDone with the answer. Else it hears of it at once, on this thread.
  void SyncTavoClock();

  /// Erases every record in the scanner.
  void EraseTavoMemory();

  /// Decides bTavo300 from FWVersion. Read thread.
  void InitialSetting();

  // --- Record download (download/RecordDownload.cc) ---------------------------------------------

  /// Queues a download of all records. Any thread.
  void Synchronize();

  void SynchronizeRecord();     ///< serves "p": one command per record. Command thread.
  void SynchronizeBurst();      ///< serves "P": all records in one transfer. Command thread.
  void SynchronizeOneRecord();  ///< serves "q": the record at SyncStartIndex. Command thread.
  void SynchronizeBurstData();  ///< formats the records of a burst in RxBuffer. Read thread.

  // --- Record fields (download/RecordFields.cc); read thread ------------------------------------

  /// The number in `count` bytes (0 to 4) of RxBuffer from `start` on, most significant first.
  /// Bytes outside the buffer count as 0.
  std::uint32_t MakeInteger(std::int32_t start, std::int32_t count) const;

  /// The number in four bytes, most significant first.
  static std::uint32_t MakeOneNumber(const std::uint8_t* fourBytes);

  /// Stores `length` - 1 bytes of an answer, as many of them as fit, as the field's text.
  template <std::size_t Size>
  static void CopyStringData(const std::uint8_t* source, ByteField<Size>& destination,
                             std::int32_t length) {
    destination.Assign(source, length > 1 ? static_cast<std::size_t>(length - 1) : 0);
  }

  /// Cuts SerialNo at its first '@', looking at `length` characters at most.
  void TruncateSerialNumber(std::int32_t length);

  // --- Composition (download/Composition.cc); read thread ---------------------------------------

  /// Composes the record at BufferOffset in RxBuffer and hands the line to the owner.
  void SynchronizeData();

  // --- Fields -----------------------------------------------------------------------------------

  SerialPort serial;                          ///< the line to the scanner
  Word<std::int32_t> state = 0;               ///< receive state
  Word<std::int32_t> writePtr = 0;            ///< bytes received of the present unit
  Word<std::int32_t> totallength = 0;         ///< bytes of the present frame or burst
  Word<std::int32_t> SyncEndIndex = 0;        ///< records that the scanner holds
  Word<std::int32_t> SyncStartIndex = 0;      ///< record fetched by the one-record download
  std::int32_t commandLength = 0;             ///< bytes in commandBuf; command thread
  Word<std::int32_t> commandType = 0;         ///< type of the command in progress
  std::atomic<std::uint8_t> bConnected = 0;   ///< the port is open; 0 ends the command thread
  Word<std::uint8_t> bCommandOn = 0;          ///< part of the session's layout; not used
  Word<std::uint8_t> bCommandDone = 1;        ///< no command waits for its answer
  std::uint8_t RxBuffer[kRxBufferSize] = {};  ///< the present answer or frame; read thread
  std::uint8_t commandBuf[kCommandBufferSize] = {};  ///< the command being sent; command thread
  CommandQueue cmdArray;                             ///< the commands that wait
  ThreadHandle commandThread;                        ///< held while a command thread runs
  ByteField<11> FWVersion{"0.00.00000"};  ///< firmware version; written by the read thread
  ByteField<33> AssetNumber;              ///< empty until asked for; written by the read thread

 private:
  // The largest unit that a 24-bit length can announce, and one more. Received bytes are counted
  // up to here, so that a unit that never ends neither overflows the count nor meets a length.
  static constexpr std::int32_t kCountLimit = 1 << 24;

  void Queue(std::initializer_list<std::uint8_t> entry);
  void SetCommand(std::string_view command);
  void TakeCommand();
  void ConsumeHead();
  void DeliverAnswer();

  /// Stores bytes of a frame or burst, as many as come before its last one.
  /// @return how many; 0 when the next byte has to go through the receive states
  std::int32_t StoreBody(const std::uint8_t* bytes, std::int32_t count);

  platform::Clock& clock_;
  std::atomic<LumetDelegate*> delegate_{nullptr};
  std::optional<CommandQueue::Entry> head_;  // the entry being served; command thread
  std::string record_;                       // the line handed to the owner; read thread
};

}  // namespace quillet
