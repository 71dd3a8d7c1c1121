// The contracts of the main window's controls, on the fakes and on Qt's widgets.

#include <QComboBox>
#include <QLabel>
#include <QProgressBar>
#include <QScrollBar>
#include <QStatusBar>
#include <QTest>
#include <QWindow>

#include "platform/qt/QtMainWindow.h"
#include "platform/qt/QtPopUpList.h"
#include "platform/qt/QtToolbarItem.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/RecordView.h"
#include "platform/qt/ToolbarButton.h"
#include "tests/contract/Contract.h"
#include "tests/support/FakePlatform.h"
#include "tests/window/MainLoop.h"

namespace quillet::test {
namespace {

struct ListHarness {
  virtual ~ListHarness() = default;
  virtual platform::PopUpList& List() = 0;
};

struct FakeListHarness final : ListHarness {
  static constexpr char kName[] = "Fake";
  platform::PopUpList& List() override { return list; }

  FakePopUpList list;
};

struct QtListHarness final : ListHarness {
  static constexpr char kName[] = "Qt";
  platform::PopUpList& List() override { return list; }

  QComboBox box;
  platform::qt::QtPopUpList list{box};
};

class PopUpListContract : public Contract<ListHarness> {
 protected:
  using Positions = std::vector<std::int32_t>;

  PopUpListContract() {
    list_.OnSelection([this](std::int32_t position) {
      EXPECT_EQ(position, list_.SelectedItem());
      reported_.push_back(position);
    });
  }

  void Add(std::initializer_list<const char*> titles) {
    for (const char* title : titles) list_.AddItem(title);
    reported_.clear();
  }
  void Select(std::int32_t position) {
    list_.SelectItem(position);
    reported_.clear();
  }
  /// @return the positions that are reported when an item is removed
  Positions Remove(std::int32_t position) {
    list_.RemoveItem(position);
    return std::exchange(reported_, {});
  }
  std::string Titles() const {
    std::string titles;
    for (std::int32_t i = 0; i < list_.NumberOfItems(); ++i) titles += list_.ItemTitle(i) + "|";
    return titles;
  }

  platform::PopUpList& list_ = harness_->List();
  Positions reported_;
};

TEST_P(PopUpListContract, AnEmptyListHasNothingSelected) {
  EXPECT_EQ(list_.NumberOfItems(), 0);
  EXPECT_EQ(list_.SelectedItem(), -1);
  EXPECT_EQ(Remove(0), Positions{});
}

TEST_P(PopUpListContract, HoldsItsItemsInOrderAndSelectsTheFirst) {
  list_.AddItem("None");
  EXPECT_EQ(reported_, Positions{0});
  Add({"None", "Tavo[&1 \xC3\xA9]"});
  EXPECT_EQ(Titles(), "None|None|Tavo[&1 \xC3\xA9]|");
  EXPECT_EQ(list_.SelectedItem(), 0);
  EXPECT_EQ(list_.ItemTitle(-1) + list_.ItemTitle(3), "");
}

TEST_P(PopUpListContract, ReportsOnlyAnotherSelection) {
  Add({"a", "b", "c"});
  for (const std::int32_t position : {2, 2, 1}) list_.SelectItem(position);
  EXPECT_EQ(reported_, (Positions{2, 1}));
  EXPECT_EQ(list_.SelectedItem(), 1);
}

TEST_P(PopUpListContract, AMissingPositionSelectsAndRemovesNothing) {
  Add({"a", "b", "c"});
  EXPECT_EQ(Remove(3), Positions{});
  EXPECT_EQ(Remove(-1), Positions{});
  EXPECT_EQ(list_.SelectedItem(), 0);
  for (const std::int32_t position : {3, 1, -7, -1}) list_.SelectItem(position);
  EXPECT_EQ(reported_, (Positions{-1, 1, -1}));
  EXPECT_EQ(list_.SelectedItem(), -1);
  reported_.clear();
  EXPECT_EQ(Remove(0), Positions{});
  list_.AddItem("d");
  EXPECT_EQ(list_.SelectedItem(), -1) << "only the first item of all is selected";
  EXPECT_EQ(Titles(), "b|c|d|");
}

TEST_P(PopUpListContract, TheSelectionFollowsItsItem) {
  Add({"a", "b", "c"});
  Select(1);
  EXPECT_EQ(Remove(2), Positions{});
  EXPECT_EQ(list_.SelectedItem(), 1);
  EXPECT_EQ(Remove(0), Positions{0}) << "the position has changed";
  EXPECT_EQ(list_.ItemTitle(list_.SelectedItem()), "b");
}

TEST_P(PopUpListContract, TheItemInTheRemovedOnesPlaceIsSelected) {
  Add({"a", "b", "c"});
  EXPECT_EQ(Remove(0), Positions{0});
  Add({"d"});
  Select(1);
  EXPECT_EQ(Remove(1), Positions{1});
  EXPECT_EQ(list_.ItemTitle(list_.SelectedItem()), "d");
  EXPECT_EQ(Remove(1), Positions{0}) << "the last one";
  EXPECT_EQ(Remove(0), Positions{-1}) << "the only one";
}

INSTANTIATE_TEST_SUITE_P(List, PopUpListContract,
                         (Implementations<ListHarness, FakeListHarness, QtListHarness>()), kNameOf);

struct ViewHarness {
  virtual ~ViewHarness() = default;
  virtual platform::TextView& View() = 0;
  /// The text, once all is shown.
  virtual std::string Text() = 0;
  virtual bool ShowsTheEnd() = 0;
};

struct FakeViewHarness final : ViewHarness {
  static constexpr char kName[] = "Fake";
  platform::TextView& View() override { return view; }
  std::string Text() override { return view.text(); }
  bool ShowsTheEnd() override { return view.scrolledToEnd(); }

  FakeTextView view;
};

struct QtViewHarness final : ViewHarness {
  static constexpr char kName[] = "Qt";
  QtViewHarness() {
    widget.resize(600, 300);
    widget.show();
  }
  platform::TextView& View() override { return view; }
  std::string Text() override {
    EXPECT_TRUE(window_tests::SpinUntil([this] { return !view.HasPending(); }));
    window_tests::SpinUntilIdle();
    return view.ShownText();
  }
  bool ShowsTheEnd() override {
    Text();
    return widget.verticalScrollBar()->value() == widget.verticalScrollBar()->maximum();
  }

  platform::qt::RecordView widget;
  platform::qt::QtTextView view{widget};
};

class TextViewContract : public Contract<ViewHarness> {
 protected:
  static std::string Lines() {
    std::string lines;
    for (int i = 0; i < 200; ++i) lines += "line " + std::to_string(i) + "\n";
    return lines;
  }

  platform::TextView& view_ = harness_->View();
};

TEST_P(TextViewContract, AppendsInTheOrderOfTheCalls) {
  for (const char* text : {"one\n", "two ", "", "three\r\n\t\xC3\xA9"}) view_.Append(text);
  EXPECT_EQ(harness_->Text(), "one\ntwo three\r\n\t\xC3\xA9");
}

TEST_P(TextViewContract, SetTextReplacesWhatWasAppended) {
  view_.Append("shown");
  harness_->Text();
  view_.Append("pending");
  view_.SetText("new");
  view_.Append("er");
  EXPECT_EQ(harness_->Text(), "newer");
  view_.SetText("");
  EXPECT_EQ(harness_->Text(), "");
}

TEST_P(TextViewContract, ScrollsToTheEndOnlyOnRequest) {
  EXPECT_TRUE(harness_->ShowsTheEnd()) << "of an empty view";
  view_.Append(Lines());
  EXPECT_FALSE(harness_->ShowsTheEnd());
  view_.ScrollToEnd();
  EXPECT_TRUE(harness_->ShowsTheEnd());
  view_.Append(Lines());
  EXPECT_FALSE(harness_->ShowsTheEnd());
  view_.ScrollToEnd();
  view_.SetText(Lines());
  EXPECT_FALSE(harness_->ShowsTheEnd());
}

INSTANTIATE_TEST_SUITE_P(View, TextViewContract,
                         (Implementations<ViewHarness, FakeViewHarness, QtViewHarness>()), kNameOf);

struct ItemHarness {
  virtual ~ItemHarness() = default;
  virtual platform::ToolbarItem& Item() = 0;
  virtual std::string Label() = 0;
  virtual void Press() = 0;
};

struct FakeItemHarness final : ItemHarness {
  static constexpr char kName[] = "Fake";
  platform::ToolbarItem& Item() override { return item; }
  std::string Label() override { return item.label(); }
  void Press() override { item.Press(); }

  FakeToolbarItem item{"Connect"};
};

struct QtItemHarness final : ItemHarness {
  static constexpr char kName[] = "Qt";
  QtItemHarness() { button.show(); }
  platform::ToolbarItem& Item() override { return item; }
  std::string Label() override { return button.text().toStdString(); }
  void Press() override { QTest::mouseClick(&button, Qt::LeftButton); }

  QAction action;
  platform::qt::QtToolbarItem item{action, {{"Connect", QIcon(), "Start"}}};
  platform::qt::ToolbarButton button{&action};
};

class ToolbarItemContract : public Contract<ItemHarness> {};

TEST_P(ToolbarItemContract, ShowsItsLabel) {
  int pressed = 0;
  harness_->Item().OnPress([&] { ++pressed; });
  EXPECT_EQ(harness_->Label(), "Connect");
  harness_->Item().SetLabel("Disconnect");
  EXPECT_EQ(harness_->Label(), "Disconnect");
  EXPECT_EQ(pressed, 0);
}

TEST_P(ToolbarItemContract, APressCallsTheActionSetLast) {
  std::string pressed;
  harness_->Press();
  for (const char* action : {"a", "b"}) {
    harness_->Item().OnPress([&pressed, action] { pressed += action; });
    harness_->Press();
  }
  harness_->Item().OnPress(nullptr);
  harness_->Press();
  EXPECT_EQ(pressed, "ab");
}

INSTANTIATE_TEST_SUITE_P(Item, ToolbarItemContract,
                         (Implementations<ItemHarness, FakeItemHarness, QtItemHarness>()), kNameOf);

struct ProgressHarness {
  virtual ~ProgressHarness() = default;
  virtual platform::ProgressDisplay& Progress() = 0;
  virtual std::string Text() = 0;
  /// What the bar shows; negative if that is not known, nothing if it is hidden.
  virtual std::optional<double> Fraction() = 0;
};

struct FakeProgressHarness final : ProgressHarness {
  static constexpr char kName[] = "Fake";
  platform::ProgressDisplay& Progress() override { return progress; }
  std::string Text() override { return progress.text(); }
  std::optional<double> Fraction() override {
    if (!progress.IsShown()) return std::nullopt;
    return progress.fraction();
  }

  FakeProgressDisplay progress;
};

struct QtProgressHarness final : ProgressHarness {
  static constexpr char kName[] = "Qt";
  QtProgressHarness() { window.Show(); }
  platform::ProgressDisplay& Progress() override { return window.progress(); }
  std::string Text() override { return strip.findChild<QLabel*>()->text().toStdString(); }
  std::optional<double> Fraction() override {
    const auto& bar = *strip.findChild<QProgressBar*>();
    if (!bar.isVisible()) return std::nullopt;
    return bar.maximum() == 0 ? -1 : static_cast<double>(bar.value()) / bar.maximum();
  }

  platform::qt::QtMainWindow window;
  QStatusBar& strip = *window.widget().findChild<QStatusBar*>();
};

class ProgressDisplayContract : public Contract<ProgressHarness> {};

TEST_P(ProgressDisplayContract, IsHiddenUntilItShows) {
  EXPECT_EQ(harness_->Fraction(), std::nullopt);
  for (const double fraction : {0.25, 0.0, 1.0, -1.0}) {
    harness_->Progress().Show("Received 45 of 130 records", fraction);
    EXPECT_EQ(harness_->Text(), "Received 45 of 130 records");
    EXPECT_EQ(harness_->Fraction(), fraction);
  }
  harness_->Progress().Hide();
  EXPECT_EQ(harness_->Text(), "");
  EXPECT_EQ(harness_->Fraction(), std::nullopt);
}

TEST_P(ProgressDisplayContract, ShowsAgainAfterHiding) {
  harness_->Progress().Show("first", 1);
  harness_->Progress().Hide();
  harness_->Progress().Show("second", 0.5);
  EXPECT_EQ(harness_->Text(), "second");
  EXPECT_EQ(harness_->Fraction(), 0.5);
}

INSTANTIATE_TEST_SUITE_P(
    Progress, ProgressDisplayContract,
    (Implementations<ProgressHarness, FakeProgressHarness, QtProgressHarness>()), kNameOf);

struct WindowHarness {
  virtual ~WindowHarness() = default;
  virtual platform::Window& Window() = 0;
  virtual std::string Title() = 0;
  virtual bool IsShown() = 0;
  virtual void CloseByUser() = 0;
};

struct FakeWindowHarness final : WindowHarness {
  static constexpr char kName[] = "Fake";
  platform::Window& Window() override { return window; }
  std::string Title() override { return window.title(); }
  bool IsShown() override { return window.IsShown(); }
  void CloseByUser() override { window.CloseByUser(); }

  FakeWindow window;
};

struct QtWindowHarness final : WindowHarness {
  static constexpr char kName[] = "Qt";
  platform::Window& Window() override { return window; }
  std::string Title() override { return widget.windowHandle()->title().toStdString(); }
  bool IsShown() override { return widget.isVisible(); }
  void CloseByUser() override {
    widget.windowHandle()->close();
    window_tests::SpinUntilIdle();
  }

  QWidget widget;
  platform::qt::QtWindow window{widget};
};

class WindowContract : public Contract<WindowHarness> {
 protected:
  platform::Window& window_ = harness_->Window();
};

TEST_P(WindowContract, IsShownFromOrderFrontToClose) {
  int closed = 0;
  window_.OnClose([&] { ++closed; });
  EXPECT_FALSE(harness_->IsShown());
  for (const auto show : {&platform::Window::OrderFront, &platform::Window::MakeKeyAndOrderFront}) {
    (window_.*show)();
    EXPECT_TRUE(harness_->IsShown());
    window_.Close();
    EXPECT_FALSE(harness_->IsShown());
  }
  EXPECT_EQ(closed, 0);
}

TEST_P(WindowContract, ReportsThatTheUserClosesItOnce) {
  int closed = 0;
  bool wasShown = false;
  window_.OnClose([&] {
    ++closed;
    wasShown = harness_->IsShown();
  });
  for (int time = 0; time < 2; ++time) {
    window_.OrderFront();
    harness_->CloseByUser();
    EXPECT_FALSE(harness_->IsShown());
  }
  EXPECT_EQ(closed, 1);
  EXPECT_TRUE(wasShown) << "when it was reported";
}

TEST_P(WindowContract, ShowsItsTitleUnchanged) {
  window_.OrderFront();
  for (const char* title : {"Quillet V1.25", "Quillet V1.25[30012345]", "Quillet V1.25[*]",
                            "Quillet V1.25[\xC3\xA9]", "Quillet V1.25"}) {
    window_.SetTitle(title);
    EXPECT_EQ(harness_->Title(), title);
  }
}

TEST_P(WindowContract, ClosesWithoutAnAction) {
  window_.OrderFront();
  harness_->CloseByUser();
  EXPECT_FALSE(harness_->IsShown());
}

INSTANTIATE_TEST_SUITE_P(Window, WindowContract,
                         (Implementations<WindowHarness, FakeWindowHarness, QtWindowHarness>()),
                         kNameOf);

}  // namespace
}  // namespace quillet::test
