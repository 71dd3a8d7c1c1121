#include "device/SerialPort.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "base/Log.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

constexpr auto kReadPause = 200us;
constexpr auto kTransmitPause = 1ms;

// A longer chunk is handed over without a NUL behind it; the shorter ones can be logged as text.
constexpr ssize_t kTerminatedBelow = 2048;

// 115200 is the numeric speed; POSIX asks for the symbolic code (termios.h).
constexpr speed_t kSpeed = B115200;

struct Line {
  speed_t speed;
  int dataBits;
  int parity;  // 0 none, 1 odd, anything else even
  int stopBits;
};

constexpr Line kScannerLine{kSpeed, 8, 0, 1};

tcflag_t ControlBits(const Line& line) {
  tcflag_t bits = CLOCAL;
  bits |= line.dataBits == 7 ? CS7 : CS8;
  if (line.parity != 0) bits |= PARENB;
  if (line.parity == 1) bits |= PARODD;
  if (line.stopBits >= 2) bits |= CSTOPB;
  return bits;
}

// Opens the device and sets its line; -1 when it does not open. What is no terminal at all has no
// settings to refuse and is used as it is.
int OpenLine(const char* path, const Line& line, int flags) {
  const int descriptor = open(path, flags | O_CLOEXEC);
  if (descriptor < 0) return -1;
  termios settings{};
  if (tcgetattr(descriptor, &settings) == 0) {
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | PARODD);
    settings.c_cflag |= ControlBits(line);
    // Raw: a line starts out in canonical mode with echo and flow control on Linux, but records
    // hold every byte value, carriage returns and XON/XOFF among them.
    settings.c_iflag = 0;
    settings.c_oflag = 0;
    settings.c_lflag = 0;
    cfsetispeed(&settings, line.speed);
    cfsetospeed(&settings, line.speed);
    tcsetattr(descriptor, TCSANOW, &settings);
  }
  return descriptor;
}

// Closes the device at once. Bytes that a scanner does not take would otherwise hold the close up
// for as long as the driver's closing wait, thirty seconds as a rule on Linux (setserial(8)).
void CloseLine(int descriptor) {
  tcflush(descriptor, TCOFLUSH);
  close(descriptor);
}

// A port that is tried after one that did not answer takes its place; the old descriptor, which
// nobody could reach any more, is given back. 0 is what a fresh channel holds without owning it.
void Put(Descriptor& place, int descriptor) {
  const int replaced = place.Exchange(descriptor);
  if (replaced > 0) CloseLine(replaced);
}

}  // namespace

std::int32_t Descriptor::Exchange(std::int32_t replacement) {
  const std::int32_t old = number_.exchange(replacement);
  while (users_.load() != 0) std::this_thread::yield();
  return old;
}

std::uint8_t SerialPort::openConnections(const char* path) {
  Put(inputfd, OpenLine(path, kScannerLine, O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (inputfd < 0) return 0;
  Put(outputfd, OpenLine(path, kScannerLine, O_WRONLY | O_NONBLOCK | O_NOCTTY));
  if (outputfd < 0) {
    closeInputConnection();
    return 0;
  }
  bIsClosed = 0;
  if (readThread.Claim() && !readThread.Start([this] { ReadThread(); })) {
    Log(log_, "-[SerialPort openConnections:]", ": no thread to read with");
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
  const ssize_t count =
      inputfd.With([&](int descriptor) { return read(descriptor, buffer, kReadBufferSize); });
  if (count <= 0) return;
  if (count < kTerminatedBelow) buffer[count] = 0;
  if (SerialPortDelegate* receiver = delegate()) {
    receiver->DataFromDevice(buffer, static_cast<std::int32_t>(count));
  } else {
    Log(log_, "No Lumet delegate");
  }
}

void SerialPort::transmitCharacters(const std::uint8_t* bytes, std::int32_t count) {
  for (std::int32_t i = 0; i < count; ++i) {
    outputfd.With([&](int descriptor) { return write(descriptor, &bytes[i], 1); });
    clock_.Sleep(kTransmitPause);
  }
}

// The two tests differ on purpose: the input side never closes descriptor 0, the output side does.
// A channel that was never opened holds 0 in both, so closing it closes descriptor 0.
void SerialPort::closeInputConnection() {
  const int descriptor = inputfd.Exchange(-1);
  if (descriptor > 0) CloseLine(descriptor);
}

void SerialPort::closeOutputConnection() {
  const int descriptor = outputfd.Exchange(-1);
  if (descriptor > 0) CloseLine(descriptor);
  if (descriptor == 0) close(descriptor);
}

void SerialPort::closeConnections() {
  closeInputConnection();
  closeOutputConnection();
  bIsClosed = 1;
}

}  // namespace quillet
