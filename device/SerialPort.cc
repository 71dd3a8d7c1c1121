#include "device/SerialPort.h"

#include <chrono>
#include <thread>

#include "base/Log.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using platform::SerialLine;

constexpr auto kReadPause = 200us;
constexpr auto kTransmitPause = 1ms;

// Number of reads without data (at least 1 s) after which each pause may last up to kIdleSlack
// longer, so that the processor wakes up less often. Only 58 bytes arrive in 5 ms at 115200 bit/s,
// so no data is lost.
constexpr std::int32_t kReadsUntilIdle = 5000;
constexpr auto kIdleSlack = 5ms;

// Number of reads between two hang-up checks of an idle port. These reads take about a second.
constexpr std::int32_t kReadsPerCheck = 200;
// Number of successive checks that must find a hang-up. One is not enough: when a device is
// unplugged, its line hangs up a few milliseconds before the removal is reported.
constexpr std::int32_t kHungUpChecks = 2;

// Chunks with fewer bytes than this are followed by a NUL.
constexpr std::int32_t kTerminatedBelow = 2048;

constexpr platform::LineSettings kScannerLine{115200, 8, 0, 1};

}  // namespace

std::int32_t Descriptor::Exchange(std::int32_t replacement) {
  replacements_.fetch_add(1);
  const std::int32_t old = number_.exchange(replacement);
  while (users_.load() != 0) std::this_thread::yield();
  return old;
}

// Stores a descriptor and closes the previous one. Descriptor 0 is not closed: it is the initial
// value, and the channel does not own it.
void SerialPort::Put(Descriptor& place, std::int32_t line) {
  const std::int32_t replaced = place.Exchange(line);
  if (replaced > 0) line_.Close(replaced);
}

std::uint8_t SerialPort::openConnections(const char* path) {
  lacksThread_ = false;
  // Closes the previous port, because a port that is still reserved cannot be opened again.
  for (Descriptor* held : {&inputfd_, &outputfd_}) {
    if (*held > 0) Put(*held, -1);
  }
  Put(inputfd_, line_.Open(path, SerialLine::Access::kRead, kScannerLine));
  if (inputfd_ < 0) return 0;
  Put(outputfd_, line_.Open(path, SerialLine::Access::kWrite, kScannerLine));
  // Reserves the port through the output descriptor, because that descriptor is closed last.
  if (outputfd_ < 0 || !outputfd_.With([this](std::int32_t line) { return line_.Reserve(line); })) {
    closeInputConnection();
    closeOutputConnection();
    return 0;
  }
  bIsClosed_ = 0;
  // Another thread may have closed the port between the two opens or before bIsClosed_ was cleared.
  if (inputfd_ < 0 || outputfd_ < 0) {
    closeConnections();
    return 0;
  }
  lacksThread_ = readThread_.Claim() && !readThread_.Start([this] { ReadThread(); });
  if (lacksThread_) {
    Log(log_, "-[SerialPort openConnections:]", ": cannot start the read thread");
    closeConnections();
    return 0;
  }
  return 1;
}

void SerialPort::ReadThread() {
  std::uint8_t buffer[kReadBufferSize];
  for (;;) {
    clock_.Sleep(kReadPause);
    ReadOnce(buffer);
  }
}

void SerialPort::ReadOnce(std::uint8_t* buffer) {
  const std::int32_t count = inputfd_.With([&](std::int32_t line) {
    return line_.Read(line, {buffer, kReadBufferSize});
  });
  if (count <= 0) return CountSilence();
  // Resets the slack here, because threads and programs that the receiver starts inherit it.
  if (silentReads_ >= kReadsUntilIdle) clock_.SetSleepSlack(0us);
  silentReads_ = 0;
  hungUpChecks_ = 0;
  if (count < kTerminatedBelow) buffer[count] = 0;
  if (SerialPortDelegate* receiver = delegate()) {
    receiver->DataFromDevice(buffer, count);
  } else {
    Log(log_, "No Lumet delegate");
  }
}

void SerialPort::CountSilence() {
  if (++silentReads_ == kReadsUntilIdle) clock_.SetSleepSlack(kIdleSlack);
  if (silentReads_ < kReadsUntilIdle + kReadsPerCheck) return;
  silentReads_ = kReadsUntilIdle;
  CheckHangUp();
}

void SerialPort::CheckHangUp() {
  if (!inputfd_.With([this](std::int32_t line) { return line_.IsHungUp(line); })) {
    hungUpChecks_ = 0;
  } else if (hungUpChecks_ < kHungUpChecks && ++hungUpChecks_ == kHungUpChecks) {
    if (SerialPortDelegate* receiver = delegate()) receiver->DeviceHungUp();
  }
}

void SerialPort::transmitCharacters(const std::uint8_t* bytes, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) {
    outputfd_.With([&](std::int32_t line) {
      line_.Write(line, bytes[i]);
      return 0;
    });
    clock_.Sleep(kTransmitPause);
  }
}

// Descriptor::With reads the descriptor first. If openings() still equals `openings` afterwards,
// the descriptor belongs to the expected port, and it stays open during the write.
bool SerialPort::TransmitIfSamePort(std::uint32_t openings, std::uint8_t byte) {
  const bool written = outputfd_.With([&](std::int32_t line) {
    if (this->openings() != openings) return false;
    line_.Write(line, byte);
    return true;
  });
  if (written) clock_.Sleep(kTransmitPause);
  return written;
}

// Intentional: only closeOutputConnection closes descriptor 0. Because 0 is the initial value,
// closeOutputConnection closes descriptor 0 even if the output was never opened.
void SerialPort::closeInputConnection() {
  const std::int32_t line = inputfd_.Exchange(-1);
  if (line > 0) line_.Close(line);
}

void SerialPort::closeOutputConnection() {
  const std::int32_t line = outputfd_.Exchange(-1);
  if (line >= 0) line_.Close(line);
}

void SerialPort::closeConnections() {
  closeInputConnection();
  closeOutputConnection();
  bIsClosed_ = 1;
}

}  // namespace quillet
