// Compares the examples and tables of docs/protocol.md with the program.

#include <map>
#include <regex>

#include "download/SymbologyNames.h"
#include "tests/support/LumetFixture.h"
#include "tests/support/ProtocolDocument.h"

namespace quillet {
namespace {

using test::BytesOf;
using test::ExampleLine;
using test::ProtocolExample;

class ProtocolExamplesTest : public test::LumetFixture {
 protected:
  ProtocolExamplesTest() {
    settings.bAttachType = settings.bAttachTimestamp = 1;
    settings.datadelimiter = 3;
    settings.recorddelimiter = 0;
  }

  void ExpectRecords(std::string_view name) {
    for (const ExampleLine& example : ProtocolExample(name)) {
      EXPECT_EQ(Composed(BytesOf(example.example)), example.explanation) << example.example;
    }
  }

  std::string Composed(const std::string& record) {
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(record.data()), record.size());
    return std::string(composer.Compose(bytes, 0));
  }

  Settings settings;
  ScannerIdentity identity;
  RecordComposer composer{log, settings, identity};

  // Returns the numbers and names in the tables between a heading and the next heading.
  static std::map<int, std::string> TableBelow(const std::string& heading) {
    static const std::regex kEntry(R"(\| *(\d+) *\| *([^|]*[^| ]) *(?=\|))");
    std::map<int, std::string> table;
    bool inside = false;
    for (const std::string& line : test::ProtocolDocument()) {
      if (line.starts_with("#")) inside = line == heading;
      if (!inside) continue;
      for (std::sregex_iterator entry(line.begin(), line.end(), kEntry), end; entry != end;
           ++entry) {
        table[std::stoi((*entry)[1])] = (*entry)[2];
      }
    }
    return table;
  }
};

TEST_F(ProtocolExamplesTest, DecodesRecordsInTheOlderLayout) {
  ExpectRecords("records older");
}

TEST_F(ProtocolExamplesTest, DecodesRecordsOfThe300Series) {
  identity.bTavo300 = 1;
  ExpectRecords("records 300");
}

TEST_F(ProtocolExamplesTest, DecodesPackedDatesAndTimes) {
  settings.bAttachType = 0;
  for (const ExampleLine& example : ProtocolExample("packed")) {
    EXPECT_EQ(Composed("\x05\x04" + BytesOf(example.example)), "," + example.explanation)
        << example.example;
  }
}

TEST_F(ProtocolExamplesTest, FirmwareVersionsSelectTheModel) {
  for (const ExampleLine& example : ProtocolExample("firmware")) {
    lumet.GetFWVersion();
    Exchange(example.example + "@");
    EXPECT_EQ(lumet.bTavo300 ? "300 series" : "older", example.explanation) << example.example;
  }
}

TEST_F(ProtocolExamplesTest, DecodesUnsolicitedRecords) {
  for (const ExampleLine& example : ProtocolExample("unsolicited")) {
    archive.kept.clear();
    owner.Clear();
    Receive(BytesOf(example.example));
    EXPECT_EQ(owner.records().size(), 1U);
    ASSERT_EQ(archive.kept.size(), 1U);
    EXPECT_EQ(Composed(archive.kept[0].substr(std::string_view("record ").size())),
              example.explanation);
  }
}

TEST_F(ProtocolExamplesTest, NamesSymbologiesOfTheOlderLayout) {
  const auto table = TableBelow("### Symbologies of the older layout");
  EXPECT_EQ(table.size(), 16U);
  for (const auto& [code, name] : table) EXPECT_EQ(SymbologyName(code, false), name);
}

TEST_F(ProtocolExamplesTest, NamesSymbologiesOfThe300Series) {
  const auto table = TableBelow("### Symbologies of the 300 series");
  EXPECT_EQ(table.size(), 45U);
  for (const auto& [code, name] : table) EXPECT_EQ(SymbologyName(code, true), name);
}

}  // namespace
}  // namespace quillet
