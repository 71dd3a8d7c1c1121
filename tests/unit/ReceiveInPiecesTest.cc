#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "device/Lumet.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/RecordingOwner.h"
#include "tests/support/SystemLine.h"

namespace quillet {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Session {
  Session() { lumet.setDelegate(&owner); }

  // What has been logged, but for the lines that come with each piece.
  std::vector<std::string> Lines() const {
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [](const std::string& line) {
      return line.starts_with("-[Lumet DataFromDevice::]");
    });
    return lines;
  }

  test::RecordingLog& log = test::Immortal<test::RecordingLog>();
  test::FakeClock& clock = test::Immortal<test::FakeClock>();
  test::RecordingOwner& owner = test::Immortal<test::RecordingOwner>();
  Lumet& lumet = test::Immortal<Lumet>(log, clock, test::SystemLine());
};

// What a scanner may send, right and wrong.
class Sender {
 public:
  explicit Sender(std::uint32_t seed) : random_(seed) {}

  int Between(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(random_);
  }

  Bytes Next() {
    Bytes bytes;
    switch (Between(0, 4)) {
      case 0:  // a plain answer
        Fill(bytes, Between(0, 40));
        bytes.push_back(Between(0, 1) ? '!' : '@');
        break;
      case 1:  // noise
        Fill(bytes, Between(0, 40));
        break;
      default:  // a frame or a burst, the length of which is wrong at times
        if (Between(0, 1)) bytes.push_back(0x03);
        const int body = Between(0, 300);
        const int length = Between(0, 3) ? body + 3 : Between(0, 400);
        bytes.insert(bytes.end(), {0, static_cast<std::uint8_t>(length >> 8),
                                   static_cast<std::uint8_t>(length)});
        Fill(bytes, body);
        if (Between(0, 1)) bytes.push_back('@');
    }
    return bytes;
  }

 private:
  void Fill(Bytes& bytes, int count) {
    for (int i = 0; i < count; ++i) bytes.push_back(static_cast<std::uint8_t>(Between(0, 255)));
  }

  std::mt19937 random_;
};

TEST(ReceiveInPiecesTest, BytesInPiecesDoWhatTheyDoOneByOne) {
  Session one;
  Session pieces;
  Sender sender(20);
  std::size_t bodies = 0;
  for (int round = 0; round < 5000; ++round) {
    const bool waits = sender.Between(0, 3) != 0;
    const int type = std::string_view("MVNCw2pP1E")[static_cast<std::size_t>(sender.Between(0, 9))];
    const bool anew = sender.Between(0, 3) != 0;
    const int model = sender.Between(0, 1);
    for (Session* session : {&one, &pieces}) {
      Lumet& lumet = session->lumet;
      lumet.bTavo300 = static_cast<std::uint8_t>(model);
      lumet.cmdArray.Reset();
      if (round % 3 != 0) lumet.GetSerialNumber();
      if (round % 3 == 1) lumet.cmdArray.Consume(*lumet.cmdArray.Head());
      lumet.commandType = type;
      lumet.bCommandDone = waits ? 0 : 1;
      if (anew) {
        lumet.state = type == 'P' ? 30 : 0;
        lumet.writePtr = 0;
      }
      session->log.Clear();
    }
    const Bytes bytes = sender.Next();
    for (const std::uint8_t byte : bytes) one.lumet.HandleInputData(byte);
    for (std::size_t at = 0; at < bytes.size();) {
      const int count = sender.Between(1, static_cast<int>(bytes.size() - at));
      const std::int32_t state = pieces.lumet.state;
      if (count > 1 && (state == 11 || state == 31)) ++bodies;
      pieces.lumet.DataFromDevice(bytes.data() + at, count);
      at += static_cast<std::size_t>(count);
    }
    ASSERT_EQ(pieces.lumet.state, one.lumet.state) << round;
    ASSERT_EQ(pieces.lumet.writePtr, one.lumet.writePtr) << round;
    ASSERT_EQ(pieces.lumet.totallength, one.lumet.totallength) << round;
    ASSERT_EQ(pieces.lumet.bCommandDone, one.lumet.bCommandDone) << round;
    ASSERT_EQ(pieces.lumet.cmdArray.cmdRead(), one.lumet.cmdArray.cmdRead()) << round;
    ASSERT_EQ(pieces.lumet.cmdArray.cmdWrite(), one.lumet.cmdArray.cmdWrite()) << round;
    ASSERT_TRUE(std::equal(one.lumet.RxBuffer, one.lumet.RxBuffer + 4096, pieces.lumet.RxBuffer))
        << round;
    ASSERT_EQ(pieces.owner.Count("finished"), one.owner.Count("finished")) << round;
    ASSERT_EQ(pieces.Lines(), one.Lines()) << round;
  }
  EXPECT_EQ(pieces.owner.calls(), one.owner.calls());
  EXPECT_GT(one.owner.records().size(), 100U);
  EXPECT_GT(bodies, 500U) << "pieces that began within a body";
}

}  // namespace
}  // namespace quillet
