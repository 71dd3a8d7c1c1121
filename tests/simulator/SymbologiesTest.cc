#include <gtest/gtest.h>

#include <stdexcept>

#include "simulator/Symbologies.h"

namespace quillet::simulator {
namespace {

TEST(Symbologies, TheSameNameHasItsOwnNumberInEachModel) {
  EXPECT_EQ(SymbologyCode(Model::kOlder, "EAN-13"), 0);
  EXPECT_EQ(SymbologyCode(Model::kSeries300, "EAN-13"), 21);
}

TEST(Symbologies, SpellingMakesNoDifference) {
  EXPECT_EQ(SymbologyCode(Model::kOlder, "code128"), 6);
  EXPECT_EQ(SymbologyCode(Model::kOlder, "CODE 128"), 6);
  EXPECT_EQ(SymbologyCode(Model::kOlder, "Ean 13"), 0);
}

TEST(Symbologies, ASymbologyThatTheModelDoesNotReadHasNoNumber) {
  EXPECT_EQ(SymbologyCode(Model::kOlder, "Data Matrix"), std::nullopt);
  EXPECT_EQ(SymbologyCode(Model::kOlder, ""), std::nullopt);
  EXPECT_EQ(SymbologyCode(Model::kOlder, "--"), std::nullopt);
}

TEST(Symbologies, ANameWithTwoNumbersGivesTheFirst) {
  EXPECT_EQ(SymbologyCode(Model::kOlder, "Code 93"), 10);
  EXPECT_EQ(SymbologyName(Model::kOlder, 20), "Code 93");
}

TEST(Symbologies, ANumberWithoutSymbologyHasNoName) {
  EXPECT_EQ(SymbologyName(Model::kOlder, 12), "");
  EXPECT_EQ(SymbologyName(Model::kSeries300, 44), "");
}

TEST(Symbologies, AByteIsWrittenAsNameDecimalOrHexadecimal) {
  EXPECT_EQ(ParseSymbologyByte(Model::kSeries300, "QR/Micro QR"), 34);
  EXPECT_EQ(ParseSymbologyByte(Model::kOlder, "255"), 255);
  EXPECT_EQ(ParseSymbologyByte(Model::kOlder, "0x86"), 0x86);
  for (const char* text : {"", "256", "0x", "0x100", "-1", "7 ", "no such"}) {
    EXPECT_THROW(ParseSymbologyByte(Model::kOlder, text), std::invalid_argument) << text;
  }
}

}  // namespace
}  // namespace quillet::simulator
