#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

class DeviceCommandsTest : public test::LumetFixture {
 protected:
  bool IsOf300Series(std::string_view firmware) {
    Await('V');
    Receive(std::string(firmware) + "@");
    EXPECT_EQ(lumet.FWVersion.TextFrom(0), firmware);
    return lumet.bTavo300 != 0;
  }
};

TEST_F(DeviceCommandsTest, WedgeModeIsQueuedWithADigitForOnOrOff) {
  lumet.SetWedgeMode(true);
  EXPECT_EQ(Queued(), "\x03\x77\x31\x23");
  lumet.cmdArray.Reset();
  lumet.SetWedgeMode(false);
  EXPECT_EQ(Queued(), "\x03\x77\x30\x23");
}

TEST_F(DeviceCommandsTest, TheClockIsSetWithSixBinaryBytes) {
  clock.Set({2026, 11, 16, 1, 4, 9});
  lumet.SyncTavoClock();
  EXPECT_EQ(Queued(), "\x07\x43\x1A\x0B\x10\x01\x04\x09");
  EXPECT_TRUE(owner.calls().empty());
}

TEST_F(DeviceCommandsTest, WithClockSettingOffTheSessionIsReadyAtOnce) {
  lumet.bSyncClock = 0;
  lumet.SyncTavoClock();
  EXPECT_EQ(Queued(), "");
  EXPECT_EQ(owner.calls(), std::vector<std::string>{"done:1"});
}

TEST_F(DeviceCommandsTest, TheFirmwareTextTellsThe300Series) {
  EXPECT_TRUE(IsOf300Series("1.00.45010"));
  EXPECT_TRUE(IsOf300Series("1.00.42010"));
  EXPECT_FALSE(IsOf300Series("1.00.41010"));
  EXPECT_TRUE(IsOf300Series("1.00.30010"));
  EXPECT_FALSE(IsOf300Series("1.00.31010"));
  EXPECT_TRUE(IsOf300Series("1.20.31010"));
  EXPECT_FALSE(IsOf300Series("1.20.41010"));
  EXPECT_FALSE(IsOf300Series("0.00.00000"));
  EXPECT_TRUE(log.Has("-[Lumet InitialSetting]"));
}

TEST_F(DeviceCommandsTest, APlainSerialNumberAnswerLeavesItsDigitsAndABareTerminatorNothing) {
  Await('M');
  Receive("0123456789@");
  EXPECT_EQ(lumet.returnSerialNumber().TextFrom(0), "0123456789");
  Await('M');
  Receive("!");
  EXPECT_EQ(lumet.returnSerialNumber().TextFrom(0), "");
}

TEST_F(DeviceCommandsTest, EachQueryQueuesItsEntry) {
  lumet.GetSerialNumber();
  lumet.GetFWVersion();
  lumet.GetAssetNumber();
  lumet.EraseTavoMemory();
  EXPECT_EQ(Queued(),
            "\x01M\x01V\x04"
            "2ZSG"
            "\x01"
            "E");
}

TEST_F(DeviceCommandsTest, TheAnswersSetOffWhatFollows) {
  lumet.bSyncClock = 1;
  Await('w');
  Receive("@");
  EXPECT_EQ(Queued().substr(0, 2),
            "\x07"
            "C");
  Await('C');
  Receive("@");
  EXPECT_EQ(owner.calls(), std::vector<std::string>{"done:1"});
  Await('2');
  Receive("ASSET-7@");
  EXPECT_EQ(lumet.AssetNumber.TextFrom(0), "ASSET-7");
}

TEST_F(DeviceCommandsTest, ShortFirmwareTextIsJudgedWithWhatStandsBehindIt) {
  ASSERT_TRUE(IsOf300Series("1.00.42010"));
  // "1.0" and its NUL: characters 5 and 6 are still the earlier answer's "42".
  EXPECT_TRUE(IsOf300Series("1.0"));
}

TEST_F(DeviceCommandsTest, InitialisationQueuesItsFourCommandsAndSleepsASecond) {
  lumet.commandThread.Claim();
  lumet.state = 11;
  lumet.writePtr = 5;
  lumet.EraseTavoMemory();
  lumet.InitTavo();
  EXPECT_EQ(Queued(), std::string("\0W\x01M\x01V\x03w1#", 10));
  EXPECT_EQ(lumet.state, 0);
  EXPECT_EQ(lumet.writePtr, 0);
  EXPECT_EQ(clock.sleeps(), std::vector<test::FakeClock::Duration>{std::chrono::seconds(1)});
}

TEST_F(DeviceCommandsTest, ASerialNumberIsCutAtItsFirstTerminatorCharacter) {
  for (std::size_t i = 0; i < 10; ++i) lumet.SerialNo.Put(i, "12@4567890"[i] == '@' ? '@' : '1');
  lumet.TruncateSerialNumber(11);
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "11");
}

TEST_F(DeviceCommandsTest, CuttingAtTheFieldsFullLengthStaysInsideIt) {
  lumet.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>("1234567890"), 10);
  lumet.TruncateSerialNumber(11);
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "1234567890");
  EXPECT_EQ(lumet.FWVersion.TextFrom(0), "0.00.00000");
  lumet.TruncateSerialNumber(4);
  EXPECT_EQ(lumet.SerialNo.TextFrom(0), "1234");
}

}  // namespace
}  // namespace quillet
