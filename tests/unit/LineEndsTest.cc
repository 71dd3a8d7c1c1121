#include <gtest/gtest.h>

#include "app/LineEnds.h"

namespace quillet {
namespace {

TEST(LineEndsTest, EveryLineEndBecomesOneLineFeed) {
  EXPECT_EQ(FoldLineEnds("a\rb\nc\r\nd"), "a\nb\nc\nd");
  EXPECT_EQ(FoldLineEnds("\r\r\n\n"), "\n\n\n");
  EXPECT_EQ(FoldLineEnds(""), "");
}

TEST(LineEndsTest, TextsAreFoldedEachByItself) {
  EXPECT_EQ(FoldLineEnds("one\r") + FoldLineEnds("\r\ntwo"), "one\n\ntwo");
}

}  // namespace
}  // namespace quillet
