#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>

#include "base/UniqueFd.h"
#include "platform/posix/PosixSerialLine.h"
#include "tests/contract/Contract.h"
#include "tests/support/ScriptedLine.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {
namespace {

using Access = platform::SerialLine::Access;

constexpr platform::LineSettings kSettings{115200, 8, 0, 1};

class LineHarness {
 public:
  virtual ~LineHarness() = default;
  virtual platform::SerialLine& Line() = 0;
  virtual std::string Device() = 0;
  virtual std::string MissingDevice() { return "/nowhere/device"; }
  /// Sends bytes from the device.
  virtual void Send(std::string_view bytes) = 0;
  /// Returns the bytes that the device has received since the last call.
  virtual std::string Received() = 0;
  /// Reserves the device for another program.
  virtual void ReserveElsewhere() = 0;
  /// Ends the reservation, as if the other program had exited.
  virtual void ReleaseElsewhere() = 0;
  /// Disconnects the device from its open lines.
  virtual void HangUp() = 0;
};

struct ScriptedLineHarness final : LineHarness {
  static constexpr char kName[] = "Scripted";
  platform::SerialLine& Line() override { return line; }
  std::string Device() override { return "device"; }
  std::string MissingDevice() override {
    line.opens = false;
    return "device";
  }
  void Send(std::string_view bytes) override { line.Arrive(bytes); }
  std::string Received() override { return line.Sent(); }
  void ReserveElsewhere() override { line.reservedElsewhere = true; }
  void ReleaseElsewhere() override { line.reservedElsewhere = false; }
  void HangUp() override { line.hungUp = true; }

  ScriptedLine line;
};

struct PosixLineHarness final : LineHarness {
  static constexpr char kName[] = "Posix";
  PosixLineHarness() {
    EXPECT_EQ(grantpt(device.Get()) + unlockpt(device.Get()), 0);
    keptOpen = UniqueFd(open(Device().c_str(), O_RDWR | O_NOCTTY));
  }
  platform::SerialLine& Line() override { return line; }
  std::string Device() override { return ptsname(device.Get()); }
  void Send(std::string_view bytes) override {
    EXPECT_EQ(write(device.Get(), bytes.data(), bytes.size()), std::ssize(bytes));
  }
  std::string Received() override {
    std::array<char, 256> bytes{};
    const ssize_t count = read(device.Get(), bytes.data(), bytes.size());
    return {bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
  }
  void ReserveElsewhere() override {
    other = UniqueFd(open(Device().c_str(), O_RDWR | O_NOCTTY));
    EXPECT_EQ(flock(other.Get(), LOCK_EX | LOCK_NB), 0);
  }
  void ReleaseElsewhere() override { other.Close(); }
  void HangUp() override { device.Close(); }

  UniqueFd device{posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK)};
  UniqueFd keptOpen;
  UniqueFd other;
  platform::posix::PosixSerialLine line;
};

class SerialLineContract : public Contract<LineHarness> {
 protected:
  std::int32_t Open(Access access) {
    return line_.Open(harness_->Device().c_str(), access, kSettings);
  }
  /// Reads until at least `size` bytes have arrived. @return the bytes
  std::string Read(std::int32_t line, std::size_t size) {
    std::string bytes;
    WaitFor([&] {
      std::array<std::uint8_t, 5> buffer{};
      const auto count = line_.Read(line, buffer);
      if (count > 0) bytes.append(buffer.begin(), buffer.begin() + count);
      return bytes.size() >= size;
    });
    return bytes;
  }

  /// Reads once. @return true if no bytes were read
  bool ReadsNothing(std::int32_t line) {
    std::array<std::uint8_t, 5> buffer{};
    return line_.Read(line, buffer) <= 0;
  }

  platform::SerialLine& line_ = harness_->Line();
};

TEST_P(SerialLineContract, TransfersEveryByteUnchanged) {
  std::string every;
  for (int byte = 0; byte < 256; ++byte) every.push_back(static_cast<char>(byte));
  const std::int32_t in = Open(Access::kRead);
  const std::int32_t out = Open(Access::kWrite);
  harness_->Send(every);
  EXPECT_EQ(Read(in, every.size()), every);
  for (const char byte : every) line_.Write(out, static_cast<std::uint8_t>(byte));
  std::string received;
  EXPECT_TRUE(WaitFor([&] { return (received += harness_->Received()).size() >= every.size(); }));
  EXPECT_EQ(received, every);
  line_.Close(in);
  line_.Close(out);
}

TEST_P(SerialLineContract, ReadDoesNotWaitForASilentDevice) {
  const std::int32_t line = Open(Access::kRead);
  ASSERT_GE(line, 0);
  EXPECT_TRUE(ReadsNothing(line));
  line_.Close(line);
}

TEST_P(SerialLineContract, OpenFailsForAMissingDevice) {
  EXPECT_EQ(line_.Open(harness_->MissingDevice().c_str(), Access::kRead, kSettings), -1);
  EXPECT_FALSE(line_.Reserve(-1));
  harness_->Send("bytes of another line");
  EXPECT_TRUE(ReadsNothing(-1));
  line_.Write(-1, 0);
  line_.Close(-1);
}

TEST_P(SerialLineContract, ReservesADeviceUntilTheLineIsClosed) {
  for (int round = 0; round < 2; ++round) {
    const std::int32_t in = Open(Access::kRead);
    const std::int32_t out = Open(Access::kWrite);
    EXPECT_TRUE(line_.Reserve(out));
    line_.Close(in);
    line_.Close(out);
    harness_->ReserveElsewhere();
    const std::int32_t refused = Open(Access::kWrite);
    EXPECT_FALSE(line_.Reserve(refused));
    line_.Close(refused);
    harness_->ReleaseElsewhere();
  }
}

TEST_P(SerialLineContract, ReportsAHangUp) {
  const std::int32_t line = Open(Access::kRead);
  EXPECT_FALSE(line_.IsHungUp(line));
  EXPECT_FALSE(line_.IsHungUp(-1));
  harness_->HangUp();
  EXPECT_TRUE(line_.IsHungUp(line));
  line_.Close(line);
}

TEST_P(SerialLineContract, ReadsNothingAfterClosing) {
  const std::int32_t line = Open(Access::kRead);
  harness_->Send("late");
  line_.Close(line);
  EXPECT_TRUE(ReadsNothing(line));
}

TEST_P(SerialLineContract, DropsBytesWithoutWaitingIfTheOutputBufferIsFull) {
  const std::int32_t line = Open(Access::kWrite);
  for (int i = 0; i < 100'000; ++i) line_.Write(line, 'x');
  line_.Close(line);
}

// In packet mode, a read from the master reports whether output was discarded (ioctl_tty(2)).
TEST(PosixSerialLine, ClosingDiscardsOutputOnlyIfTheLineIsReserved) {
  PosixLineHarness harness;
  constexpr int kOn = 1;
  ASSERT_EQ(ioctl(harness.device.Get(), TIOCPKT, &kOn), 0);
  for (const bool reserved : {false, true}) {
    const std::int32_t line =
        harness.line.Open(harness.Device().c_str(), Access::kWrite, kSettings);
    EXPECT_TRUE(!reserved || harness.line.Reserve(line));
    harness.Received();
    harness.line.Close(line);
    const std::string status = harness.Received();
    EXPECT_EQ(!status.empty() && (status[0] & TIOCPKT_FLUSHWRITE) != 0, reserved);
  }
}

INSTANTIATE_TEST_SUITE_P(Line, SerialLineContract,
                         (Implementations<LineHarness, ScriptedLineHarness, PosixLineHarness>()),
                         kNameOf);

}  // namespace
}  // namespace quillet::test
