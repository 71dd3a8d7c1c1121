#include <gtest/gtest.h>

#include "output/CsvExport.h"
#include "simulator/ScanRecord.h"

namespace quillet {
namespace {

using namespace std::string_literals;
using simulator::MakeRecord;
using simulator::Model;

constexpr char kMark[] = "\xEF\xBB\xBF";
constexpr char kHead[] = "\"Symbology\",\"Barcode\",\"Time\",\"Serial number\"\r\n";
constexpr CalendarTime kTime{2026, 11, 16, 14, 7, 9};

class CsvExportTest : public testing::Test {
 protected:
  std::string Export(const std::vector<std::string>& barcodes, bool rowPerBarcode = false,
                     bool apostrophes = false) {
    CsvExport csv(rowPerBarcode, apostrophes);
    for (const std::string& barcode : barcodes) {
      csv.Add(scanner_, simulator::Encode(MakeRecord(0, barcode, kTime), Model::kOlder));
    }
    return csv.Contents();
  }

  /// Returns the CSV row of a record. `field` is the content of the barcode column.
  static std::string Row(const std::string& field) {
    return "\"EAN 13\"," + field + ",\"2026-11-16 14:07:09\",\"005771\"\r\n";
  }

  ScannerIdentity scanner_{.SerialNo = SerialNumberField("2104005771")};
};

TEST_F(CsvExportTest, WritesAColumnForEachField) {
  EXPECT_EQ(Export({"0012345", "4006381333931"}),
            kMark + (kHead + Row("\"0012345\"")) + Row("\"4006381333931\""));
  EXPECT_EQ(Export({}), std::string(kMark) + kHead);
}

TEST_F(CsvExportTest, Reads300SeriesRecords) {
  scanner_.bTavo300 = 1;
  CsvExport csv(false, false);
  csv.Add(scanner_, simulator::Encode(MakeRecord(21, "978", kTime), Model::kSeries300));
  EXPECT_EQ(csv.Contents(),
            kMark + (kHead + "\"EAN-13\",\"978\",\"2026-11-16 14:07:09\",\"005771\"\r\n"s));
}

TEST_F(CsvExportTest, EscapesSeparatorsQuotesAndLineEndings) {
  EXPECT_EQ(Export({"a,b;c", "say \"x\"", "1\r\n2", "1\t2", ""}),
            kMark + (kHead + Row("\"a,b;c\"")) + Row("\"say \"\"x\"\"\"") + Row("\"1\r\n2\"") +
                Row("\"1\t2\"") + Row("\"\""));
}

TEST_F(CsvExportTest, PreventsSpreadsheetsFromRunningFormulas) {
  for (const char* const start : {"=", "+", "-", "@", "\t", "\r", "\n", "＝", "＋", "－", "＠"}) {
    const std::string formula = start + "HYPERLINK(1)"s;
    EXPECT_EQ(Export({formula}), kMark + (kHead + Row("\"'" + formula + "\""))) << start;
  }
  const std::string serial = "2104=1+1";
  scanner_.SerialNo.Assign(reinterpret_cast<const std::uint8_t*>(serial.data()), serial.size());
  EXPECT_TRUE(Export({"1"}).ends_with(",\"'=1+1\"\r\n"));
}

TEST_F(CsvExportTest, PutsApostrophesBeforeBarcodesOnRequest) {
  EXPECT_EQ(Export({"0012", "=1"}, false, true),
            kMark + (kHead + "\"EAN 13\",\"'0012\",\"2026-11-16 14:07:09\",\"'005771\"\r\n"s) +
                "\"EAN 13\",\"'=1\",\"2026-11-16 14:07:09\",\"'005771\"\r\n");
  EXPECT_TRUE(Export({"0012"}, true, true).ends_with("\"EAN 13\",\"'0012\",1\r\n"));
}

TEST_F(CsvExportTest, ConvertsLatin1ToUtf8) {
  EXPECT_EQ(Export({"caf\xE9"}), kMark + (kHead + Row("\"caf\xC3\xA9\"")));
}

TEST_F(CsvExportTest, ListsBarcodeCountsInOrderOfFirstScan) {
  EXPECT_EQ(Export({"22", "1", "22", "22"}, true),
            std::string(kMark) + "\"Symbology\",\"Barcode\",\"Quantity\"\r\n" +
                "\"EAN 13\",\"22\",3\r\n\"EAN 13\",\"1\",1\r\n");
}

}  // namespace
}  // namespace quillet
