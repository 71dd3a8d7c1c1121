#include <gtest/gtest.h>

#include <set>

#include "output/KeyTables.h"

namespace quillet {
namespace {

struct Key {
  char16_t plain, shifted;
};

// The characters of each key of a US keyboard, in the order of the virtual key codes. 0xFF is a
// filler for key 10, which US keyboards do not have.
constexpr Key kKeys[] = {
    {u'a', u'A'},   {u's', u'S'}, {u'd', u'D'}, {u'f', u'F'},  {u'h', u'H'}, {u'g', u'G'},
    {u'z', u'Z'},   {u'x', u'X'}, {u'c', u'C'}, {u'v', u'V'},  {0xFF, 0xFF}, {u'b', u'B'},
    {u'q', u'Q'},   {u'w', u'W'}, {u'e', u'E'}, {u'r', u'R'},  {u'y', u'Y'}, {u't', u'T'},
    {u'1', u'!'},   {u'2', u'@'}, {u'3', u'#'}, {u'4', u'$'},  {u'6', u'^'}, {u'5', u'%'},
    {u'=', u'+'},   {u'9', u'('}, {u'7', u'&'}, {u'-', u'_'},  {u'8', u'*'}, {u'0', u')'},
    {u']', u'}'},   {u'o', u'O'}, {u'u', u'U'}, {u'[', u'{'},  {u'i', u'I'}, {u'p', u'P'},
    {u'\n', u'\n'}, {u'l', u'L'}, {u'j', u'J'}, {u'\'', u'"'}, {u'k', u'K'}, {u';', u':'},
    {u'\\', u'|'},  {u',', u'<'}, {u'/', u'?'}, {u'n', u'N'},  {u'm', u'M'}, {u'.', u'>'},
    {u'\t', u'\t'}, {u' ', u' '}, {u'`', u'~'},
};

TEST(KeyTablesTest, FindsKeyAndShiftStateOfEachCharacter) {
  KeyValue code = 0;
  for (const auto [plain, shifted] : kKeys) {
    EXPECT_EQ(KeyForCharacter(plain), code);
    EXPECT_EQ(KeyForCharacter(shifted), plain == shifted ? code : code | 0x80);
    ++code;
  }
}

TEST(KeyTablesTest, FindsNoKeyForUnlistedCharacters) {
  std::set<char16_t> typed;
  for (const auto& key : kKeys) typed.insert({key.plain, key.shifted});
  EXPECT_EQ(typed.size(), 95U + 2U + 1U) << "printable ASCII, tab, line feed and the filler";
  EXPECT_FALSE(typed.contains(u'\r'));
  for (std::uint32_t character = 0; character <= 0xFFFF; ++character) {
    if (typed.contains(static_cast<char16_t>(character))) continue;
    EXPECT_EQ(KeyForCharacter(static_cast<char16_t>(character)), kNoKey) << character;
  }
}

}  // namespace
}  // namespace quillet
