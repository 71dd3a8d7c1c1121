#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "download/RecordComposer.h"
#include "download/SymbologyNames.h"
#include "tests/support/RecordingLog.h"

namespace quillet {
namespace {

using namespace std::string_literals;

const std::string kTime = "\x31\x47\x41\x09";
const std::string kRecord = "\x09\x06"s + "ABCD" + kTime;
const std::string kRecord300 = "\x00\x0B\x22"s + "ABCD" + kTime;

/// The settings of a line and its expected fields: n for the symbology name, d for the data, t for
/// the time, s for the serial number.
struct LineCase {
  bool name = true, time = true, serial = true;
  int dataDelimiter = 3, recordDelimiter = 4, position = 1, order = 0;
  const char* fields;
};

constexpr LineCase kLineCases[] = {
    {.fields = "n,d,t,s\r\n"},
    {.position = 0, .fields = "s,n,d,t\r\n"},
    {.position = 2, .fields = "n,d,t\r\n"},
    {.position = -48, .fields = "n,d,t\r\n"},
    {.name = false, .time = false, .serial = false, .fields = "d\r\n"},

    {.dataDelimiter = 0, .recordDelimiter = 0, .fields = "ndts"},
    {.dataDelimiter = 1, .recordDelimiter = 1, .fields = "n\td\tt\ts\n"},
    {.dataDelimiter = 2, .recordDelimiter = 2, .fields = "n d t s\r"},
    {.dataDelimiter = 4, .recordDelimiter = 3, .fields = "n;d;t;s\t"},
    {.dataDelimiter = 5, .recordDelimiter = 5, .fields = "ndts"},
    {.dataDelimiter = 9, .recordDelimiter = 9, .fields = "ndts"},
    {.dataDelimiter = -48, .recordDelimiter = -48, .fields = "ndts"},

    {.serial = false, .order = 0, .fields = "n,d,t\r\n"},
    {.serial = false, .order = 1, .fields = "n,t,d\r\n"},
    {.serial = false, .order = 2, .fields = "d,n,t\r\n"},
    {.serial = false, .order = 3, .fields = "d,t,n\r\n"},
    {.serial = false, .order = 4, .fields = "t,n,d\r\n"},
    {.serial = false, .order = 5, .fields = "t,d,n\r\n"},

    {.time = false, .serial = false, .order = 0, .fields = "n,d\r\n"},
    {.time = false, .serial = false, .order = 1, .fields = "n,d\r\n"},
    {.time = false, .serial = false, .order = 2, .fields = "d,n\r\n"},
    {.time = false, .serial = false, .order = 3, .fields = "d,n\r\n"},
    {.time = false, .serial = false, .order = 4, .fields = "n,d\r\n"},
    {.time = false, .serial = false, .order = 5, .fields = "d,n\r\n"},

    {.name = false, .serial = false, .order = 0, .fields = "d,t\r\n"},
    {.name = false, .serial = false, .order = 1, .fields = "t,d\r\n"},
    {.name = false, .serial = false, .order = 2, .fields = "d,t\r\n"},
    {.name = false, .serial = false, .order = 3, .fields = "d,t\r\n"},
    {.name = false, .serial = false, .order = 4, .fields = "t,d\r\n"},
    {.name = false, .serial = false, .order = 5, .fields = "t,d\r\n"},
};

class RecordComposerTest : public testing::Test {
 protected:
  RecordComposerTest() {
    SetSerial("1234567890");
    Set({.fields = ""});
  }

  void Set(const LineCase& line) {
    settings.bAttachType = line.name;
    settings.bAttachTimestamp = line.time;
    settings.bAttachSerial = line.serial;
    settings.datadelimiter = line.dataDelimiter;
    settings.recorddelimiter = line.recordDelimiter;
    settings.sn_position = line.position;
    settings.dataorder = line.order;
  }

  /// Configures lines that contain only the data.
  void SetDataOnly() {
    Set({.name = false, .time = false, .serial = false, .recordDelimiter = 0, .fields = "d"});
  }

  void SetSerial(std::string_view serial) {
    identity.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(serial.data()), serial.size());
  }

  static RecordComposer::Bytes BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
  }

  /// Returns the delivered line of a record.
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

TEST_F(RecordComposerTest, JoinsFieldsAccordingToTheSettings) {
  for (const LineCase& each : kLineCases) {
    Set(each);
    std::string line;
    for (const char field : std::string_view(each.fields)) {
      line += field == 'n'   ? "Code 128"
              : field == 'd' ? "ABCD"
              : field == 't' ? "[2012/05/03:16:04:09]"
              : field == 's' ? "567890"
                             : std::string(1, field);
    }
    EXPECT_EQ(Line(), line);
  }
}

TEST_F(RecordComposerTest, OmitsFieldsIfTheOrderIsUnknown) {
  for (const int order : {7, 6, -1, -48}) {
    Set({.order = order, .fields = ",s\r\n"});
    EXPECT_EQ(Line(), ",567890\r\n");
    EXPECT_EQ(composer.BufferOffset, 2) << "the position after the symbology";
    settings.bAttachSerial = 0;
    EXPECT_EQ(Line(), "\r\n");
  }
}

TEST_F(RecordComposerTest, DecodesDataAsUtf8OrLatin1) {
  SetDataOnly();
  const std::pair<std::string, std::string> cases[] = {
      {"\x08\x06\xC3\xA9!", "\xC3\xA9!"},
      {"\x07\x06\xE9!", "\xC3\xA9!"},
      {"\x07\x06\xC3\xFF", "\xC3\x83\xC3\xBF"},
      {"\x09\x06@\0\r@"s, "@\0\r@"s},
  };
  for (const auto& [record, line] : cases) EXPECT_EQ(Line(record + kTime), line);
}

TEST_F(RecordComposerTest, ReadsTheLengthInBothLayouts) {
  composer.GetBarcodeLength(BytesOf(kRecord));
  EXPECT_EQ(composer.BarcodeLength, 4);
  EXPECT_EQ(composer.BufferOffset, 1);
  identity.bTavo300 = 1;
  composer.BufferOffset = 0;
  composer.GetBarcodeLength(BytesOf(kRecord300));
  EXPECT_EQ(composer.BarcodeLength, 4);
  EXPECT_EQ(composer.BufferOffset, 2);
}

TEST_F(RecordComposerTest, NamesTheSymbologyInBothRecordLayouts) {
  Set({.serial = false, .recordDelimiter = 0, .fields = "n,d,t"});
  const struct {
    bool series300;
    std::string start;
    const char* name;
  } cases[] = {{false, "\x06\x86", "Code 128"}, {false, "\x06\x14", "Code 93"},
               {false, "\x06\x15", "Code 35"},  {true, "\0\x08\x22"s, "QR/Micro QR"},
               {true, "\0\x08\x14"s, "UPC-A"},  {true, "\0\x08\x15"s, "EAN-13"}};
  for (const auto& [series300, start, name] : cases) {
    identity.bTavo300 = series300;
    EXPECT_EQ(Line(start + "A" + kTime), std::string(name) + ",A,[2012/05/03:16:04:09]");
  }
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeTypeEx:::]:6"));
}

TEST_F(RecordComposerTest, AddsTwelveHoursIfTheDateHasThePmFlag) {
  settings.datadelimiter = 0;
  const struct {
    std::uint16_t date, time;
    const char* text;
  } cases[] = {{0x3147, 0x0109, "[2012/05/03:12:04:09]"},
               {0x3147, 0xB109, "[2012/05/03:23:04:09]"},
               {0x3146, 0xB109, "[2012/05/03:11:04:09]"},
               {0x3147, 0xF109, "[2012/05/03:27:04:09]"},
               {0xFFFF, 0xFFFF, "[2063/15/31:27:63:63]"}};
  for (const auto& [date, time, text] : cases) {
    composer.BarcodeBufferOffset = 0;
    composer.AttachTimestampEx({}, date, time, false);
    EXPECT_EQ(composer.BarcodeBuffer(), text);
  }
}

TEST_F(RecordComposerTest, OmitsTheFirstFourSerialNumberCharacters) {
  settings.sn_position = 2;
  composer.AttachSerialNumberEx({});
  EXPECT_EQ(composer.BarcodeBuffer(), "567890");
  // A shorter serial number leaves the rest of the previous number in the field.
  SetSerial("ab");
  composer.BarcodeBufferOffset = 0;
  composer.AttachSerialNumberEx({});
  EXPECT_EQ(composer.BarcodeBuffer(), "567890");
}

TEST_F(RecordComposerTest, CopiesNoDataIfTheLengthIsTooSmall) {
  const auto record = BytesOf("\x02\x06ZZZZ");
  composer.GetBarcodeLength(record);
  EXPECT_EQ(composer.BarcodeLength, -3);
  composer.GetBarcodeData(record);
  EXPECT_EQ(composer.BarcodeBuffer(), "");
  identity.bTavo300 = 1;
  composer.BufferOffset = 0;
  composer.GetBarcodeLength(BytesOf("\0\0\x06"s));
  EXPECT_EQ(composer.BarcodeLength, -7);
  EXPECT_TRUE(Line("\0\0\x21\x12\x34\x56\x78"s).starts_with("PDF417,,["));
}

TEST_F(RecordComposerTest, TruncatesALineAtTheEndOfItsBuffer) {
  identity.bTavo300 = 1;
  SetDataOnly();
  settings.recorddelimiter = 4;
  for (const std::size_t size : {10000U, 10113U, 10236U, 10237U, 10238U, 10300U, 65528U}) {
    std::string record = "##\x21" + std::string(size, 'x') + kTime;
    record[0] = static_cast<char>((size + 7) >> 8);
    record[1] = static_cast<char>(size + 7);
    EXPECT_EQ(Line(record), (std::string(size, 'x') + "\r\n").substr(0, 10239)) << size;
  }
}

TEST_F(RecordComposerTest, AppendsOneFieldPerCall) {
  const std::string record = "\x94" + kTime;
  composer.GetBarcodeType(BytesOf(record));
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,");
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeType:]1:14"));
  composer.AttachSerialNumber({});
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,1234567890");
  composer.AttachTimestamp(BytesOf(record));
  EXPECT_EQ(composer.BarcodeBuffer(), "Code 93,1234567890,[2012/5/3:16:4:9]");
  EXPECT_EQ(composer.BufferOffset, 5);
}

TEST_F(RecordComposerTest, AppendsFieldsAtANonzeroBufferOffset) {
  identity.bTavo300 = 1;
  settings.datadelimiter = 4;
  settings.bAttachType = 0;
  composer.BufferOffset = 2;
  composer.GetBarcodeType({});
  EXPECT_EQ(composer.BarcodeBuffer(), "");
  EXPECT_EQ(composer.BufferOffset, 3);
  EXPECT_TRUE(log.lines().empty());
  settings.bAttachType = 1;
  const std::string record = "ABC\xE2\xFF\xFF\xFF\xFF";
  composer.GetBarcodeType(BytesOf(record));
  EXPECT_TRUE(log.Has("-[Lumet GetBarcodeType:]4:22"));
  composer.AttachTimestamp(BytesOf(record));
  EXPECT_EQ(composer.BarcodeBuffer(), "QR/Micro QR;;[2063/15/31:27:63:63]");
  EXPECT_EQ(composer.BufferOffset, 8);
}

TEST(SymbologyNamesTest, Uses300SeriesNamesForCodesAbove15InTheOlderLayout) {
  EXPECT_EQ(SymbologyName(15, false), "Unknown");
  EXPECT_EQ(SymbologyName(16, false), "Code 32");
  EXPECT_EQ(SymbologyName(59, false), "HanXin Code");
  EXPECT_EQ(SymbologyName(0, true), "Code 32");
}

TEST(SymbologyNamesTest, ReturnsUnknownForUnassignedCodes) {
  for (const int code : {-1, 60, 61, 62, 63}) EXPECT_EQ(SymbologyName(code, false), "Unknown");
  EXPECT_EQ(SymbologyName(-1, true), "Unknown");
  for (int code = 45; code <= 63; ++code) EXPECT_EQ(SymbologyName(code, true), "Unknown");
}

}  // namespace
}  // namespace quillet
