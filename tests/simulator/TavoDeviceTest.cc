#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
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
const ScanRecord kTooLong{1, Bytes(251), kMoment};

class TavoDeviceTest : public testing::Test {
 protected:
  /// Creates a device with `settings_`.
  void Create() {
    device_.emplace(settings_, [this] { return now_; });
  }

  void CreateWith(std::vector<ScanRecord> records, Model model = Model::kOlder) {
    settings_.model = model;
    settings_.records = std::move(records);
    Create();
  }

  /// Returns the concatenated answers to these bytes.
  Bytes Exchange(const Bytes& bytes) {
    Bytes answers;
    for (const std::uint8_t byte : bytes) {
      const auto command = device_->Receive(byte);
      if (command) Append(answers, device_->Execute(*command).value_or(Bytes{}));
    }
    return answers;
  }
  Bytes Exchange(std::string_view text) { return Exchange(ToBytes(text)); }

  const DeviceReport& Report() { return device_->Report(); }

  DeviceSettings settings_;
  nanoseconds now_{12345};
  std::optional<TavoDevice> device_;
};

TEST_F(TavoDeviceTest, AnswersSimpleCommandsWithOnlyATerminator) {
  for (const char terminator : {'@', '!'}) {
    settings_.terminator = terminator;
    Create();
    for (const char* command : {"W", "w0#", "w1#", "E", "GS1", "GS0"}) {
      EXPECT_EQ(Exchange(command), ToBytes({&terminator, 1})) << command;
    }
    EXPECT_THAT(Report().complaints, IsEmpty());
  }
}

TEST_F(TavoDeviceTest, AnswersIdentityCommandsWithText) {
  settings_.serial = "1234567890";
  settings_.asset = "SHELF";
  Create();
  EXPECT_EQ(Exchange("MVGZSG"), ToBytes("1234567890@0.00.41000@SHELF@"));
  settings_.model = Model::kSeries300;
  Create();
  EXPECT_EQ(Exchange("V"), ToBytes("1.00.42010@"));
  for (const std::string firmware : {"0.00.41007", ""}) {
    settings_.firmware = firmware;
    Create();
    EXPECT_EQ(Exchange("V"), ToBytes(firmware + "@"));
  }
}

TEST_F(TavoDeviceTest, SendsRecordsInTheLayoutOfItsModel) {
  CreateWith({MakeRecord(6, "A", kMoment), MakeRecord(4, "BC", kMoment)});
  EXPECT_EQ(Exchange("p1#"),
            (Bytes{0x03, 0x00, 0x00, 0x0B, 0x07, 0x04, 'B', 'C', 0x31, 0x47, 0x41, 0x09}));
  EXPECT_EQ(Exchange("P"), (Bytes{0x00, 0x00, 0x12, 0x06, 0x06, 'A', 0x31, 0x47, 0x41, 0x09, 0x07,
                                  0x04, 'B', 'C', 0x31, 0x47, 0x41, 0x09}));
  CreateWith({MakeRecord(34, "A", kMoment)}, Model::kSeries300);
  EXPECT_EQ(Exchange("p0#"),
            (Bytes{0x03, 0x00, 0x00, 0x0B, 0x00, 0x08, 0x22, 'A', 0x31, 0x47, 0x41, 0x09}));
  EXPECT_EQ(Exchange("P"),
            (Bytes{0x00, 0x00, 0x0B, 0x00, 0x08, 0x22, 'A', 0x31, 0x47, 0x41, 0x09}));
}

TEST_F(TavoDeviceTest, CountsAllSlotsIncludingErasedOnes) {
  CreateWith(StockTaking(8448, Model::kOlder));
  EXPECT_EQ(Exchange("N"), (Bytes{0x00, 0x00, 0x21, 0x00, '@'}));
  CreateWith({Erased(MakeRecord(6, "A", kMoment))});
  EXPECT_EQ(Exchange("N"), (Bytes{0, 0, 0, 1, '@'}));
  EXPECT_EQ(Exchange("P")[4], 0xFF);
  CreateWith({});
  EXPECT_EQ(Exchange("P"), (Bytes{0x00, 0x00, 0x03}));
}

TEST_F(TavoDeviceTest, ReportsARequestForAMissingRecord) {
  CreateWith({MakeRecord(6, "A", kMoment)});
  EXPECT_EQ(Exchange("p1#"), Bytes{});
  EXPECT_THAT(Report().notes, ElementsAre(HasSubstr("record 1 was requested")));
  EXPECT_THAT(Report().complaints, IsEmpty());
}

TEST_F(TavoDeviceTest, ErasesAllRecords) {
  CreateWith(StockTaking(3, Model::kOlder));
  EXPECT_EQ(Exchange("EN"), (Bytes{'@', 0, 0, 0, 0, '@'}));
  EXPECT_THAT(device_->Records(), IsEmpty());
  EXPECT_EQ(Report().eraseCount, 1U);
}

TEST_F(TavoDeviceTest, AdvancesTheClockAfterItIsSet) {
  Create();
  EXPECT_EQ(Report().clockSetTo, std::nullopt);
  now_ += seconds(5);
  EXPECT_EQ(device_->ClockNow(), (CalendarTime{2000, 1, 1, 0, 0, 5}));
  EXPECT_EQ(Exchange({'C', 0x1A, 0x0B, 0x10, 0x01, 0x04, 0x09}), ToBytes("@"));
  EXPECT_EQ(Report().clockSetTo, (CalendarTime{2026, 11, 16, 1, 4, 9}));
  now_ += seconds(60);
  EXPECT_EQ(device_->ClockNow(), (CalendarTime{2026, 11, 16, 1, 5, 9}));
}

TEST_F(TavoDeviceTest, KeepsTheClockIfTheNewTimeIsInvalid) {
  Create();
  EXPECT_EQ(Exchange({'C', 0x1A, 13, 0x10, 0x01, 0x04, 0x09}), ToBytes("@"));
  EXPECT_EQ(Report().clockSetTo, std::nullopt);
  EXPECT_THAT(Report().complaints, ElementsAre(HasSubstr("1a 0d 10 01 04 09")));
}

TEST_F(TavoDeviceTest, SendsALiveScanAndStoresItIfEnabled) {
  for (const bool store : {true, false}) {
    settings_.storeLiveScans = store;
    Create();
    EXPECT_EQ(device_->Scan(MakeRecord(6, "A", kMoment)),
              (Bytes{0x03, 0x00, 0x00, 0x0A, 0x06, 0x06, 'A', 0x31, 0x47, 0x41, 0x09, '@'}));
    EXPECT_THAT(device_->Records(), SizeIs(store ? 1 : 0));
  }
}

TEST_F(TavoDeviceTest, RejectsRecordsTooLongForTheModel) {
  EXPECT_THROW(CreateWith({kTooLong}), std::length_error);
  CreateWith({});
  EXPECT_THROW(device_->SetRecords({kTooLong}), std::length_error);
  EXPECT_THROW(device_->Scan(kTooLong), std::length_error);
  EXPECT_THAT(device_->Records(), IsEmpty());
}

TEST_F(TavoDeviceTest, TruncatesOversizedDownloadsAtARecordBoundary) {
  const ScanRecord longest{1, Bytes(65528), kMoment};
  CreateWith(std::vector<ScanRecord>(300, longest), Model::kSeries300);
  const Bytes answer = Exchange("P");
  EXPECT_EQ(answer.size(), 3U + 256 * 65535U);
  EXPECT_EQ((Bytes{answer[0], answer[1], answer[2]}), (Bytes{0xFF, 0xFF, 0x03}));
  EXPECT_THAT(Report().notes, SizeIs(1));
}

TEST_F(TavoDeviceTest, ReportListsCommandsAndALimitedNumberOfComplaints) {
  Create();
  Exchange("WxM");
  EXPECT_THAT(Report().commandsSeen, ElementsAre("W", "M"));
  EXPECT_THAT(Report().complaints,
              ElementsAre("byte 2 received: byte 0x78 'x' is not the start of a command"));
  Exchange(Bytes(100'000, 'x'));
  EXPECT_THAT(Report().complaints, SizeIs(kMostComplaints + 1));
  EXPECT_EQ(Report().complaints.back(), "further problems are not listed");
}

}  // namespace
}  // namespace quillet::simulator
