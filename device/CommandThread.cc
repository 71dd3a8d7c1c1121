#include <algorithm>
#include <cstring>

#include "base/Log.h"
#include "device/Lumet.h"
#include "device/ReceiveState.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr auto kPollPause = 100ms;
constexpr std::int32_t kPollsPerWaitFactor = 5;
constexpr std::int32_t kCommandWait = 10;
constexpr std::int32_t kWakeupWait = 1;
constexpr int kWakeupAttempts = 5;

}  // namespace

void Lumet::Queue(std::initializer_list<std::uint8_t> entry) {
  if (!cmdArray.Append(entry)) {
    Log(log_, "-[Lumet Queue]", ": no room for command ", Hex{std::data(entry)[1]});
  }
}

void Lumet::WakeupTavo(bool flag) {
  Queue({static_cast<std::uint8_t>(flag), 'W'});
}

void Lumet::CommandThread() {
  do {
    do {
      clock_.Sleep(kPollPause);
      if (bConnected) DispatchCommand();
    } while (bConnected);
    commandThread.Clear();
    // A connection made between the last look and the clearing has found this thread in place and
    // started none of its own; the thread then goes on for it. Both sides store first and look
    // second, in one order for all threads, so that at least one of them sees the other.
  } while (bConnected && commandThread.Claim());
  Log(log_, "-[Lumet CommandThread]", " has finished");
}

void Lumet::DispatchCommand() {
  if (!bCommandDone) return;
  head_ = cmdArray.Head();
  if (!head_) return;
  commandType = head_->type;
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
    case 'E':
    case 'M':
    case 'N':
    case 'V':
    case 'b':
    case 'w':
      ThreadSendCommand();
      break;
    case 'P':
      SynchronizeBurst();
      break;
    case 'W':
      WakeupCommand();
      break;
    case 'p':
      SynchronizeRecord();
      break;
    case 'q':
      SynchronizeOneRecord();
      break;
    default:
      break;  // stays at the head and blocks the queue until the next InitTavo
  }
}

// Takes the entry being served off the queue. After a reset there is nothing left to take: what
// stands there then belongs to the new connection.
void Lumet::ConsumeHead() {
  if (head_) cmdArray.Consume(*head_);
  head_.reset();
}

// Moves the entry being served into commandBuf.
void Lumet::TakeCommand() {
  const CommandQueue::Entry entry = head_.value_or(CommandQueue::Entry{});
  ConsumeHead();
  SetCommand({reinterpret_cast<const char*>(entry.command.data()), entry.commandLength});
}

void Lumet::SetCommand(std::string_view command) {
  const std::size_t length = std::min<std::size_t>(command.size(), kCommandBufferSize - 1);
  std::memcpy(commandBuf, command.data(), length);
  commandBuf[length] = 0;
  commandLength = static_cast<std::int32_t>(length);
}

void Lumet::ThreadSendCommand() {
  TakeCommand();
  bCommandDone = 0;
  SendCommandAndWait(kCommandWait);
}

void Lumet::SendCommand() {
  Log(log_, "-[Lumet SendCommand]", "[",
      ForeignText(commandBuf, static_cast<std::size_t>(commandLength)), ":", commandLength, "]");
  // Cleared before the bytes leave and not behind them: a quick scanner answers within the pause
  // after the last byte, and clearing then would wipe its answer out.
  bCommandDone = 0;
  serial.transmitCharacters(commandBuf, commandLength);
}

std::uint8_t Lumet::SendCommandAndWait(std::int32_t waitFactor) {
  SendCommand();
  for (std::int32_t poll = 0; poll < kPollsPerWaitFactor * waitFactor; ++poll) {
    if (bCommandDone) return 1;
    clock_.Sleep(kPollPause);
  }
  // The last sleep is followed by no further look.
  return 0;
}

void Lumet::WakeupCommand() {
  Log(log_, "-[Lumet WakeupCommand]");
  ConsumeHead();
  // Decided by the command sent before, not by the argument in the wake-up entry.
  if (commandBuf[0] == 0x01) SendNullData();
  for (int attempt = 0; attempt < kWakeupAttempts; ++attempt) {
    SetCommand("W");
    bCommandDone = 0;
    if (SendCommandAndWait(kWakeupWait)) return;
  }
  state = kPlainAnswer;
  writePtr = 0;
  cmdArray.Reset();
  bCommandDone = 1;
}

void Lumet::SendNullData() {
  SetCommand(std::string_view("\0\0\0", 3));
  SendCommand();
}

}  // namespace quillet
