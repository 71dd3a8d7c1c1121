#include "device/Lumet.h"

#include <algorithm>
#include <chrono>
#include <cstring>

#include "base/Log.h"
#include "device/ReceivedBytes.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using Event = ReceiveMachine::Event;
using Phase = DisplayState::Phase;

constexpr auto kStartPause = 1s;
constexpr auto kPollPause = 100ms;
constexpr std::int32_t kPollsPerWaitFactor = 5;
constexpr std::int32_t kCommandWait = 10;
constexpr std::int32_t kWakeupWait = 1;
constexpr int kWakeupAttempts = 5;

}  // namespace

Lumet::Lumet(SystemLog& log, platform::Clock& clock, platform::SerialLine& line)
    : log_(log), clock_(clock), serial_(log, clock, line) {
  Log(log_, "-[Lumet init]");
  serial_.setDelegate(this);
}

std::uint8_t Lumet::connectTavo(const char* path) {
  Log(log_, "-[Lumet connectTavo:]");
  lacksThread_ = false;
  if (!serial_.openConnections(path)) {
    Log(log_, "[", ForeignText(path), "]:Open failed !!!");
    return 0;
  }
  bConnected_ = 1;
  Log(log_, "[", ForeignText(path), "]:Open succeeded !!!");
  if (serial_.bIsClosed()) {
    // disconnectTavo has closed the port. It may have run before bConnected_ was set above.
    bConnected_ = 0;
    return 0;
  }
  InitTavo();
  return 1;
}

void Lumet::InitTavo() {
  Log(log_, "-[Lumet InitTavo]");
  receive_.Reset();
  cmdArray_.StartConnection();
  queuePort_ = serial_.openings();
  display_ = DisplayState();
  // If the command thread of the previous connection is still running, it is reused.
  lacksThread_ = commandThread_.Claim() && !commandThread_.Start([this] { CommandThread(); });
  if (lacksThread_) {
    Log(log_, "-[Lumet InitTavo]", ": cannot start the command thread");
  }
  WakeupTavo(false);
  GetSerialNumber();
  GetFWVersion();
  SetWedgeMode(true);
  clock_.Sleep(kStartPause);
}

void Lumet::disconnectTavo() {
  serial_.closeConnections();
  SerialNo.Put(0, 0);
  FWVersion.Put(0, 0);
  bConnected_ = 0;
}

void Lumet::DataFromDevice(const std::uint8_t* bytes, std::int32_t count) {
  const auto size = static_cast<std::size_t>(std::max(count, 0));
  Log(log_, "-[Lumet DataFromDevice::]", "[", ForeignText(bytes, size), ":", count, "]");
  Receive({bytes, size});
}

void Lumet::DeviceHungUp() {
  if (LumetDelegate* owner = delegate()) owner->DeviceHungUp();
}

void Lumet::Receive(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ReceiveMachine::Step step = receive_.Take(bytes);
    bytes = bytes.subspan(step.taken);
    ShowReceived();
    if (step.event == Event::kUnsolicited) {
      download_->SynchronizeData();
    } else if (step.event != Event::kNone) {
      if (step.event == Event::kFrame && commandType_ == 'p') counts_.RecordAnswered();
      // SynchronizeData and SynchronizeBurstData archive the answers to "p" and "P".
      const bool isMisplaced = commandType_ != 'p' && commandType_ != 'P';
      if (step.event == Event::kFrame && isMisplaced) download_->KeepMisplacedRecord();
      HandleCommandData(receive_.RxBuffer().data(), receive_.writePtr());
    }
    cmdArray_.RewindIfEmpty();
  }
}

// A burst without records never completes, so its progress is not shown.
void Lumet::ShowReceived() {
  const std::int32_t announced = receive_.totallength();
  if (receive_.state() != kBurstBody || announced <= kLengthBytes) return;
  const std::int32_t received = receive_.writePtr();
  Show({received < announced ? Phase::kBurst : Phase::kDelivering, received, announced});
}

void Lumet::HandleCommandData(const std::uint8_t* data, std::int32_t length) {
  const auto held = static_cast<std::size_t>(std::clamp(length, 0, ReceiveMachine::kBufferSize));
  Log(log_, "-[Lumet HandleCommandData::]", "[", ForeignText(data, held), ":", length, ":",
      receive_.writePtr(), ":", Hex{static_cast<std::uint32_t>(commandType_)}, "]");

  switch (commandType_) {
    case '2':
      CopyStringData(data, AssetNumber, length);
      break;
    case 'C':
      if (LumetDelegate* owner = delegate()) owner->TavoInitializationDone(true);
      break;
    case 'E':
      if (archive_) archive_->Erased();
      break;
    case 'M':
      CopyStringData(data, SerialNo, length);
      TruncateSerialNumber(length);
      break;
    case 'N':
      syncEndIndex_ = static_cast<std::int32_t>(MakeOneNumber(data));
      counts_.Begin();
      if (archive_) archive_->DownloadStarted(syncEndIndex_, cmdArray_.Holds('E'));
      break;
    case 'P':
      counts_.BurstAnswered(serial_.openings());
      download_->SynchronizeBurstData();
      break;
    case 'V':
      CopyStringData(data, FWVersion, length);
      InitialSetting();
      break;
    case 'p':
      download_->SynchronizeData();
      break;
    case 'w':
      SyncTavoClock();
      break;
    default:
      break;
  }

  // Read before bCommandDone_ is set, since the command thread may change the type afterwards.
  const std::int32_t answered = commandType_;
  receive_.Reset();
  bCommandDone_ = 1;
  if (answered == '1') {
    if (LumetDelegate* owner = delegate()) owner->SynchronizeFinished();
  }
}

void Lumet::TruncateSerialNumber(std::int32_t length) {
  const auto last = static_cast<std::int32_t>(SerialNumberField::size()) - 1;
  const auto limit = static_cast<std::size_t>(std::clamp(length, 0, last));
  std::size_t index = 0;
  while (index < limit && SerialNo[index] != '@') ++index;
  SerialNo.Put(index, 0);
}

void Lumet::InitialSetting() {
  Log(log_, "-[Lumet InitialSetting]");
  const std::uint8_t family = FWVersion[5];
  const std::uint8_t variant = FWVersion[6];
  // The last condition intentionally reads character 2, not 6.
  const bool is300 = (family == '4' && (variant == '2' || variant == '5')) ||
                     (family == '3' && (variant == '0' || FWVersion[2] == '2'));
  bTavo300 = is300 ? 1 : 0;
}

void Lumet::Queue(std::initializer_list<std::uint8_t> entry) {
  if (!cmdArray_.Append(entry)) {
    Log(log_, "-[Lumet Queue]", ": queue full, dropped command ", Hex{std::data(entry)[1]});
  }
}

void Lumet::CommandThread() {
  do {
    do {
      clock_.Sleep(kPollPause);
      if (bConnected_) DispatchCommand();
    } while (bConnected_);
    commandThread_.Clear();
    // If a connection was made between the loop's last check and Clear, no new thread was started,
    // so this thread must continue. This thread and the connecting thread each store one variable,
    // then load the other variable (sequentially consistent), so at least one sees the new value.
  } while (bConnected_ && commandThread_.Claim());
  Log(log_, "-[Lumet CommandThread]", " has finished");
}

void Lumet::DispatchCommand() {
  if (!bCommandDone_) return;
  head_ = cmdArray_.Head();
  if (!head_) return;
  commandType_ = head_->type;
  Log(log_, "-[Lumet CommandThread]");
  switch (head_->type) {
    case '0':
    case '1':
    case '2':
      head_->command[0] = 'G';
      ThreadSendCommand();
      break;
    case 'A':
    case 'C':
    case 'M':
    case 'N':
    case 'V':
    case 'b':
    case 'w':
      ThreadSendCommand();
      break;
    case 'E':
      EraseIfPermitted();
      break;
    case 'P':
      download_->SynchronizeBurst();
      break;
    case 'W':
      WakeupCommand();
      break;
    case 'p':
      download_->SynchronizeRecord();
      break;
    case 'q':
      download_->SynchronizeOneRecord();
      break;
    default:
      break;  // an unknown command blocks the queue until the next InitTavo
  }
}

void Lumet::ConsumeHead() {
  if (head_) cmdArray_.Consume(*head_);
}

bool Lumet::DropQueue() {
  return head_ && cmdArray_.ResetConnectionOf(*head_);
}

void Lumet::ExpectBurst() {
  counts_.BurstRequested(serial_.openings());
  receive_.ExpectBurst();
}

void Lumet::TakeCommand() {
  if (!head_) return;
  ConsumeHead();
  SetCommand({reinterpret_cast<const char*>(head_->command.data()), head_->commandLength});
}

void Lumet::SetCommand(std::string_view command) {
  const std::size_t length = std::min<std::size_t>(command.size(), kCommandBufferSize - 1);
  std::memcpy(commandBuf_, command.data(), length);
  commandBuf_[length] = 0;
  commandLength_ = static_cast<std::int32_t>(length);
  bCommandDone_ = 0;
}

void Lumet::ThreadSendCommand() {
  TakeCommand();
  SendCommandAndWait(kCommandWait);
}

void Lumet::EraseIfPermitted() {
  const std::optional<ErasePermit> permit = archive_ ? archive_->AwaitCopy() : std::nullopt;
  if (!permit) {
    Log(log_, "-[Lumet EraseTavoMemory]", ": withheld, the records are not on the disk");
    return ConsumeHead();
  }
  // A different scanner may have been connected during the wait. InitTavo restarts the queue before
  // it sets queuePort_, so queuePort_ must be read before the queue is checked.
  const std::uint32_t port = queuePort_;
  if (!cmdArray_.Contains(*head_) || !SendErase(*permit, port)) archive_->EraseDropped();
}

bool Lumet::SendErase(const ErasePermit& /*permit*/, std::uint32_t port) {
  TakeCommand();
  LogCommand();
  if (serial_.TransmitIfSamePort(port, commandBuf_[0])) {
    AwaitAnswer(kCommandWait);
    return true;
  }
  Log(log_, "-[Lumet EraseTavoMemory]", ": withheld, the port was closed");
  bCommandDone_ = 1;
  return false;
}

void Lumet::LogCommand() {
  Log(log_, "-[Lumet SendCommand]", "[",
      ForeignText(commandBuf_, static_cast<std::size_t>(commandLength_)), ":", commandLength_, "]");
}

void Lumet::SendCommand() {
  LogCommand();
  // Cleared before sending, since a fast scanner may answer during the pause after the last byte.
  bCommandDone_ = 0;
  serial_.transmitCharacters(commandBuf_, commandLength_);
}

std::uint8_t Lumet::SendCommandAndWait(std::int32_t waitFactor) {
  SendCommand();
  return AwaitAnswer(waitFactor);
}

std::uint8_t Lumet::AwaitAnswer(std::int32_t waitFactor) {
  for (std::int32_t poll = 0; poll < kPollsPerWaitFactor * waitFactor; ++poll) {
    if (bCommandDone_) return 1;
    clock_.Sleep(kPollPause);
  }
  return 0;  // an answer during the last sleep counts as late
}

void Lumet::WakeupCommand() {
  Log(log_, "-[Lumet WakeupCommand]");
  ConsumeHead();
  // Whether NULs are sent depends on the previous command, which is still in the buffer. The
  // argument of the wake-up entry is ignored.
  if (commandBuf_[0] == 0x01) SendNullData();
  for (int attempt = 0; attempt < kWakeupAttempts; ++attempt) {
    SetCommand("W");
    if (SendCommandAndWait(kWakeupWait)) return;
  }
  // If the scanner was reconnected during the attempts, the new connection's commands and received
  // bytes are kept.
  if (DropQueue()) {
    receive_.Reset();
    Show(Phase::kGivenUp);
  }
  bCommandDone_ = 1;
}

void Lumet::SendNullData() {
  SetCommand(std::string_view("\0\0\0", 3));
  SendCommand();
}

void Lumet::SyncTavoClock() {
  if (!bSyncClock) {
    if (LumetDelegate* owner = delegate()) owner->TavoInitializationDone(true);
    return;
  }
  // Intentional: the clock is read twice. At midnight, the date and the time may be from different
  // days.
  const CalendarTime date = clock_.LocalTime();
  const CalendarTime time = clock_.LocalTime();
  const auto byte = [](std::int32_t value) { return static_cast<std::uint8_t>(value); };
  Queue({0x07, 'C', byte(date.year - 2000), byte(date.month), byte(date.day), byte(time.hour),
         byte(time.minute), byte(time.second)});
}

}  // namespace quillet
