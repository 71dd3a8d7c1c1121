#include <gtest/gtest.h>

#include <QComboBox>
#include <QTest>
#include <cstdint>
#include <vector>

#include "platform/qt/QtPopUpList.h"

namespace quillet::window_tests {
namespace {

using platform::qt::QtPopUpList;

class PopUpList : public testing::Test {
 protected:
  PopUpList() {
    list_.OnSelection([this](std::int32_t position) { selections_.push_back(position); });
  }

  void AddThree() {
    list_.AddItem("None");
    list_.AddItem("usbmodem1421");
    list_.AddItem("usbmodem1422");
    selections_.clear();
  }

  QComboBox box_;
  QtPopUpList list_{box_};
  std::vector<std::int32_t> selections_;
};

using Positions = std::vector<std::int32_t>;

TEST_F(PopUpList, EmptyListHasNothingSelected) {
  EXPECT_EQ(list_.NumberOfItems(), 0);
  EXPECT_EQ(list_.SelectedItem(), -1);
  EXPECT_EQ(list_.ItemTitle(0), "");
}

TEST_F(PopUpList, ItemsStandInTheOrderOfTheirAddingAndTheFirstIsSelected) {
  AddThree();
  EXPECT_EQ(list_.NumberOfItems(), 3);
  EXPECT_EQ(list_.ItemTitle(0), "None");
  EXPECT_EQ(list_.ItemTitle(2), "usbmodem1422");
  EXPECT_EQ(list_.SelectedItem(), 0);
}

TEST_F(PopUpList, AddingTheFirstItemReportsItsSelection) {
  list_.AddItem("None");
  list_.AddItem("usbmodem1421");
  EXPECT_EQ(selections_, Positions{0});
}

TEST_F(PopUpList, TitlesMayBeEqualAndHoldAnyText) {
  list_.AddItem("None");
  list_.AddItem("None");
  list_.AddItem("Tavo[&1 \xC3\xA9]");
  EXPECT_EQ(list_.NumberOfItems(), 3);
  EXPECT_EQ(list_.ItemTitle(1), "None");
  EXPECT_EQ(list_.ItemTitle(2), "Tavo[&1 \xC3\xA9]");
}

TEST_F(PopUpList, SelectingReportsTheNewPosition) {
  AddThree();
  list_.SelectItem(2);
  EXPECT_EQ(list_.SelectedItem(), 2);
  list_.SelectItem(2);
  EXPECT_EQ(selections_, Positions{2});
}

TEST_F(PopUpList, SelectingAMissingPositionSelectsNothing) {
  AddThree();
  list_.SelectItem(3);
  EXPECT_EQ(list_.SelectedItem(), -1);
  list_.SelectItem(1);
  list_.SelectItem(-7);
  EXPECT_EQ(list_.SelectedItem(), -1);
  EXPECT_EQ(selections_, (Positions{-1, 1, -1}));
}

TEST_F(PopUpList, RemovingAMissingPositionDoesNothing) {
  AddThree();
  list_.RemoveItem(3);
  list_.RemoveItem(-1);
  EXPECT_EQ(list_.NumberOfItems(), 3);
  EXPECT_EQ(list_.SelectedItem(), 0);
  EXPECT_TRUE(selections_.empty());
}

TEST_F(PopUpList, RemovingFromAnEmptyListDoesNothing) {
  list_.RemoveItem(0);
  EXPECT_EQ(list_.NumberOfItems(), 0);
  EXPECT_TRUE(selections_.empty());
}

TEST_F(PopUpList, RemovingBehindTheSelectedItemLeavesTheSelection) {
  AddThree();
  list_.SelectItem(1);
  selections_.clear();
  list_.RemoveItem(2);
  EXPECT_EQ(list_.SelectedItem(), 1);
  EXPECT_TRUE(selections_.empty());
}

TEST_F(PopUpList, RemovingBeforeTheSelectedItemReportsItsNewPosition) {
  AddThree();
  list_.SelectItem(2);
  selections_.clear();
  list_.RemoveItem(0);
  EXPECT_EQ(list_.SelectedItem(), 1);
  EXPECT_EQ(list_.ItemTitle(1), "usbmodem1422");
  EXPECT_EQ(selections_, Positions{1});
}

TEST_F(PopUpList, ItemThatTakesTheSelectedOnesPlaceIsSelectedAndReported) {
  AddThree();
  list_.SelectItem(1);
  selections_.clear();
  list_.RemoveItem(1);
  EXPECT_EQ(list_.SelectedItem(), 1);
  EXPECT_EQ(list_.ItemTitle(1), "usbmodem1422");
  EXPECT_EQ(selections_, Positions{1});
}

TEST_F(PopUpList, RemovingTheSelectedFirstItemSelectsTheNewFirst) {
  AddThree();
  list_.RemoveItem(0);
  EXPECT_EQ(list_.SelectedItem(), 0);
  EXPECT_EQ(selections_, Positions{0});
}

TEST_F(PopUpList, RemovingTheSelectedLastItemSelectsTheOneBeforeAndThenNothing) {
  list_.AddItem("None");
  list_.AddItem("usbmodem1421");
  list_.SelectItem(1);
  selections_.clear();
  list_.RemoveItem(1);
  EXPECT_EQ(list_.SelectedItem(), 0);
  list_.RemoveItem(0);
  EXPECT_EQ(list_.SelectedItem(), -1);
  EXPECT_EQ(selections_, (Positions{0, -1}));
}

TEST_F(PopUpList, UserSelectsWithTheKeyboard) {
  AddThree();
  box_.show();
  QTest::keyClick(&box_, Qt::Key_Down);
  EXPECT_EQ(list_.SelectedItem(), 1);
  EXPECT_EQ(selections_, Positions{1});
}

}  // namespace
}  // namespace quillet::window_tests
