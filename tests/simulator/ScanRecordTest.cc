#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/ScanRecord.h"

namespace quillet::simulator {
namespace {

constexpr CalendarTime kTime{2012, 5, 3, 16, 4, 9};

TEST(ScanRecord, OlderLayoutHasALengthByteThatDoesNotCountItself) {
  EXPECT_EQ(Encode(MakeRecord(6, "ABCD", kTime), Model::kOlder),
            (Bytes{0x09, 0x06, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09}));
}

TEST(ScanRecord, Series300LayoutHasATwoByteLengthThatCountsItself) {
  EXPECT_EQ(Encode(MakeRecord(0x22, "ABCD", kTime), Model::kSeries300),
            (Bytes{0x00, 0x0B, 0x22, 'A', 'B', 'C', 'D', 0x31, 0x47, 0x41, 0x09}));
}

TEST(ScanRecord, ARecordWithoutDataHasOnlyItsFixedFields) {
  EXPECT_EQ(Encode(MakeRecord(1, "", kTime), Model::kOlder).size(), 6U);
  EXPECT_EQ(Encode(MakeRecord(1, "", kTime), Model::kSeries300).size(), 7U);
}

TEST(ScanRecord, TheMostDataFillsTheLengthField) {
  const ScanRecord old{1, Bytes(250, 'x'), kTime, std::nullopt};
  EXPECT_EQ(Encode(old, Model::kOlder).front(), 0xFF);
  const ScanRecord series300{1, Bytes(65528, 'x'), kTime, std::nullopt};
  const Bytes bytes = Encode(series300, Model::kSeries300);
  EXPECT_EQ(bytes.size(), 65535U);
  EXPECT_EQ(bytes[0], 0xFF);
  EXPECT_EQ(bytes[1], 0xFF);
}

TEST(ScanRecord, RefusesDataThatDoesNotFit) {
  EXPECT_THROW(Encode({1, Bytes(251), kTime, std::nullopt}, Model::kOlder), std::length_error);
  EXPECT_THROW(Encode({1, Bytes(65529), kTime, std::nullopt}, Model::kSeries300),
               std::length_error);
}

TEST(ScanRecord, AnErasedSlotKeepsEverythingButItsSymbology) {
  Bytes bytes = Encode(MakeRecord(6, "ABCD", kTime), Model::kOlder);
  bytes[1] = 0xFF;
  EXPECT_EQ(Encode(Erased(MakeRecord(6, "ABCD", kTime)), Model::kOlder), bytes);
}

TEST(ScanRecord, RawBytesAreSentAsTheyAre) {
  ScanRecord record = MakeRecord(6, "ABCD", kTime);
  record.raw = Bytes{0x00, 0x01};
  EXPECT_EQ(Encode(record, Model::kOlder), (Bytes{0x00, 0x01}));
}

}  // namespace
}  // namespace quillet::simulator
