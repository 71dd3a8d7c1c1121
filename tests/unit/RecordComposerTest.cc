#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "download/RecordComposer.h"
#include "download/SymbologyNames.h"
#include "tests/support/RecordingLog.h"

namespace quillet {
namespace {

using namespace std::string_literals;

constexpr std::string_view kRecord =
    "\x09\x06"
    "ABCD\x31\x47\x41\x09";

// Settings and a scanner of the test's own, everything on, fields separated by commas.
class RecordComposerTest : public testing::Test {
 protected:
  RecordComposerTest() {
    SetSerial("1234567890");
    settings.bAttachType = settings.bAttachSerial = settings.bAttachTimestamp = 1;
    settings.datadelimiter = 3;
    settings.recorddelimiter = 4;
    settings.sn_position = 1;
    settings.dataorder = 0;
  }

  void SetSerial(std::string_view serial) {
    identity.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(serial.data()), serial.size());
  }

  void AllFieldsOff() {
    settings.bAttachType = 0;
    settings.bAttachSerial = 0;
    settings.bAttachTimestamp = 0;
  }

  static RecordComposer::Bytes BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
  }

  /// The line of a record, as it is delivered.
  std::string Line(std::string_view record = kRecord) {
    std::string line;
    DecodeRecordText(composer.Compose(BytesOf(record), 0), line);
    return line;
  }

  test::RecordingLog log;
  Settings settings;
  ScannerIdentity identity;
  std::unique_ptr<RecordComposer> owned = std::make_unique<RecordComposer>(log, settings, identity);
  RecordComposer& composer = *owned;
};

TEST_F(RecordComposerTest, JoinsAllFieldsWithTheSerialNumberLast) {
  EXPECT_EQ(Line(), "Code 128,ABCD,[2012/05/03:16:04:09],567890\r\n");
}

TEST_F(RecordComposerTest, PutsTheSerialNumberFirst) {
  settings.sn_position = 0;
  EXPECT_EQ(Line(), "567890,Code 128,ABCD,[2012/05/03:16:04:09]\r\n");
}

TEST_F(RecordComposerTest, LeavesOutTheSerialNumberAtOtherPositions) {
  settings.sn_position = 2;
  EXPECT_EQ(Line(), "Code 128,ABCD,[2012/05/03:16:04:09]\r\n");
  settings.sn_position = -48;
  EXPECT_EQ(Line(), "Code 128,ABCD,[2012/05/03:16:04:09]\r\n");
}

TEST_F(RecordComposerTest, GivesDataAloneWithAllFieldsOff) {
  AllFieldsOff();
  EXPECT_EQ(Line(), "ABCD\r\n");
}

TEST_F(RecordComposerTest, PutsATabAfterTheTime) {
  AllFieldsOff();
  settings.bAttachTimestamp = 1;
  settings.dataorder = 4;
  settings.datadelimiter = 1;
  settings.recorddelimiter = 0;
  EXPECT_EQ(Line(), "[2012/05/03:16:04:09]\tABCD");
}

TEST_F(RecordComposerTest, OmitsFieldsForAnUnknownOrder) {
  for (const int order : {7, 6, -1, -48}) {
    settings.dataorder = order;
    settings.bAttachSerial = 1;
    EXPECT_EQ(Line(), ",567890\r\n");
    EXPECT_EQ(composer.BufferOffset, 2) << "the symbology byte is consumed";
    settings.bAttachSerial = 0;
    EXPECT_EQ(Line(), "\r\n");
  }
}

TEST_F(RecordComposerTest, JoinsFieldsWithoutADelimiter) {
  for (const int choice : {0, 5, 9, -48}) {
    settings.datadelimiter = choice;
    EXPECT_EQ(Line(), "Code 128ABCD[2012/05/03:16:04:09]567890\r\n");
  }
}

TEST_F(RecordComposerTest, EndsTheRecordWithATabOrNothing) {
  AllFieldsOff();
  settings.recorddelimiter = 3;
  EXPECT_EQ(Line(), "ABCD\t");
  settings.recorddelimiter = 0;
  EXPECT_EQ(Line(), "ABCD");
}

TEST_F(RecordComposerTest, NamesCode21ByTheLayout) {
  settings.sn_position = 2;
  settings.bAttachTimestamp = 0;
  EXPECT_EQ(Line("\x09\x15"
                 "ABCD\x31\x47\x41\x09"),
            "Code 35,ABCD\r\n");
  identity.bTavo300 = 1;
  EXPECT_EQ(Line("\x00\x0B\x15"
                 "ABCD\x31\x47\x41\x09"s),
            "EAN-13,ABCD\r\n");
}

TEST_F(RecordComposerTest, FollowsEachOrder) {
  const std::string n = "Code 128", d = "ABCD", t = "[2012/05/03:16:04:09]";
  const std::string expected[] = {n + ";" + d + ";" + t, n + ";" + t + ";" + d,
                                  d + ";" + n + ";" + t, d + ";" + t + ";" + n,
                                  t + ";" + n + ";" + d, t + ";" + d + ";" + n};
  settings.sn_position = 2;
  settings.datadelimiter = 4;
  settings.recorddelimiter = 0;
  for (int order = 0; order < 6; ++order) {
    settings.dataorder = order;
    EXPECT_EQ(Line(), expected[order]) << order;
  }
}

TEST_F(RecordComposerTest, LeavesNoDelimiterForAFieldThatIsOff) {
  settings.sn_position = 2;
  settings.recorddelimiter = 0;
  for (int order = 0; order < 6; ++order) {
    settings.dataorder = order;
    settings.bAttachType = 1;
    settings.bAttachTimestamp = 0;
    EXPECT_EQ(Line(), order == 0 || order == 1 || order == 4 ? "Code 128,ABCD" : "ABCD,Code 128");
    settings.bAttachType = 0;
    settings.bAttachTimestamp = 1;
    EXPECT_EQ(Line(), order == 0 || order == 2 || order == 3 ? "ABCD,[2012/05/03:16:04:09]"
                                                             : "[2012/05/03:16:04:09],ABCD");
  }
}

TEST_F(RecordComposerTest, AppendsEveryDelimiterChoice) {
  AllFieldsOff();
  settings.bAttachType = 1;
  const std::string data[] = {"", "\t", " ", ",", ";"};
  const std::string records[] = {"", "\n", "\r", "\t", "\r\n"};
  for (int i = 0; i < 5; ++i) {
    settings.datadelimiter = i;
    settings.recorddelimiter = i;
    EXPECT_EQ(Line(), "Code 128" + data[i] + "ABCD" + records[i]);
  }
}

TEST_F(RecordComposerTest, KeepsDataThatIsUtf8) {
  AllFieldsOff();
  settings.recorddelimiter = 0;
  EXPECT_EQ(Line("\x08\x06"
                 "\xC3\xA9"
                 "1\x31\x47\x41\x09"),
            "\xC3\xA9"
            "1");
}

TEST_F(RecordComposerTest, ReadsOtherBytesAsLatin1) {
  AllFieldsOff();
  settings.recorddelimiter = 0;
  EXPECT_EQ(Line("\x07\x06"
                 "\xE9"
                 "1\x31\x47\x41\x09"),
            "\xC3\xA9"
            "1");
  EXPECT_EQ(Line("\x07\x06"
                 "\xC3\xFF\x31\x47\x41\x09"),
            "\xC3\x83\xC3\xBF");
}

TEST_F(RecordComposerTest, KeepsNulAndControlBytes) {
  AllFieldsOff();
  settings.recorddelimiter = 0;
  EXPECT_EQ(Line("\x09\x06"
                 "A\0\r@\x31\x47\x41\x09"s),
            "A\0\r@"s);
}

TEST_F(RecordComposerTest, ReadsTheLengthOfEitherLayout) {
  composer.GetBarcodeLength(BytesOf(kRecord));
  EXPECT_EQ(composer.BarcodeLength, 4);
  EXPECT_EQ(composer.BufferOffset, 1) << "at the symbology byte";
  identity.bTavo300 = 1;
  composer.BufferOffset = 0;
  composer.GetBarcodeLength(BytesOf("\x00\x0B\x22"s));
  EXPECT_EQ(composer.BarcodeLength, 4);
  EXPECT_EQ(composer.BufferOffset, 2);
}

TEST_F(RecordComposerTest, Composes300SeriesRecords) {
  identity.bTavo300 = 1;
  EXPECT_EQ(Line("\x00\x0B\x22"s + "ABCD\x31\x47\x41\x09"),
            "QR/Micro QR,ABCD,[2012/05/03:16:04:09],567890\r\n");
}

TEST_F(RecordComposerTest, IgnoresTheHighBitsOfTheSymbology) {
  EXPECT_TRUE(Line("\x09\x86"
                   "ABCD\x31\x47\x41\x09")
                  .starts_with("Code 128,ABCD,"));
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeTypeEx:::]:6"));
}

TEST_F(RecordComposerTest, RemapsLateCodesOfTheOlderLayoutOnly) {
  EXPECT_TRUE(Line("\x06\x14"
                   "A\x31\x47\x41\x09")
                  .starts_with("Code 93,"));
  EXPECT_TRUE(Line("\x06\x15"
                   "A\x31\x47\x41\x09")
                  .starts_with("Code 35,"));
  identity.bTavo300 = 1;
  EXPECT_TRUE(Line("\x00\x08\x14"s + "A\x31\x47\x41\x09").starts_with("UPC-A,"));
}

TEST_F(RecordComposerTest, AddsTwelveHoursInTheAfternoon) {
  const auto time = [&](std::uint16_t date, std::uint16_t packed) {
    composer.BarcodeBufferOffset = 0;
    settings.datadelimiter = 0;
    composer.AttachTimestampEx({}, date, packed, false);
    return std::string(composer.BarcodeBuffer());
  };
  EXPECT_EQ(time(0x3147, 0x0109).substr(12, 2), "12");
  EXPECT_EQ(time(0x3147, 0xB109).substr(12, 2), "23");
  EXPECT_EQ(time(0x3146, 0xB109).substr(12, 2), "11");
  EXPECT_EQ(time(0x3147, 0xF109).substr(12, 2), "27") << "shown as received";
  EXPECT_EQ(time(0xFFFF, 0xFFFF), "[2063/15/31:27:63:63]");
}

TEST_F(RecordComposerTest, ShowsTheSerialNumberFromTheFifthCharacter) {
  settings.sn_position = 2;
  composer.AttachSerialNumberEx({});
  EXPECT_EQ(composer.BarcodeBuffer(), "567890");
  // A shorter number shows the bytes that the previous one left, and none outside the field.
  SetSerial("ab");
  composer.BarcodeBufferOffset = 0;
  composer.AttachSerialNumberEx({});
  EXPECT_EQ(composer.BarcodeBuffer(), "567890");
}

TEST_F(RecordComposerTest, CopiesNoDataBelowTheFixedLength) {
  composer.GetBarcodeLength(
      BytesOf("\x02\x06"
              "ABCD"));
  EXPECT_EQ(composer.BarcodeLength, -3);
  composer.GetBarcodeData(
      BytesOf("\x02\x06"
              "ABCD"));
  EXPECT_EQ(composer.BarcodeBuffer(), "");
  identity.bTavo300 = 1;
  composer.BufferOffset = 0;
  composer.GetBarcodeLength(BytesOf("\x00\x00\x06"s));
  EXPECT_EQ(composer.BarcodeLength, -7);
  EXPECT_TRUE(Line("\x00\x00\x21\x12\x34\x56\x78"s).starts_with("PDF417,,["));
}

TEST_F(RecordComposerTest, CutsALineOnlyAtTheEndOfItsBuffer) {
  identity.bTavo300 = 1;
  AllFieldsOff();
  for (const std::size_t size : {10000U, 10113U, 10236U, 10237U, 10238U, 10300U, 65528U}) {
    std::string record = "##\x21" + std::string(size, 'x') + "\x31\x47\x41\x09";
    record[0] = static_cast<char>((size + 7) >> 8);
    record[1] = static_cast<char>(size + 7);
    EXPECT_EQ(Line(record), (std::string(size, 'x') + "\r\n").substr(0, 10239)) << size;
  }
}

TEST_F(RecordComposerTest, AppendsSingleFields) {
  const auto record = "\x94\x31\x47\x41\x09"s;
  composer.GetBarcodeType(BytesOf(record));
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,");
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeType:]1:14"));
  composer.AttachSerialNumber({});
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,1234567890");
  composer.AttachTimestamp(BytesOf(record));
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,1234567890,[2012/5/3:16:4:9]");
  EXPECT_EQ(composer.BufferOffset, 5);
  settings.bAttachType = 0;
  composer.GetBarcodeType({});
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,1234567890,[2012/5/3:16:4:9]");
  EXPECT_EQ(composer.BufferOffset, 6);
}

TEST(SymbologyNamesTest, ContinuesOlderCodesInTheOtherTable) {
  EXPECT_EQ(SymbologyName(15, false), "Unknown");
  EXPECT_EQ(SymbologyName(16, false), "Code 32");
  EXPECT_EQ(SymbologyName(59, false), "HanXin Code");
  EXPECT_EQ(SymbologyName(60, false), "Unknown");
  EXPECT_EQ(SymbologyName(0, true), "Code 32");
}

TEST(SymbologyNamesTest, NamesCodesOutsideTheTablesUnknown) {
  for (const int code : {-1, 61, 62, 63}) EXPECT_EQ(SymbologyName(code, false), "Unknown");
  EXPECT_EQ(SymbologyName(-1, true), "Unknown");
  for (int code = 45; code <= 63; ++code) EXPECT_EQ(SymbologyName(code, true), "Unknown");
}

}  // namespace
}  // namespace quillet
