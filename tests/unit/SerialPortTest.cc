#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "device/SerialPort.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/ScriptedLine.h"
#include "tests/support/SystemLine.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using test::FakeClock;
using test::Immortal;
using test::TemporaryFolder;
using test::WaitFor;

/// Creates a FIFO, which can be opened like a device, and returns its path.
std::string FifoIn(const TemporaryFolder& folder) {
  const std::string fifo = folder / "fifo";
  mkfifo(fifo.c_str(), 0600);
  return fifo;
}

class Collector final : public SerialPortDelegate {
 public:
  void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) override {
    const std::lock_guard lock(mutex_);
    received_.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    next_ = bytes[count];
  }
  void DeviceHungUp() override { ++hangUps_; }
  /// Returns the number of reported hang-ups.
  int hangUps() const { return hangUps_; }
  std::string received() const {
    const std::lock_guard lock(mutex_);
    return received_;
  }
  /// Returns the byte that followed the last received chunk in the read buffer.
  int next() const { return next_; }

 private:
  mutable std::mutex mutex_;
  std::string received_;
  std::uint8_t next_ = 0;
  int hangUps_ = 0;
};

std::ptrdiff_t Threads() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
}

bool IsOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

class SerialPortTest : public ::testing::Test {
 protected:
  ~SerialPortTest() override { clock.Stop(); }

  /// Opens a path through the operating system and starts the read thread.
  void Open(const std::string& path) {
    port.setDelegate(&collector);
    ASSERT_EQ(port.openConnections(path.c_str()), 1);
  }

  /// Adds a chunk to the scripted line and reads it.
  void Read(std::string_view chunk) {
    std::vector<std::uint8_t> buffer(SerialPort::kReadBufferSize, 0x55);
    line.Arrive(chunk);
    scripted.ReadOnce(buffer.data());
  }

  test::RecordingLog& log = Immortal<test::RecordingLog>();
  FakeClock& clock = Immortal<FakeClock>();
  Collector& collector = Immortal<Collector>();
  SerialPort& port = Immortal<SerialPort>(log, clock, test::SystemLine());
  test::ScriptedLine& line = Immortal<test::ScriptedLine>();
  SerialPort& scripted = Immortal<SerialPort>(log, clock, line);
  TemporaryFolder folder;
};

TEST_F(SerialPortTest, StartsOneReadThreadForAllConnections) {
  // When the first thread starts, a sanitizer may start a helper thread. `before` must count the
  // helper thread.
  std::thread([] {}).join();
  const auto before = Threads();
  Open(FifoIn(folder));
  EXPECT_EQ(Threads(), before + 1);
  port.closeConnections();
  EXPECT_EQ(port.bIsClosed(), 1);
  Open(folder / "fifo");
  EXPECT_EQ(Threads(), before + 1);
  EXPECT_EQ(port.bIsClosed(), 0);
  const std::uint8_t bytes[] = {'h', 'i'};
  port.transmitCharacters(bytes, 2);
  EXPECT_TRUE(WaitFor([&] { return collector.received() == "hi"; }));
}

TEST_F(SerialPortTest, ClosesInputIfOutputCannotBeOpened) {
  EXPECT_EQ(port.openConnections((folder / "absent").c_str()), 0);
  EXPECT_LT(port.inputfd(), 0);
  EXPECT_EQ(port.outputfd(), 0) << "the output must not be opened";
  // A folder can be opened for reading, but not for writing.
  EXPECT_EQ(port.openConnections(folder.path().c_str()), 0);
  EXPECT_EQ(port.inputfd(), -1);
  EXPECT_EQ(port.outputfd(), -1);
}

TEST_F(SerialPortTest, AppendsNulToChunksShorterThan2048Bytes) {
  scripted.setDelegate(&collector);
  std::size_t received = 0;
  for (const std::size_t size : {1U, 2047U, 2048U, 10239U}) {
    Read(std::string(size, 'x'));
    EXPECT_EQ(collector.received().size(), received += size);
    EXPECT_EQ(collector.next(), size < 2048 ? 0 : 0x55) << size;
  }
}

TEST_F(SerialPortTest, PausesAfterEachTransmittedByte) {
  ASSERT_EQ(scripted.openConnections("port"), 1);
  const std::uint8_t bytes[] = {'w', '1', '#'};
  scripted.transmitCharacters(bytes, 0);
  scripted.transmitCharacters(bytes, -1);
  EXPECT_TRUE(clock.sleeps().empty());
  scripted.transmitCharacters(bytes, 3);
  EXPECT_EQ(line.Sent(), "w1#");
  EXPECT_EQ(clock.sleeps(), (std::vector<FakeClock::Duration>{1ms, 1ms, 1ms}));
}

TEST_F(SerialPortTest, LogsAndDropsChunksIfThereIsNoDelegate) {
  for (const char* chunk : {"one", "two", ""}) Read(chunk);
  EXPECT_EQ(log.Count("No Lumet delegate"), 2U);
  scripted.setDelegate(&collector);
  Read("three");
  EXPECT_EQ(collector.received(), "three");
}

TEST_F(SerialPortTest, FailsToOpenIfClosedWhileOpening) {
  int opened = 0;
  line.onOpen = [&](const std::string&) {
    if (++opened == 2) scripted.closeConnections();
  };
  EXPECT_EQ(scripted.openConnections("port"), 0);
  EXPECT_EQ(scripted.inputfd(), -1);
  EXPECT_EQ(scripted.outputfd(), -1);
  EXPECT_EQ(scripted.bIsClosed(), 1);
}

TEST_F(SerialPortTest, KeepsDescriptorZeroOpenUntilTheOutputIsClosed) {
  ASSERT_TRUE(IsOpen(0) || open("/dev/null", O_RDWR) == 0);
  EXPECT_EQ(port.inputfd(), 0);
  EXPECT_EQ(port.outputfd(), 0);
  EXPECT_EQ(port.bIsClosed(), 0);
  port.closeInputConnection();
  EXPECT_EQ(port.inputfd(), -1);
  EXPECT_TRUE(IsOpen(0));
  port.closeOutputConnection();
  EXPECT_EQ(port.outputfd(), -1);
  EXPECT_FALSE(IsOpen(0));
  EXPECT_EQ(open("/dev/null", O_RDWR), 0);
}

TEST_F(SerialPortTest, AcceptsDescriptorZero) {
  close(0);
  Open(FifoIn(folder));
  EXPECT_EQ(port.inputfd(), 0);
  port.closeConnections();
  EXPECT_TRUE(IsOpen(0) || open("/dev/null", O_RDWR) == 0);
}

TEST_F(SerialPortTest, ClosesThePreviousPortBeforeOpening) {
  ASSERT_EQ(scripted.openConnections("one"), 1);
  const std::vector<std::int32_t> held = {scripted.inputfd(), scripted.outputfd()};
  std::vector<std::int32_t> closed;
  line.onOpen = [&](const std::string&) { closed = line.closed; };
  ASSERT_EQ(scripted.openConnections("two"), 1);
  EXPECT_EQ(closed, held);
}

TEST_F(SerialPortTest, FailsToOpenAPortReservedByAnotherProgram) {
  line.reservedElsewhere = true;
  EXPECT_EQ(scripted.openConnections("port"), 0);
  EXPECT_EQ(scripted.inputfd(), -1);
  EXPECT_EQ(scripted.outputfd(), -1);
  EXPECT_EQ(line.closed.size(), 2U);
  line.reservedElsewhere = false;
  EXPECT_EQ(scripted.openConnections("port"), 1);
}

TEST_F(SerialPortTest, IncreasesTimerSlackAfterASecondWithoutData) {
  std::vector<FakeClock::Duration> atDelivery;
  struct Receiver final : SerialPortDelegate {
    void DataFromDevice(const std::uint8_t*, std::int32_t) override { onData(); }
    std::function<void()> onData;
  } receiver;
  receiver.onData = [&] { atDelivery = clock.slacks(); };
  scripted.setDelegate(&receiver);
  for (int read = 0; read < 4999; ++read) Read("");
  EXPECT_TRUE(clock.slacks().empty());
  for (int read = 0; read < 3; ++read) Read("");
  EXPECT_EQ(clock.slacks(), (std::vector<FakeClock::Duration>{5ms}));
  Read("x");
  EXPECT_EQ(atDelivery, (std::vector<FakeClock::Duration>{5ms, 0ms}));
  for (int read = 0; read < 4999; ++read) Read("");
  EXPECT_EQ(clock.slacks().size(), 2U);
  scripted.setDelegate(nullptr);
}

TEST_F(SerialPortTest, ReportsOnceThatAnIdleDeviceHasHungUp) {
  scripted.setDelegate(&collector);
  for (int round = 1; round <= 2; ++round) {
    for (int read = 0; read < 5'000 + 200; ++read) Read("");
    line.hungUp = true;
    for (int read = 0; read < 2 * 200 - 1; ++read) Read("");
    EXPECT_EQ(collector.hangUps(), round - 1);
    for (int read = 0; read < 3 * 200; ++read) Read("");
    EXPECT_EQ(collector.hangUps(), round);
    line.hungUp = false;
    Read("x");
  }
}

TEST_F(SerialPortTest, OpensARawLineAt115200BitsPerSecondAnd8N1) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  Open(ptsname(master));
  for (const int descriptor : {port.inputfd(), port.outputfd()}) {
    termios settings{};
    ASSERT_EQ(tcgetattr(descriptor, &settings), 0);
    EXPECT_EQ(cfgetispeed(&settings), speed_t{B115200});
    EXPECT_EQ(cfgetospeed(&settings), speed_t{B115200});
    EXPECT_EQ(settings.c_cflag & CSIZE, tcflag_t{CS8});
    EXPECT_EQ(settings.c_cflag & (CSTOPB | PARENB | PARODD), 0U);
    EXPECT_NE(settings.c_cflag & CLOCAL, 0U);
    EXPECT_NE(settings.c_cflag & CREAD, 0U);
    EXPECT_EQ(settings.c_lflag & (ICANON | ECHO | ISIG), 0U);
    EXPECT_EQ(settings.c_iflag & (IXON | IXOFF | ICRNL | INLCR | IGNCR | ISTRIP), 0U);
    EXPECT_EQ(settings.c_oflag & OPOST, 0U);
    EXPECT_NE(fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
  }
}

TEST_F(SerialPortTest, NeverReadsADescriptorAfterClosingIt) {
  // A new pipe usually gets the descriptors that were just closed. If the port still read from one
  // of them, it would consume the pipe's bytes.
  const std::string fifo = FifoIn(folder);
  for (int round = 0; round < 200; ++round) {
    Open(fifo);
    std::this_thread::sleep_for(std::chrono::microseconds(round * 3));
    port.closeConnections();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    ASSERT_EQ(write(ends[1], "mine", 4), 4);
    std::this_thread::sleep_for(200us);
    char text[8];
    ASSERT_EQ(read(ends[0], text, sizeof text), 4);
    close(ends[0]);
    close(ends[1]);
  }
  EXPECT_EQ(collector.received(), "");
}

}  // namespace
}  // namespace quillet
