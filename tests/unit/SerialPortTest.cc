#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
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
using test::RecordingLog;
using test::TemporaryFolder;
using test::WaitFor;

// A FIFO opens like a device, and what is written to it is read back.
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
  }
  std::string received() const {
    const std::lock_guard lock(mutex_);
    return received_;
  }

 private:
  mutable std::mutex mutex_;
  std::string received_;
};

// Hands over one chunk and notes the byte behind it.
class ByteBehind final : public SerialPortDelegate {
 public:
  void DataFromDevice(const std::uint8_t* bytes, std::int32_t count) override {
    lastCount = count;
    behind = bytes[count];
  }
  std::int32_t lastCount = 0;
  std::uint8_t behind = 0;
};

std::size_t NumberOfThreads() {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    ++count;
  }
  return count;
}

bool IsOpen(int descriptor) {
  return fcntl(descriptor, F_GETFD) != -1;
}

class SerialPortTest : public ::testing::Test {
 protected:
  RecordingLog& log = Immortal<RecordingLog>();
  FakeClock& clock = Immortal<FakeClock>();
  Collector& collector = Immortal<Collector>();
  SerialPort& port = Immortal<SerialPort>(log, clock, test::SystemLine());
  test::ScriptedLine& line = Immortal<test::ScriptedLine>();
  SerialPort& scripted = Immortal<SerialPort>(log, clock, line);  // no thread reads it
  TemporaryFolder folder;
};

TEST_F(SerialPortTest, AFreshChannelHoldsDescriptorZeroInBothFields) {
  EXPECT_EQ(port.inputfd(), 0);
  EXPECT_EQ(port.outputfd(), 0);
  EXPECT_EQ(port.bIsClosed(), 0);
}

TEST_F(SerialPortTest, OpeningAgainAfterClosingStartsNoSecondReadThread) {
  port.setDelegate(&collector);
  std::thread([] {}).join();  // with the first thread a sanitizer starts one of its own
  const std::size_t before = NumberOfThreads();
  ASSERT_EQ(port.openConnections(FifoIn(folder).c_str()), 1);
  const std::size_t once = NumberOfThreads();
  EXPECT_EQ(once, before + 1);
  port.closeConnections();
  EXPECT_EQ(port.bIsClosed(), 1);
  ASSERT_EQ(port.openConnections((folder / "fifo").c_str()), 1);
  EXPECT_EQ(NumberOfThreads(), once);
  EXPECT_EQ(port.bIsClosed(), 0);
  const std::uint8_t bytes[] = {'h', 'i'};
  port.transmitCharacters(bytes, 2);
  EXPECT_TRUE(WaitFor([&] { return collector.received() == "hi"; }));
}

TEST_F(SerialPortTest, AnOpenWhoseOutputSideFailsLeavesBothSidesClosed) {
  // A directory opens for reading and not for writing.
  EXPECT_EQ(port.openConnections(folder.path().c_str()), 0);
  EXPECT_EQ(port.inputfd(), -1);
  EXPECT_EQ(port.outputfd(), -1);
}

TEST_F(SerialPortTest, AnOpenWhoseInputSideFailsLeavesTheOutputSideAsItWas) {
  EXPECT_EQ(port.openConnections((folder / "absent").c_str()), 0);
  EXPECT_LT(port.inputfd(), 0);
  EXPECT_EQ(port.outputfd(), 0);
}

TEST_F(SerialPortTest, EndsChunksBelow2048BytesWithNul) {
  ByteBehind receiver;
  scripted.setDelegate(&receiver);
  std::vector<std::uint8_t> buffer(SerialPort::kReadBufferSize);
  for (const std::size_t size : {1U, 2047U, 2048U, 10239U}) {
    std::fill(buffer.begin(), buffer.end(), std::uint8_t{0x55});
    line.Arrive(std::string(size, 'x'));
    scripted.ReadOnce(buffer.data());
    EXPECT_EQ(receiver.lastCount, static_cast<std::int32_t>(size));
    EXPECT_EQ(receiver.behind, size < 2048 ? 0 : 0x55) << size;
  }
}

TEST_F(SerialPortTest, TransmittingNothingWritesNothingAndDoesNotSleep) {
  port.setDelegate(&collector);
  ASSERT_EQ(port.openConnections(FifoIn(folder).c_str()), 1);
  const std::uint8_t byte = 'x';
  port.transmitCharacters(&byte, 0);
  port.transmitCharacters(&byte, -1);
  EXPECT_TRUE(clock.sleeps().empty());
  port.transmitCharacters(&byte, 1);
  EXPECT_TRUE(WaitFor([&] { return collector.received() == "x"; }));
}

TEST_F(SerialPortTest, EachTransmittedByteIsFollowedByAPauseOfOneMillisecond) {
  port.setDelegate(&collector);
  ASSERT_EQ(port.openConnections(FifoIn(folder).c_str()), 1);
  const std::uint8_t bytes[] = {'w', '1', '#'};
  port.transmitCharacters(bytes, 3);
  EXPECT_EQ(clock.sleeps(), (std::vector<FakeClock::Duration>{1ms, 1ms, 1ms}));
}

TEST_F(SerialPortTest, LogsAndDropsChunksWithoutADelegate) {
  std::vector<std::uint8_t> buffer(SerialPort::kReadBufferSize);
  for (const char* chunk : {"one", "two", ""}) {
    line.Arrive(chunk);
    scripted.ReadOnce(buffer.data());
  }
  EXPECT_EQ(log.Count("No Lumet delegate"), 2U);
  scripted.setDelegate(&collector);
  line.Arrive("three");
  scripted.ReadOnce(buffer.data());
  EXPECT_EQ(collector.received(), "three");
}

TEST_F(SerialPortTest, FailsAnOpenThatACloseOvertakes) {
  int opened = 0;
  line.onOpen = [&](const std::string&) {
    if (++opened == 2) scripted.closeConnections();
  };
  EXPECT_EQ(scripted.openConnections("port"), 0);
  EXPECT_EQ(scripted.inputfd(), -1);
  EXPECT_EQ(scripted.outputfd(), -1);
  EXPECT_EQ(scripted.bIsClosed(), 1);
}

TEST_F(SerialPortTest, TheInputSideNeverClosesDescriptorZeroAndTheOutputSideDoes) {
  ASSERT_TRUE(IsOpen(0) || open("/dev/null", O_RDWR) == 0);
  port.closeInputConnection();
  EXPECT_EQ(port.inputfd(), -1);
  EXPECT_TRUE(IsOpen(0));
  port.closeOutputConnection();
  EXPECT_EQ(port.outputfd(), -1);
  EXPECT_FALSE(IsOpen(0));
  EXPECT_EQ(open("/dev/null", O_RDWR), 0);
}

TEST_F(SerialPortTest, APortThatTakesAnothersPlaceGivesItsDescriptorsBack) {
  port.setDelegate(&collector);
  ASSERT_EQ(port.openConnections(FifoIn(folder).c_str()), 1);
  const int input = port.inputfd();
  const int output = port.outputfd();
  TemporaryFolder other;
  ASSERT_EQ(port.openConnections(FifoIn(other).c_str()), 1);
  EXPECT_NE(port.inputfd(), input);
  EXPECT_NE(port.outputfd(), output);
  EXPECT_FALSE(IsOpen(input) && input != port.outputfd());
  EXPECT_FALSE(IsOpen(output) && output != port.inputfd());
}

TEST_F(SerialPortTest, TheLineIsRawAt115200BitsWith8DataBitsAndNoParity) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_GE(master, 0);
  ASSERT_EQ(grantpt(master), 0);
  ASSERT_EQ(unlockpt(master), 0);
  port.setDelegate(&collector);
  ASSERT_EQ(port.openConnections(ptsname(master)), 1);
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
  std::string every;
  for (int byte = 0; byte < 256; ++byte) every.push_back(static_cast<char>(byte));
  ASSERT_EQ(write(master, every.data(), every.size()), 256);
  EXPECT_TRUE(WaitFor([&] { return collector.received().size() >= 256; }));
  EXPECT_EQ(collector.received(), every);
}

TEST_F(SerialPortTest, AClosedDescriptorIsNotReadUnderItsNextOwner) {
  // Files are opened and filled as fast as ports are closed; not one byte of theirs may arrive.
  port.setDelegate(&collector);
  const std::string fifo = FifoIn(folder);
  for (int round = 0; round < 200; ++round) {
    ASSERT_EQ(port.openConnections(fifo.c_str()), 1);
    std::this_thread::sleep_for(std::chrono::microseconds(round * 3));
    port.closeConnections();
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK), 0);
    ASSERT_EQ(write(ends[1], "mine", 4), 4);
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    char text[8];
    ASSERT_EQ(read(ends[0], text, sizeof text), 4);
    close(ends[0]);
    close(ends[1]);
  }
  EXPECT_EQ(collector.received(), "");
}

}  // namespace
}  // namespace quillet
