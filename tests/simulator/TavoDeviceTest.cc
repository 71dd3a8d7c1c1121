#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/RecordGenerator.h"
#include "simulator/TavoDevice.h"

namespace quillet::simulator {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr CalendarTime kMoment{2012, 5, 3, 16, 4, 9};

class TavoDeviceTest : public testing::Test {
 protected:
  TavoDevice Make(DeviceSettings settings = {}) {
    return TavoDevice(std::move(settings), [this] { return now_; });
  }

  static DeviceSettings WithRecords(std::vector<ScanRecord> records, Model model = Model::kOlder) {
    DeviceSettings settings;
    settings.model = model;
    settings.records = std::move(records);
    return settings;
  }

  nanoseconds now_{12345};
};

TEST_F(TavoDeviceTest, PlainCommandsAreAnsweredByTheTerminatorAlone) {
  TavoDevice device = Make();
  for (const char* command : {"W", "w0#", "w1#", "E", "GS1", "GS0"}) {
    EXPECT_EQ(device.Exchange(ToBytes(command)), ToBytes("@")) << command;
  }
  EXPECT_THAT(device.complaints(), IsEmpty());
}

TEST_F(TavoDeviceTest, AnOlderFirmwareEndsItsAnswersWithAnotherMark) {
  DeviceSettings settings;
  settings.terminator = '!';
  settings.serial = "1234567890";
  TavoDevice device = Make(settings);
  EXPECT_EQ(device.Exchange(ToBytes("WM")), ToBytes("!1234567890!"));
}

TEST_F(TavoDeviceTest, IdentityIsAnsweredAsText) {
  DeviceSettings settings;
  settings.serial = "1234567890";
  settings.firmware = "0.00.41007";
  settings.asset = "SHELF";
  TavoDevice device = Make(settings);
  EXPECT_EQ(device.Exchange(ToBytes("M")), ToBytes("1234567890@"));
  EXPECT_EQ(device.Exchange(ToBytes("V")), ToBytes("0.00.41007@"));
  EXPECT_EQ(device.Exchange(ToBytes("GZSG")), ToBytes("SHELF@"));
}

TEST_F(TavoDeviceTest, EachModelHasItsOwnFirmwareTextAndItMayBeEmpty) {
  DeviceSettings settings;
  EXPECT_EQ(Make(settings).Exchange(ToBytes("V")), ToBytes("0.00.41000@"));
  settings.model = Model::kSeries300;
  EXPECT_EQ(Make(settings).Exchange(ToBytes("V")), ToBytes("1.00.42010@"));
  settings.firmware = "";
  EXPECT_EQ(Make(settings).Exchange(ToBytes("V")), ToBytes("@"));
}

TEST_F(TavoDeviceTest, TheNumberOfRecordsIsFourBytesAndTheTerminator) {
  TavoDevice device = Make(WithRecords(StockTaking(8448, Model::kOlder)));
  EXPECT_EQ(device.Exchange(ToBytes("N")), (Bytes{0x00, 0x00, 0x21, 0x00, '@'}));
}

TEST_F(TavoDeviceTest, OneRecordComesInAFrameWithALeadByte) {
  TavoDevice device =
      Make(WithRecords({MakeRecord(6, "A", kMoment), MakeRecord(4, "BC", kMoment)}));
  EXPECT_EQ(device.Exchange(ToBytes("p1#")),
            (Bytes{0x03, 0x00, 0x00, 0x0B, 0x07, 0x04, 'B', 'C', 0x31, 0x47, 0x41, 0x09}));
}

TEST_F(TavoDeviceTest, AllRecordsComeInOneFrameWithoutALeadByte) {
  TavoDevice device =
      Make(WithRecords({MakeRecord(6, "A", kMoment), MakeRecord(4, "BC", kMoment)}));
  EXPECT_EQ(device.Exchange(ToBytes("P")),
            (Bytes{0x00, 0x00, 0x12, 0x06, 0x06, 'A', 0x31, 0x47, 0x41, 0x09, 0x07, 0x04, 'B', 'C',
                   0x31, 0x47, 0x41, 0x09}));
}

TEST_F(TavoDeviceTest, Series300RecordsHaveTheirOwnLayoutInBothDownloads) {
  TavoDevice device = Make(WithRecords({MakeRecord(34, "A", kMoment)}, Model::kSeries300));
  EXPECT_EQ(device.Exchange(ToBytes("p0#")),
            (Bytes{0x03, 0x00, 0x00, 0x0B, 0x00, 0x08, 0x22, 'A', 0x31, 0x47, 0x41, 0x09}));
  EXPECT_EQ(device.Exchange(ToBytes("P")),
            (Bytes{0x00, 0x00, 0x0B, 0x00, 0x08, 0x22, 'A', 0x31, 0x47, 0x41, 0x09}));
}

TEST_F(TavoDeviceTest, WithoutRecordsTheDownloadIsAnEmptyFrame) {
  EXPECT_EQ(Make().Exchange(ToBytes("P")), (Bytes{0x00, 0x00, 0x03}));
}

TEST_F(TavoDeviceTest, ErasedSlotsAreCountedAndSent) {
  TavoDevice device = Make(WithRecords({Erased(MakeRecord(6, "A", kMoment))}));
  EXPECT_EQ(device.Exchange(ToBytes("N")), (Bytes{0, 0, 0, 1, '@'}));
  EXPECT_EQ(device.Exchange(ToBytes("P"))[4], 0xFF);
}

TEST_F(TavoDeviceTest, ARecordThatIsNotThereIsNotAnsweredAndNoted) {
  TavoDevice device = Make(WithRecords({MakeRecord(6, "A", kMoment)}));
  EXPECT_EQ(device.Exchange(ToBytes("p1#")), Bytes{});
  EXPECT_THAT(device.notes(), ElementsAre(HasSubstr("record 1 was asked for")));
  EXPECT_THAT(device.complaints(), IsEmpty());
}

TEST_F(TavoDeviceTest, ErasingReallyErases) {
  TavoDevice device = Make(WithRecords(StockTaking(3, Model::kOlder)));
  EXPECT_EQ(device.Exchange(ToBytes("EN")), (Bytes{'@', 0, 0, 0, 0, '@'}));
  EXPECT_THAT(device.records(), IsEmpty());
  EXPECT_EQ(device.erase_count(), 1U);
}

TEST_F(TavoDeviceTest, TheClockRunsFromWhereItIsSet) {
  TavoDevice device = Make();
  EXPECT_EQ(device.clock_set_to(), std::nullopt);
  now_ += seconds(5);
  EXPECT_EQ(device.clock(), (CalendarTime{2000, 1, 1, 0, 0, 5}));
  EXPECT_EQ(device.Exchange({'C', 0x1A, 0x0B, 0x10, 0x01, 0x04, 0x09}), ToBytes("@"));
  EXPECT_EQ(device.clock_set_to(), (CalendarTime{2026, 11, 16, 1, 4, 9}));
  now_ += seconds(60);
  EXPECT_EQ(device.clock(), (CalendarTime{2026, 11, 16, 1, 5, 9}));
}

TEST_F(TavoDeviceTest, AnImpossibleTimeIsReportedAndDoesNotSetTheClock) {
  TavoDevice device = Make();
  EXPECT_EQ(device.Exchange({'C', 0x1A, 13, 0x10, 0x01, 0x04, 0x09}), ToBytes("@"));
  EXPECT_EQ(device.clock_set_to(), std::nullopt);
  EXPECT_THAT(device.complaints(), ElementsAre(HasSubstr("1a 0d 10 01 04 09")));
}

TEST_F(TavoDeviceTest, ALiveScanIsAFrameWithAnEndMarkAndIsStored) {
  TavoDevice device = Make();
  EXPECT_EQ(device.Scan(MakeRecord(6, "A", kMoment)),
            (Bytes{0x03, 0x00, 0x00, 0x0A, 0x06, 0x06, 'A', 0x31, 0x47, 0x41, 0x09, '@'}));
  EXPECT_THAT(device.records(), SizeIs(1));
}

TEST_F(TavoDeviceTest, ALiveScanNeedNotBeStored) {
  DeviceSettings settings;
  settings.store_live_scans = false;
  TavoDevice device = Make(settings);
  device.Scan(MakeRecord(6, "A", kMoment));
  EXPECT_THAT(device.records(), IsEmpty());
}

TEST_F(TavoDeviceTest, RecordsThatDoNotFitTheModelAreRefusedAtOnce) {
  const ScanRecord too_long{1, Bytes(251), kMoment, std::nullopt};
  EXPECT_THROW(Make(WithRecords({too_long})), std::length_error);
  TavoDevice device = Make();
  EXPECT_THROW(device.SetRecords({too_long}), std::length_error);
  EXPECT_THROW(device.Scan(too_long), std::length_error);
  EXPECT_THAT(device.records(), IsEmpty());
}

TEST_F(TavoDeviceTest, ADownloadLongerThanAFrameEndsBehindAWholeRecord) {
  const ScanRecord longest{1, Bytes(65528), kMoment, std::nullopt};
  TavoDevice device = Make(WithRecords(std::vector<ScanRecord>(300, longest), Model::kSeries300));
  const Bytes answer = device.Exchange(ToBytes("P"));
  EXPECT_EQ(answer.size(), 3U + 256 * 65535U);
  EXPECT_EQ((Bytes{answer[0], answer[1], answer[2]}), (Bytes{0xFF, 0xFF, 0x03}));
  EXPECT_THAT(device.notes(), SizeIs(1));
}

TEST_F(TavoDeviceTest, EverythingReceivedIsEitherACommandOrAComplaint) {
  TavoDevice device = Make();
  device.Exchange(ToBytes("WxM"));
  EXPECT_THAT(device.commands_seen(), ElementsAre("W", "M"));
  EXPECT_THAT(device.complaints(), ElementsAre("byte 2 received: byte 0x78 'x' begins no command"));
}

TEST_F(TavoDeviceTest, ComplaintsDoNotGrowWithoutBounds) {
  TavoDevice device = Make();
  device.Exchange(Bytes(100'000, 'x'));
  EXPECT_THAT(device.complaints(), SizeIs(TavoDevice::kMostComplaints + 1));
  EXPECT_EQ(device.complaints().back(), "there is more, not listed");
}

TEST_F(TavoDeviceTest, ACommandCutWithTheLineIsNotedAndNotAComplaint) {
  TavoDevice device = Make();
  device.Exchange(ToBytes("GS"));
  device.ForgetUnfinishedCommand();
  device.Exchange(ToBytes("W"));
  EXPECT_THAT(device.complaints(), IsEmpty());
  EXPECT_THAT(device.notes(), ElementsAre(HasSubstr("47 53")));
  EXPECT_THAT(device.commands_seen(), ElementsAre("W"));
}

}  // namespace
}  // namespace quillet::simulator
