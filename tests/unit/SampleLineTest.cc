#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <vector>

#include "output/Choices.h"
#include "output/SampleLine.h"

namespace quillet {
namespace {

TEST(SampleLineTest, ShowsInvisibleCharactersAsSymbols) {
  EXPECT_EQ(VisibleSpelling("a\tb c\r\n"), "a→b␣c⏎");
  EXPECT_EQ(VisibleSpelling("\n\r\n\r"), "↓⏎←");
  EXPECT_EQ(VisibleSpelling("é,;[]"), "é,;[]");
  EXPECT_EQ(VisibleSpelling(""), "");
}

TEST(SampleLineTest, ShowsTypedTextWithoutCarriageReturns) {
  EXPECT_EQ(TypedSpelling("a\tb c\r\n"), "a→b␣c⏎");
  EXPECT_EQ(TypedSpelling("a\r"), "a");
  EXPECT_EQ(TypedSpelling("a\n"), "a⏎");
  EXPECT_EQ(TypedSpelling(""), "");
}

TEST(SampleLineTest, ComposesASampleForEachLayout) {
  SampleComposer sample;
  sample.bAttachType = sample.bAttachSerial = sample.bAttachTimestamp = 1;
  for (const bool series300 : {false, true, false}) {
    EXPECT_EQ(sample.Line(series300), std::string(series300 ? "EAN-13" : "EAN 13") +
                                          ";9780306406157;[2026/11/16:14:07:09];005771\r\n");
  }
}

TEST(SampleLineTest, DelimiterTitlesEndWithTheSymbolShownInTheSample) {
  SampleComposer sample;
  sample.bAttachType = 1;
  sample.sn_position = 2;
  for (std::int32_t i = 1; i < 5; ++i) {
    sample.datadelimiter = i;
    sample.recorddelimiter = 0;
    const std::string fields = VisibleSpelling(sample.Line(true));
    const std::string between = fields.substr(6, fields.size() - 6 - 13);
    EXPECT_TRUE(kDataDelimiterTitles[static_cast<std::size_t>(i)].ends_with("  " + between)) << i;
    sample.recorddelimiter = i;
    const std::string end = VisibleSpelling(sample.Line(true)).substr(fields.size());
    EXPECT_TRUE(kRecordDelimiterTitles[static_cast<std::size_t>(i)].ends_with("  " + end)) << i;
  }
}

TEST(SampleLineTest, OrderTitlesMatchTheFieldOrderInTheSample) {
  SampleComposer sample;
  sample.bAttachType = sample.bAttachTimestamp = 1;
  sample.recorddelimiter = 0;
  for (std::int32_t i = 0; i < 6; ++i) {
    sample.dataorder = i;
    const std::string line = sample.Line(true);
    std::vector<std::pair<std::size_t, std::string>> fields = {{line.find("EAN-13"), "symbology"},
                                                               {line.find("978030"), "barcode"},
                                                               {line.find("[2026"), "time"}};
    std::sort(fields.begin(), fields.end());
    std::string title = fields[0].second + ", " + fields[1].second + ", " + fields[2].second;
    title.front() = static_cast<char>(std::toupper(title.front()));
    EXPECT_EQ(kOrderTitles[static_cast<std::size_t>(i)], title);
  }
}

TEST(ChoicesTest, HaveUniqueTitles) {
  for (const auto& [choice, titles] : kChoices) {
    EXPECT_EQ(std::set<std::string_view>(titles.begin(), titles.end()).size(), titles.size());
  }
}

}  // namespace
}  // namespace quillet
