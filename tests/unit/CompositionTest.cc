#include "tests/support/LumetFixture.h"

namespace quillet {
namespace {

using namespace std::string_literals;

constexpr std::string_view kRecord =
    "\x09\x06"
    "ABCD\x31\x47\x41\x09";

class CompositionTest : public test::LumetFixture {
 protected:
  CompositionTest() {
    lumet.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>("1234567890"), 10);
    lumet.bAttachType = lumet.bAttachSerial = lumet.bAttachTimestamp = 1;
    lumet.datadelimiter = 3;
    lumet.recorddelimiter = 4;
    lumet.sn_position = 1;
    lumet.dataorder = 0;
  }

  void AllFieldsOff() {
    lumet.bAttachType = 0;
    lumet.bAttachSerial = 0;
    lumet.bAttachTimestamp = 0;
  }

  /// The line that the owner is handed for a record.
  std::string Line(std::string_view record = kRecord) {
    PutRecord(record);
    lumet.SynchronizeData();
    return owner.records().back();
  }
};

TEST_F(CompositionTest, AllFieldsWithCommasAndTheSerialNumberLast) {
  EXPECT_EQ(Line(), "Code 128,ABCD,[2012/05/03:16:04:09],567890\r\n");
}

TEST_F(CompositionTest, TheSerialNumberFirst) {
  lumet.sn_position = 0;
  EXPECT_EQ(Line(), "567890,Code 128,ABCD,[2012/05/03:16:04:09]\r\n");
}

TEST_F(CompositionTest, AnotherPositionLeavesTheSerialNumberOutWithItsDelimiter) {
  lumet.sn_position = 2;
  EXPECT_EQ(Line(), "Code 128,ABCD,[2012/05/03:16:04:09]\r\n");
  lumet.sn_position = -48;
  EXPECT_EQ(Line(), "Code 128,ABCD,[2012/05/03:16:04:09]\r\n");
}

TEST_F(CompositionTest, WithAllFieldsOffTheDataAloneIsLeft) {
  AllFieldsOff();
  EXPECT_EQ(Line(), "ABCD\r\n");
}

TEST_F(CompositionTest, OnlyTheTimeInFrontOfTheDataWithATab) {
  AllFieldsOff();
  lumet.bAttachTimestamp = 1;
  lumet.dataorder = 4;
  lumet.datadelimiter = 1;
  lumet.recorddelimiter = 0;
  EXPECT_EQ(Line(), "[2012/05/03:16:04:09]\tABCD");
}

TEST_F(CompositionTest, AnOrderOutsideTheTableLeavesTheSerialNumberAndTheRecordDelimiter) {
  for (const int order : {7, 6, -1, -48}) {
    lumet.dataorder = order;
    lumet.bAttachSerial = 1;
    EXPECT_EQ(Line(), ",567890\r\n");
    EXPECT_EQ(lumet.BufferOffset, 5) << "the symbology byte is consumed";
    lumet.bAttachSerial = 0;
    EXPECT_EQ(Line(), "\r\n");
  }
}

TEST_F(CompositionTest, WithoutADataDelimiterTheFieldsRunTogether) {
  for (const int choice : {0, 5, 9, -48}) {
    lumet.datadelimiter = choice;
    EXPECT_EQ(Line(), "Code 128ABCD[2012/05/03:16:04:09]567890\r\n");
  }
}

TEST_F(CompositionTest, TheRecordDelimiterIsATabForThreeAndNothingForZero) {
  AllFieldsOff();
  lumet.recorddelimiter = 3;
  EXPECT_EQ(Line(), "ABCD\t");
  lumet.recorddelimiter = 0;
  EXPECT_EQ(Line(), "ABCD");
}

TEST_F(CompositionTest, Code21IsNamedByTheTableOfItsLayout) {
  lumet.sn_position = 2;
  lumet.bAttachTimestamp = 0;
  EXPECT_EQ(Line("\x09\x15"
                 "ABCD\x31\x47\x41\x09"),
            "Code 35,ABCD\r\n");
  lumet.bTavo300 = 1;
  EXPECT_EQ(Line("\x00\x0B\x15"
                 "ABCD\x31\x47\x41\x09"s),
            "EAN-13,ABCD\r\n");
}

TEST_F(CompositionTest, EachOrderPutsItsFieldsAndDelimiters) {
  const std::string n = "Code 128", d = "ABCD", t = "[2012/05/03:16:04:09]";
  const std::string expected[] = {n + ";" + d + ";" + t, n + ";" + t + ";" + d,
                                  d + ";" + n + ";" + t, d + ";" + t + ";" + n,
                                  t + ";" + n + ";" + d, t + ";" + d + ";" + n};
  lumet.sn_position = 2;
  lumet.datadelimiter = 4;
  lumet.recorddelimiter = 0;
  for (int order = 0; order < 6; ++order) {
    lumet.dataorder = order;
    EXPECT_EQ(Line(), expected[order]) << order;
  }
}

TEST_F(CompositionTest, AFieldThatIsOffLeavesNoDelimiterInAnyOrder) {
  lumet.sn_position = 2;
  lumet.recorddelimiter = 0;
  for (int order = 0; order < 6; ++order) {
    lumet.dataorder = order;
    lumet.bAttachType = 1;
    lumet.bAttachTimestamp = 0;
    EXPECT_EQ(Line(), order == 0 || order == 1 || order == 4 ? "Code 128,ABCD" : "ABCD,Code 128");
    lumet.bAttachType = 0;
    lumet.bAttachTimestamp = 1;
    EXPECT_EQ(Line(), order == 0 || order == 2 || order == 3 ? "ABCD,[2012/05/03:16:04:09]"
                                                             : "[2012/05/03:16:04:09],ABCD");
  }
}

TEST_F(CompositionTest, EveryDelimiterChoiceAppendsItsCharacters) {
  AllFieldsOff();
  lumet.bAttachType = 1;
  const std::string data[] = {"", "\t", " ", ",", ";"};
  const std::string records[] = {"", "\n", "\r", "\t", "\r\n"};
  for (int i = 0; i < 5; ++i) {
    lumet.datadelimiter = i;
    lumet.recorddelimiter = i;
    EXPECT_EQ(Line(), "Code 128" + data[i] + "ABCD" + records[i]);
  }
}

TEST_F(CompositionTest, DataThatIsUtf8IsTakenAsUtf8) {
  AllFieldsOff();
  lumet.recorddelimiter = 0;
  EXPECT_EQ(Line("\x08\x06"
                 "\xC3\xA9"
                 "1\x31\x47\x41\x09"),
            "\xC3\xA9"
            "1");
}

TEST_F(CompositionTest, OtherBytesAbove7FStandForLatin1Characters) {
  AllFieldsOff();
  lumet.recorddelimiter = 0;
  EXPECT_EQ(Line("\x07\x06"
                 "\xE9"
                 "1\x31\x47\x41\x09"),
            "\xC3\xA9"
            "1");
  EXPECT_EQ(Line("\x07\x06"
                 "\xC3\xFF\x31\x47\x41\x09"),
            "\xC3\x83\xC3\xBF");
}

TEST_F(CompositionTest, NulAndControlBytesInTheDataAreKept) {
  AllFieldsOff();
  lumet.recorddelimiter = 0;
  EXPECT_EQ(Line("\x09\x06"
                 "A\0\r@\x31\x47\x41\x09"s),
            "A\0\r@"s);
}

TEST_F(CompositionTest, TheFinishedLineIsTerminatedInItsBuffer) {
  Line();
  EXPECT_EQ(lumet.BarcodeBuffer[lumet.BarcodeBufferOffset], 0);
}

}  // namespace
}  // namespace quillet
