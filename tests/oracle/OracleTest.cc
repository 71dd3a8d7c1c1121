#include <gtest/gtest.h>

#include "tests/oracle/OracleBurst.h"
#include "tests/oracle/OracleLine.h"

namespace quillet::oracle {
namespace {

Memory MemoryOf(std::string_view bytes) {
  Memory memory(bytes.size());
  for (std::size_t i = 0; i < bytes.size(); ++i) memory.Put(i, static_cast<std::uint8_t>(bytes[i]));
  return memory;
}

// The plain implementation by hand-made examples, so that an error which it should come to share
// with the program is seen too.
class PlainLineTest : public ::testing::Test {
 protected:
  PlainLineTest() {
    choices.typeWanted = choices.serialWanted = choices.timeWanted = 1;
    choices.dataDelimiter = 3;
    choices.recordDelimiter = 4;
    choices.serialPosition = 1;
    choices.serialField = std::string("1234567890", 11);
  }

  std::string Older() const {
    return LineOfRecord(MemoryOf("\x09\x06"
                                 "ABCD\x31\x47\x41\x09"),
                        0, Layout::kOlder, choices)
        .Whole();
  }

  Choices choices;
};

TEST_F(PlainLineTest, AnOlderRecordInEveryOrder) {
  const char* const lines[] = {
      "Code 128,ABCD,[2012/05/03:16:04:09],567890\r\n",
      "Code 128,[2012/05/03:16:04:09],ABCD,567890\r\n",
      "ABCD,Code 128,[2012/05/03:16:04:09],567890\r\n",
      "ABCD,[2012/05/03:16:04:09],Code 128,567890\r\n",
      "[2012/05/03:16:04:09],Code 128,ABCD,567890\r\n",
      "[2012/05/03:16:04:09],ABCD,Code 128,567890\r\n",
      ",567890\r\n",
  };
  for (choices.order = 0; choices.order < 7; ++choices.order) {
    EXPECT_EQ(Older(), lines[choices.order]);
  }
}

TEST_F(PlainLineTest, TheSerialNumberFirstLastOrNot) {
  choices.typeWanted = choices.timeWanted = 0;
  choices.serialPosition = 0;
  EXPECT_EQ(Older(), "567890,ABCD\r\n");
  choices.serialPosition = 1;
  EXPECT_EQ(Older(), "ABCD,567890\r\n");
  choices.serialPosition = 2;
  EXPECT_EQ(Older(), "ABCD\r\n");
}

TEST_F(PlainLineTest, TheDelimitersOfDataAndRecordsDiffer) {
  choices.typeWanted = choices.timeWanted = 0;
  const char* const lines[] = {"ABCD567890",    "ABCD\t567890\n",  "ABCD 567890\r",
                               "ABCD,567890\t", "ABCD;567890\r\n", "ABCD567890"};
  for (int i = 0; i < 6; ++i) {
    choices.dataDelimiter = choices.recordDelimiter = i;
    EXPECT_EQ(Older(), lines[i]);
  }
}

TEST_F(PlainLineTest, ARecordOfThe300Series) {
  const std::string_view record(
      "\x00\x0B\x22"
      "ABCD\x31\x47\x41\x09",
      11);
  EXPECT_EQ(LineOfRecord(MemoryOf(record), 0, Layout::k300Series, choices).Whole(),
            "QR/Micro QR,ABCD,[2012/05/03:16:04:09],567890\r\n");
}

TEST_F(PlainLineTest, CodesByTheirLayout) {
  choices.serialWanted = choices.timeWanted = choices.recordDelimiter = 0;
  const auto older = [this](char symbology) {
    const std::string record{5, symbology, 0, 0, 0, 0};
    return LineOfRecord(MemoryOf(record), 0, Layout::kOlder, choices).Whole();
  };
  const auto late = [this](char symbology) {
    const std::string record{0, 7, symbology, 0, 0, 0, 0};
    return LineOfRecord(MemoryOf(record), 0, Layout::k300Series, choices).Whole();
  };
  EXPECT_EQ(older(20), "Code 93,");
  EXPECT_EQ(older(21), "Code 35,");
  EXPECT_EQ(older(16), "Code 32,");
  EXPECT_EQ(older(60), "Unknown,");
  EXPECT_EQ(older(59), "HanXin Code,");
  EXPECT_EQ(older(63), "Unknown,");
  EXPECT_EQ(older('\x86'), "Code 128,");
  EXPECT_EQ(late(20), "UPC-A,");
  EXPECT_EQ(late(21), "EAN-13,");
  EXPECT_EQ(late(43), "HanXin Code,");
  EXPECT_EQ(late(63), "Unknown,");
}

TEST(PlainShownTest, ALineIsUtf8AsAWholeOrLatin1) {
  EXPECT_EQ(Shown("A\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80"),
            "A\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(Shown("\xFC\x80"), "\xC3\xBC\xC2\x80");
  EXPECT_EQ(Shown("\xC0\x80"), "\xC3\x80\xC2\x80");                          // too long a form
  EXPECT_EQ(Shown("\xED\xA0\x80"), "\xC3\xAD\xC2\xA0\xC2\x80");              // half a pair
  EXPECT_EQ(Shown("\xC3\xBC\xE2\x82"), "\xC3\x83\xC2\xBC\xC3\xA2\xC2\x82");  // cut short
}

TEST(PlainBurstTest, TheWalkStepsByTheLengthOfItsLayout) {
  const auto older = WalkBurst(MemoryOf(std::string_view("\0\0\x13\x09\x06"
                                                         "ABCD....\x05\xFF....",
                                                         19)),
                               19, Layout::kOlder);
  ASSERT_EQ(older.size(), 2U);
  EXPECT_EQ(older[0].step, 10);
  EXPECT_FALSE(older[0].erased);
  EXPECT_EQ(older[1].offset, 13);
  EXPECT_EQ(older[1].step, 6);
  EXPECT_TRUE(older[1].erased);

  const auto late = WalkBurst(MemoryOf(std::string_view("\0\0\x0E\0\x07\x22....\0\0\xFF.", 14)), 14,
                              Layout::k300Series);
  ASSERT_EQ(late.size(), 2U);
  EXPECT_EQ(late[0].step, 7);
  EXPECT_EQ(late[1].offset, 10);
  EXPECT_EQ(late[1].step, 0);
  EXPECT_TRUE(late[1].last);

  EXPECT_TRUE(WalkBurst(Memory(3), 3, Layout::kOlder).empty());
}

}  // namespace
}  // namespace quillet::oracle
