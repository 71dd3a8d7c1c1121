#include "download/SymbologyNames.h"
#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

using namespace std::string_literals;

class RecordFieldsTest : public test::LumetFixture {
 protected:
  /// One record as the session composes it, everything on, fields separated by commas.
  std::string Compose(std::string_view record) {
    lumet.bAttachType = lumet.bAttachTimestamp = 1;
    lumet.datadelimiter = 3;
    lumet.recorddelimiter = 0;
    PutRecord(record);
    lumet.ComposeRecord(lumet.RxBuffer);
    return Composed();
  }
};

TEST_F(RecordFieldsTest, AnOlderRecordIsReadFieldByField) {
  PutRecord(
      "\x09\x06"
      "ABCD\x31\x47\x41\x09");
  lumet.GetBarcodeLength(lumet.RxBuffer);
  EXPECT_EQ(lumet.BarcodeLength, 4);
  EXPECT_EQ(lumet.BufferOffset, 4) << "at the symbology byte";
  EXPECT_EQ(Compose("\x09\x06"
                    "ABCD\x31\x47\x41\x09"),
            "Code 128,ABCD,[2012/05/03:16:04:09]");
}

TEST_F(RecordFieldsTest, A300SeriesRecordIsReadFieldByField) {
  lumet.bTavo300 = 1;
  const std::string record =
      "\x00\x0B\x22"
      "ABCD\x31\x47\x41\x09"s;
  PutRecord(record);
  lumet.GetBarcodeLength(lumet.RxBuffer);
  EXPECT_EQ(lumet.BarcodeLength, 4);
  EXPECT_EQ(lumet.BufferOffset, 5);
  EXPECT_EQ(Compose(record), "QR/Micro QR,ABCD,[2012/05/03:16:04:09]");
}

TEST_F(RecordFieldsTest, TheTwoHighBitsOfTheSymbologyByteAreIgnored) {
  EXPECT_EQ(Compose("\x09\x86"
                    "ABCD\x31\x47\x41\x09"),
            "Code 128,ABCD,[2012/05/03:16:04:09]");
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeTypeEx:::]:6"));
}

TEST_F(RecordFieldsTest, LateCodesOfTheOlderLayoutAreRemappedAndThoseOfThe300SeriesAreNot) {
  EXPECT_EQ(Compose("\x06\x14"
                    "A\x31\x47\x41\x09")
                .substr(0, 8),
            "Code 93,");
  EXPECT_EQ(Compose("\x06\x15"
                    "A\x31\x47\x41\x09")
                .substr(0, 8),
            "Code 35,");
  lumet.bTavo300 = 1;
  EXPECT_EQ(Compose("\x00\x08\x14"
                    "A\x31\x47\x41\x09"s)
                .substr(0, 6),
            "UPC-A,");
}

TEST_F(RecordFieldsTest, AnAfternoonAddsTwelveHoursToWhateverHourIsStored) {
  const auto hour = [&](std::uint16_t date, std::uint16_t time) {
    lumet.BarcodeBufferOffset = 0;
    lumet.bAttachTimestamp = 1;
    lumet.datadelimiter = 0;
    lumet.AttachTimestampEx(lumet.RxBuffer, date, time, false);
    return Composed().substr(12, 2);
  };
  EXPECT_EQ(hour(0x3147, 0x0109), "12");
  EXPECT_EQ(hour(0x3147, 0xB109), "23");
  EXPECT_EQ(hour(0x3146, 0xB109), "11");
  EXPECT_EQ(hour(0x3147, 0xF109), "27") << "shown as it comes";
}

TEST_F(RecordFieldsTest, TheLargestYearIs2063) {
  lumet.bAttachTimestamp = 1;
  lumet.datadelimiter = 0;
  lumet.AttachTimestampEx(lumet.RxBuffer, 0xFFFF, 0xFFFF, false);
  EXPECT_EQ(Composed(), "[2063/15/31:27:63:63]");
}

TEST_F(RecordFieldsTest, TheSerialNumberIsShownFromItsFifthCharacter) {
  lumet.bAttachSerial = 1;
  lumet.sn_position = 2;
  lumet.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>("1234567890"), 10);
  lumet.AttachSerialNumberEx(lumet.RxBuffer);
  EXPECT_EQ(Composed(), "567890");
  // A shorter number shows what an earlier one left behind it, and nothing outside the field.
  lumet.BarcodeBufferOffset = 0;
  lumet.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>("ab"), 2);
  lumet.AttachSerialNumberEx(lumet.RxBuffer);
  EXPECT_EQ(Composed(), "567890");
}

TEST_F(RecordFieldsTest, CodesOfTheOlderLayoutRunOnIntoTheOtherTable) {
  EXPECT_EQ(SymbologyName(15, false), "Unknown");
  EXPECT_EQ(SymbologyName(16, false), "Code 32");
  EXPECT_EQ(SymbologyName(60, false), "Unknown");
  EXPECT_EQ(SymbologyName(59, false), "HanXin Code");
  EXPECT_EQ(SymbologyName(0, true), "Code 32");
}

TEST_F(RecordFieldsTest, CodesWithoutAnEntryAreUnknown) {
  for (const int code : {61, 62, 63}) EXPECT_EQ(SymbologyName(code, false), "Unknown");
  for (int code = 45; code <= 63; ++code) EXPECT_EQ(SymbologyName(code, true), "Unknown");
  EXPECT_EQ(SymbologyName(-1, false), "Unknown");
  EXPECT_EQ(SymbologyName(-1, true), "Unknown");
}

TEST_F(RecordFieldsTest, ALengthBelowTheFixedPartCopiesNoData) {
  PutRecord(
      "\x02\x06"
      "ABCD");
  lumet.GetBarcodeLength(lumet.RxBuffer);
  EXPECT_EQ(lumet.BarcodeLength, -3);
  lumet.GetBarcodeData(lumet.RxBuffer);
  EXPECT_EQ(lumet.BarcodeBufferOffset, 0);
  lumet.bTavo300 = 1;
  PutRecord("\x00\x00\x06"s);
  lumet.GetBarcodeLength(lumet.RxBuffer);
  EXPECT_EQ(lumet.BarcodeLength, -7);
}

TEST_F(RecordFieldsTest, ARecordWithoutAnyLengthReadsNothingInFrontOfTheBuffer) {
  lumet.bTavo300 = 1;
  EXPECT_EQ(Compose("\x00\x00\x21\x12\x34\x56\x78"s).substr(0, 9), "PDF417,,[");
  lumet.bTavo300 = 0;
  EXPECT_EQ(Compose("\x00\x06\x12\x34\x56\x78"s).substr(0, 10), "Code 128,,");
}

TEST_F(RecordFieldsTest, BigEndianNumbersAreReadFromTheBuffer) {
  PutRecord("\x01\x02\x03\x04", 0);
  EXPECT_EQ(lumet.MakeInteger(0, 3), 0x010203U);
  EXPECT_EQ(lumet.MakeInteger(1, 2), 0x0203U);
  EXPECT_EQ(lumet.MakeInteger(0, 0), 0U);
  EXPECT_EQ(lumet.MakeInteger(0, -1), 0U);
  EXPECT_EQ(Lumet::MakeOneNumber(lumet.RxBuffer), 0x01020304U);
}

TEST_F(RecordFieldsTest, TheSingleFieldFormsAppendOneFieldEach) {
  lumet.datadelimiter = 3;
  lumet.bAttachType = 1;
  PutRecord("\x94\x31\x47\x41\x09");
  lumet.GetBarcodeType(lumet.RxBuffer);
  EXPECT_EQ(Composed(), "Code 93,");
  EXPECT_EQ(lumet.BufferOffset, 4);
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeType:]4:14"));
  lumet.AttachSerialNumber(lumet.RxBuffer);
  EXPECT_EQ(Composed(), "Code 93,0000000000");
  lumet.AttachTimestamp(lumet.RxBuffer);
  EXPECT_EQ(Composed(), "Code 93,0000000000,[2012/5/3:16:4:9]");
  EXPECT_EQ(lumet.BufferOffset, 8);
  lumet.bAttachType = 0;
  lumet.GetBarcodeType(lumet.RxBuffer);
  EXPECT_EQ(Composed(), "Code 93,0000000000,[2012/5/3:16:4:9]");
  EXPECT_EQ(lumet.BufferOffset, 9);
}

TEST_F(RecordFieldsTest, AnAppendedTextIsTerminatedBehindItsEnd) {
  std::fill(std::begin(lumet.BarcodeBuffer), std::end(lumet.BarcodeBuffer), std::uint8_t{'#'});
  lumet.AttachSerialNumber(lumet.RxBuffer);
  EXPECT_EQ(lumet.BarcodeBuffer[10], 0);
  EXPECT_EQ(lumet.BarcodeBuffer[11], '#');
}

TEST_F(RecordFieldsTest, DataTooLongForTheLineIsCutAndTheOtherFieldsStand) {
  lumet.bTavo300 = 1;
  lumet.bAttachSerial = 1;
  lumet.recorddelimiter = 4;
  std::string record = "\xFF\xFF\x21"s + std::string(65528, 'x') + "\x31\x47\x41\x09";
  lumet.bAttachType = lumet.bAttachTimestamp = 1;
  lumet.datadelimiter = 3;
  PutRecord(record);
  lumet.ComposeRecord(lumet.RxBuffer);
  const std::string line = Composed();
  EXPECT_LT(line.size(), 10240U);
  EXPECT_GT(line.size(), 10000U);
  EXPECT_TRUE(line.ends_with("xxx,[2012/05/03:16:04:09],000000\r\n"));
}

}  // namespace
}  // namespace quillet
