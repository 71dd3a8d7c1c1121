// What is reached through the classes of AppKit: the pasteboard and the application object.

#include "platform/macos/GeneralPasteboard.h"
#include "platform/macos/SharedApplication.h"
#include "tests/macos/Account.h"

namespace quillet::macos_tests {
namespace {

constexpr char kPlainText[] = "public.utf8-plain-text";

class GeneralPasteboardTest : public testing::Test {
 protected:
  Account account_;
  platform::macos::GeneralPasteboard pasteboard_;
};

TEST_F(GeneralPasteboardTest, ItIsClearedThenTheTypeIsDeclaredThenTheTextIsSet) {
  EXPECT_TRUE(pasteboard_.SetString("12\xC3\xA9 \xE2\x82\xAC\r\n"));
  EXPECT_EQ(Calls(), (std::vector<std::string>{"clearContents",
                                               "declareTypes:owner:", "setString:forType:"}));
  const AppKit::Pasteboard& board = AppKit::Shared().pasteboard;
  EXPECT_EQ(board.types, std::vector<std::string>{kPlainText});
  EXPECT_EQ(board.owner, "NSObject");
  EXPECT_EQ(board.text, "12\xC3\xA9 \xE2\x82\xAC\r\n");
}

TEST_F(GeneralPasteboardTest, EachTextTakesThePlaceOfTheOneBefore) {
  pasteboard_.SetString("first");
  pasteboard_.SetString(std::string("a\0b", 3));
  EXPECT_EQ(AppKit::Shared().pasteboard.text, std::string("a\0b", 3));
  pasteboard_.SetString("");
  EXPECT_EQ(AppKit::Shared().pasteboard.text, "");
}

TEST_F(GeneralPasteboardTest, BytesThatAreNoTextLeaveItEmpty) {
  pasteboard_.SetString("first");
  EXPECT_FALSE(pasteboard_.SetString("\xFF"));
  EXPECT_EQ(AppKit::Shared().pasteboard.text, std::nullopt);
  EXPECT_EQ(AppKit::Shared().pasteboard.types, std::vector<std::string>{kPlainText});
}

TEST(SharedApplicationTest, ItComesForwardEvenIfAnotherIsActive) {
  const Account account;
  platform::macos::SharedApplication workspace;
  workspace.ActivateIgnoringOtherApps();
  EXPECT_EQ(AppKit::Shared().activations, 1);
}

}  // namespace
}  // namespace quillet::macos_tests
