#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

class ReceivePathTest : public test::LumetFixture {};

TEST_F(ReceivePathTest, AFrameStartsAtA03ThatComesFirstWhetherOrNotACommandWaits) {
  Receive({0x03});
  EXPECT_EQ(lumet.state, 10);
  EXPECT_EQ(lumet.writePtr, 0);
  lumet.state = 0;
  Await('p');
  Receive({0x03});
  EXPECT_EQ(lumet.state, 10);
  lumet.state = 0;
  lumet.writePtr = 0;
  Await('M');
  Receive({'A', 0x03, 'B'});
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(lumet.writePtr, 3);
  EXPECT_EQ(lumet.RxBuffer[1], 0x03);
}

TEST_F(ReceivePathTest, APlainAnswerThatNobodyWaitsForIsDiscardedByteByByte) {
  lumet.commandType = 'M';
  for (const char byte : {'a', 'b', 'c', '@'}) {
    Receive({byte});
    EXPECT_EQ(lumet.writePtr, 0);
  }
  EXPECT_TRUE(owner.calls().empty());
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "0000000000");
  EXPECT_FALSE(log.Has("-[Lumet HandleCommandData::][abc@:4:4:4d]"));
}

TEST_F(ReceivePathTest, TenDigitsAndTheTerminatorLeaveTheDigitsInTheSerialNumber) {
  Await('M');
  Receive("1234567890@");
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "1234567890");
  EXPECT_EQ(lumet.SerialNo[10], 0);
  EXPECT_TRUE(log.Has("-[Lumet HandleCommandData::][1234567890@:11:11:4d]"));
  EXPECT_EQ(lumet.bCommandDone, 1);
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(lumet.writePtr, 0);
}

TEST_F(ReceivePathTest, AnAnswerOfOnlyTheTerminatorEmptiesTheIdentityFields) {
  Await('M');
  Receive("!");
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "");
  Await('V');
  Receive("!");
  EXPECT_EQ(lumet.FWVersion.TextFrom(0), "");
  lumet.AssetNumber.Put(0, 'x');
  Await('2');
  Receive("!");
  EXPECT_EQ(lumet.AssetNumber.TextFrom(0), "");
}

TEST_F(ReceivePathTest, AnUnsolicitedFrameIsFormattedOnlyWhenItsEndMarkFollows) {
  lumet.recorddelimiter = 0;
  Receive({0x03, 0x00, 0x00, 0x06, 'a', 'b', 'c'});
  EXPECT_EQ(lumet.state, 12);
  EXPECT_TRUE(owner.records().empty());
  Receive({'x'});
  EXPECT_EQ(lumet.state, 12);
  EXPECT_TRUE(owner.records().empty());
  Receive({'@'});
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(lumet.writePtr, 0);
  EXPECT_EQ(owner.records().size(), 1U);
}

TEST_F(ReceivePathTest, AnUnsolicitedRecordIsComposedFromItsFrame) {
  lumet.recorddelimiter = 4;
  Receive({0x03, 0x00, 0x00, 0x0D, 0x09, 0x06, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09, '@'});
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABCD\r\n"});
}

TEST_F(ReceivePathTest, ABurstIsDeliveredEvenWhenNoCommandWaits) {
  lumet.recorddelimiter = 1;
  lumet.commandType = 'P';
  lumet.bCommandDone = 1;
  lumet.state = 30;
  Receive({0x00, 0x00, 0x0D});
  EXPECT_EQ(lumet.state, 31);
  EXPECT_EQ(lumet.totallength, 13);
  Receive({0x09, 0x06, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09});
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABCD\n"});
  EXPECT_EQ(lumet.state, 0);
}

TEST_F(ReceivePathTest, ABurstHasTheSameEffectWhereverItIsCutIntoChunks) {
  lumet.recorddelimiter = 4;
  const std::vector<std::uint8_t> burst = {0x00, 0x00, 0x0D, 0x09, 0x06, 'A',  'B',
                                           'C',  'D',  0x31, 0x47, 0x41, 0x09, 'x'};
  const auto size = static_cast<std::int32_t>(burst.size());
  for (std::int32_t cut = 0; cut <= size; ++cut) {
    lumet.cmdArray.Reset();
    std::fill_n(lumet.RxBuffer, burst.size(), std::uint8_t{0});
    Await('P');
    lumet.state = 30;
    lumet.DataFromDevice(burst.data(), cut);
    if (cut >= 3 && cut < 13) {
      EXPECT_EQ(lumet.state, 31) << cut;
      EXPECT_EQ(lumet.writePtr, cut);
    }
    lumet.DataFromDevice(burst.data() + cut, size - cut);
    ASSERT_EQ(owner.records().size(), static_cast<std::size_t>(cut) + 1);
    EXPECT_EQ(owner.records().back(), "ABCD\r\n") << cut;
    EXPECT_EQ(lumet.state, 0) << cut;
    EXPECT_EQ(lumet.writePtr, 0) << "the byte behind the burst is discarded";
    EXPECT_EQ(lumet.bCommandDone, 1);
  }
}

TEST_F(ReceivePathTest, AnEmptyQueueIsRewoundWithinTheBodyOfAFrameAndOfABurst) {
  const std::uint8_t bytes[] = {'A', 'B'};
  for (const std::int32_t body : {11, 31}) {
    lumet.state = body;
    lumet.totallength = 20;
    lumet.writePtr = 3;
    lumet.GetSerialNumber();
    lumet.cmdArray.Consume(*lumet.cmdArray.Head());
    ASSERT_EQ(lumet.cmdArray.cmdRead(), 2);
    lumet.DataFromDevice(bytes, 2);
    EXPECT_EQ(lumet.cmdArray.cmdRead(), 0) << body;
    EXPECT_EQ(lumet.cmdArray.cmdWrite(), 0) << body;
  }
}

TEST_F(ReceivePathTest, AChunkOfABurstLargerThanTheBufferStaysWithinIt) {
  lumet.bTavo300 = 1;
  constexpr std::int32_t kSize = Lumet::kRxBufferSize + 10;
  std::vector<std::uint8_t> burst(kSize);
  burst[0] = static_cast<std::uint8_t>(kSize >> 16);
  burst[1] = static_cast<std::uint8_t>(kSize >> 8);
  burst[2] = static_cast<std::uint8_t>(kSize);
  std::fill(burst.begin() + Lumet::kRxBufferSize - 1, burst.end(), std::uint8_t{0x5A});
  Await('P');
  lumet.state = 30;
  lumet.DataFromDevice(burst.data(), kSize - 1);
  EXPECT_EQ(lumet.state, 31);
  EXPECT_EQ(lumet.writePtr, kSize - 1);
  EXPECT_EQ(lumet.RxBuffer[Lumet::kRxBufferSize - 1], 0x5A);
  lumet.DataFromDevice(burst.data() + kSize - 1, 1);
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(lumet.bCommandDone, 1);
  const auto& behind = lumet.commandBuf;
  EXPECT_TRUE(std::all_of(behind, behind + 10, [](std::uint8_t byte) { return byte == 0; }));
}

TEST_F(ReceivePathTest, EveryReceivedByteRewindsAnEmptyQueue) {
  lumet.GetSerialNumber();
  lumet.cmdArray.Consume(*lumet.cmdArray.Head());
  ASSERT_EQ(lumet.cmdArray.cmdRead(), 2);
  Receive({'x'});
  EXPECT_EQ(lumet.cmdArray.cmdRead(), 0);
  EXPECT_EQ(lumet.cmdArray.cmdWrite(), 0);
  lumet.GetSerialNumber();
  Receive({'x'});
  EXPECT_EQ(lumet.cmdArray.cmdWrite(), 2) << "an entry that waits stays where it is";
}

TEST_F(ReceivePathTest, DisconnectingLeavesTheIdentityTextsEmpty) {
  lumet.disconnectTavo();
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "");
  EXPECT_EQ(lumet.FWVersion.TextFrom(0), "");
  EXPECT_EQ(open("/dev/null", O_RDWR), 0) << "descriptor 0 was closed";
}

TEST_F(ReceivePathTest, DisconnectingASessionThatNeverConnectedClosesDescriptorZero) {
  ASSERT_NE(fcntl(0, F_GETFD), -1);
  lumet.disconnectTavo();
  EXPECT_EQ(fcntl(0, F_GETFD), -1);
  EXPECT_EQ(lumet.serial.bIsClosed, 1);
  EXPECT_EQ(lumet.bConnected, 0);
  EXPECT_EQ(open("/dev/null", O_RDWR), 0);
}

TEST_F(ReceivePathTest, AFrameAnswersACommandThatWaits) {
  lumet.recorddelimiter = 0;
  Await('p');
  Receive({0x03, 0x00, 0x00, 0x0D, 0x09, 0x06, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09});
  EXPECT_EQ(owner.records(), std::vector<std::string>{"ABCD"});
  EXPECT_EQ(lumet.bCommandDone, 1);
}

TEST_F(ReceivePathTest, TheClosingAnswerIsReportedAfterTheCommandIsDone) {
  Await('1');
  Receive("@");
  EXPECT_EQ(owner.calls(), std::vector<std::string>{"finished"});
}

TEST_F(ReceivePathTest, ACountWhoseBytesEndTheAnswerItselfIsTakenFromFourBytes) {
  Await('N');
  Receive({0, 0, 0, 33});
  EXPECT_EQ(lumet.SyncEndIndex, 33);
  Await('N');
  Receive({0, 0, 0, 64});
  EXPECT_EQ(lumet.SyncEndIndex, 64);
  // 8,448 is 00 00 21 00: the answer ends early and the fourth byte is that of the one before.
  Await('N');
  Receive({0, 0, 0x21});
  EXPECT_EQ(lumet.bCommandDone, 1);
  EXPECT_EQ(lumet.SyncEndIndex, 0x2140);
}

TEST_F(ReceivePathTest, AnswersLongerThanTheirFieldAreCutToIt) {
  Await('M');
  Receive(std::string(300, '7') + "@");
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "7777777777");
  EXPECT_EQ(lumet.FWVersion.TextFrom(0), "0.00.00000");
  Await('V');
  Receive(std::string(300, '8') + "@");
  EXPECT_EQ(lumet.FWVersion.TextFrom(0), "8888888888");
  Await('2');
  Receive(std::string(300, '9') + "@");
  EXPECT_EQ(lumet.AssetNumber.TextFrom(0), std::string(32, '9'));
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "7777777777");
}

TEST_F(ReceivePathTest, AnAnswerThatNeverEndsIsCountedNoFurtherThanAnyLength) {
  Await('M');
  for (int i = 0; i < (1 << 24) + 10; ++i) lumet.HandleInputData('x');
  EXPECT_EQ(lumet.writePtr, 1 << 24);
  Receive("@");
  EXPECT_EQ(lumet.bCommandDone, 1);
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "xxxxxxxxxx");
}

TEST_F(ReceivePathTest, ABurstLargerThanTheBufferEndsAndLeavesTheSessionUsable) {
  lumet.recorddelimiter = 0;
  lumet.state = 30;
  Await('P');
  constexpr int kTotal = 0x4000C8;  // 200 bytes more than the buffer holds
  Receive({kTotal >> 16, (kTotal >> 8) & 0xFF, kTotal & 0xFF});
  // Records of 100 bytes; the one that crosses the buffer's end, and those behind it, are left out.
  const std::string record = std::string("\x63\x06", 2) + std::string(98, 'd');
  int sent = 3;
  while (sent < kTotal) {
    const int count = std::min<int>(static_cast<int>(record.size()), kTotal - sent);
    Receive(std::string_view(record).substr(0, static_cast<std::size_t>(count)));
    sent += count;
  }
  EXPECT_EQ(lumet.bCommandDone, 1);
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(owner.records().size(), static_cast<std::size_t>((Lumet::kRxBufferSize - 3) / 100));
  EXPECT_EQ(owner.records().back(), std::string(94, 'd'));
  Await('M');
  Receive("1234567890@");
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "1234567890");
}

TEST_F(ReceivePathTest, AFrameLengthOfThreeOrLessNeverCompletes) {
  for (const int total : {0, 1, 2, 3}) {
    lumet.state = 0;
    lumet.writePtr = 0;
    Await('p');
    Receive({0x03, 0x00, 0x00, total});
    for (int i = 0; i < 1000; ++i) Receive({'@'});
    EXPECT_EQ(lumet.state, 11);
    EXPECT_EQ(lumet.bCommandDone, 0);
  }
  EXPECT_TRUE(owner.records().empty());
}

TEST_F(ReceivePathTest, ABurstToldToBeItsLengthAloneNeverCompletes) {
  for (const int total : {0, 2, 3}) {
    lumet.state = 30;
    lumet.writePtr = 0;
    Await('P');
    Receive({0x00, 0x00, total});
    for (int i = 0; i < 1000; ++i) Receive({'@'});
    EXPECT_EQ(lumet.state, 31);
    EXPECT_EQ(lumet.bCommandDone, 0);
  }
}

TEST_F(ReceivePathTest, AChunkOfNoBytesIsOnlyLogged) {
  const std::uint8_t byte = 'x';
  lumet.DataFromDevice(&byte, 0);
  lumet.DataFromDevice(&byte, -1);
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][:0]"));
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][:-1]"));
  EXPECT_EQ(lumet.writePtr, 0);
}

TEST_F(ReceivePathTest, ReceivedBytesAreLoggedByLengthAndWithoutControlCharacters) {
  const std::string chunk = "ab\x1b[2J\r";
  lumet.DataFromDevice(reinterpret_cast<const std::uint8_t*>(chunk.data()), 7);
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][ab\\x1b[2J\\r:7]"));
  // A chunk of this size has no NUL behind it.
  const std::string big(3000, 'z');
  lumet.DataFromDevice(reinterpret_cast<const std::uint8_t*>(big.data()), 2999);
  EXPECT_TRUE(log.Has("-[Lumet DataFromDevice::][" + std::string(2999, 'z') + ":2999]"));
}

}  // namespace
}  // namespace quillet
