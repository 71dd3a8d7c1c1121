// Contract tests of the main window and its controls, run with the fakes and with Qt's widgets.

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QStatusBar>
#include <QTest>
#include <QToolButton>
#include <QWindow>

#include "platform/qt/QtMainWindow.h"
#include "tests/contract/Contract.h"
#include "tests/support/FakePlatform.h"
#include "tests/window/MainLoop.h"
#include "tests/window/Widgets.h"

namespace quillet::test {
namespace {

/// Creates the main window and its controls. Operates and reads the controls as a user does.
struct WindowHarness {
  virtual ~WindowHarness() = default;
  virtual platform::Window& Window() = 0;
  virtual std::string Title() = 0;
  virtual bool IsShown() = 0;
  virtual void CloseByUser() = 0;
  virtual platform::PopUpList& List() = 0;
  virtual platform::TextView& View() = 0;
  /// Waits until no text is pending and returns the text of the view.
  virtual std::string Text() = 0;
  virtual bool ShowsTheEnd() = 0;
  /// Makes the view remove all records that it contains.
  virtual void RemoveRecords() = 0;
  /// The toolbar item "Connect".
  virtual platform::ToolbarItem& Item() = 0;
  virtual std::string Label() = 0;
  virtual void Press() = 0;
  virtual platform::StatusDisplay& Status() = 0;
  virtual std::string StatusText() = 0;
  /// The displayed fraction; negative if unknown, std::nullopt if there is no progress bar.
  virtual std::optional<double> Fraction() = 0;
  /// The titles of the visible buttons of the status display.
  virtual std::vector<std::string> Actions() = 0;
  virtual void PressAction(std::size_t position) = 0;
};

struct FakeWindowHarness final : WindowHarness {
  static constexpr char kName[] = "Fake";
  platform::Window& Window() override { return window; }
  std::string Title() override { return window.title(); }
  bool IsShown() override { return window.IsShown(); }
  void CloseByUser() override { window.CloseByUser(); }
  platform::PopUpList& List() override { return list; }
  platform::TextView& View() override { return view; }
  std::string Text() override { return view.text(); }
  bool ShowsTheEnd() override { return view.scrolledToEnd(); }
  void RemoveRecords() override { view.RemoveRecords(); }
  platform::ToolbarItem& Item() override { return item; }
  std::string Label() override { return item.label(); }
  void Press() override { item.Press(); }
  platform::StatusDisplay& Status() override { return status; }
  std::string StatusText() override { return status.text(); }
  std::optional<double> Fraction() override { return status.fraction(); }
  std::vector<std::string> Actions() override { return status.Buttons(); }
  void PressAction(std::size_t position) override { status.Press(position); }

  FakeWindow window;
  FakePopUpList list;
  FakeTextView view;
  FakeToolbarItem item{"Connect"};
  FakeStatusDisplay status;
};

struct QtWindowHarness final : WindowHarness {
  static constexpr char kName[] = "Qt";
  platform::Window& Window() override { return window.window(); }
  std::string Title() override { return widget.windowHandle()->title().toStdString(); }
  bool IsShown() override { return widget.isVisible(); }
  void CloseByUser() override {
    widget.windowHandle()->close();
    window_tests::SpinUntilIdle();
  }
  platform::PopUpList& List() override { return window.portList(); }
  platform::TextView& View() override { return window.view(); }
  std::string Text() override {
    EXPECT_TRUE(window_tests::SpinUntil([this] { return !window.view().HasPending(); }));
    window_tests::SpinUntilIdle();
    return window.view().ShownText();
  }
  bool ShowsTheEnd() override {
    Text();
    const QScrollBar& bar = *widget.findChild<QPlainTextEdit*>()->verticalScrollBar();
    return bar.value() == bar.maximum();
  }
  void RemoveRecords() override {
    for (int i = 0; i < 100'000; ++i) window.view().AppendRecords("new\n");
  }
  platform::ToolbarItem& Item() override { return window.connectItem(); }
  std::string Label() override { return button->text().toStdString(); }
  void Press() override { QTest::mouseClick(button, Qt::LeftButton); }
  platform::StatusDisplay& Status() override { return window.status(); }
  std::string StatusText() override { return strip.findChild<QLabel*>()->text().toStdString(); }
  std::optional<double> Fraction() override {
    const auto& bar = *strip.findChild<QProgressBar*>();
    if (!bar.isVisible()) return std::nullopt;
    return bar.maximum() == 0 ? -1 : static_cast<double>(bar.value()) / bar.maximum();
  }
  std::vector<std::string> Actions() override {
    std::vector<std::string> titles;
    for (const QPushButton* each : strip.findChildren<QPushButton*>()) {
      if (each->isVisible()) titles.push_back(each->text().remove('&').toStdString());
    }
    return titles;
  }
  void PressAction(std::size_t position) override {
    window_tests::SpinUntilIdle();
    QTest::mouseClick(strip.findChildren<QPushButton*>().at(static_cast<int>(position)),
                      Qt::LeftButton);
  }

  platform::qt::QtMainWindow window;
  QWidget& widget = window.widget();
  QStatusBar& strip = *widget.findChild<QStatusBar*>();
  QToolButton* const button = window_tests::Find<QToolButton>(widget, "Connect");
};

const auto kWindows = Implementations<WindowHarness, FakeWindowHarness, QtWindowHarness>();

class PopUpListContract : public Contract<WindowHarness> {
 protected:
  using Positions = std::vector<std::int32_t>;

  PopUpListContract() {
    list_.OnSelection([this](std::int32_t position) {
      EXPECT_EQ(position, list_.SelectedItem());
      reported_.push_back(position);
    });
  }

  void Add(std::initializer_list<const char*> titles) {
    for (const char* title : titles) list_.AddItem(title, {});
    reported_.clear();
  }
  void Select(std::int32_t position) {
    list_.SelectItem(position);
    reported_.clear();
  }
  /// Removes an item. @return the selections reported during the removal
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

TEST_P(PopUpListContract, SelectsTheFirstAddedItem) {
  EXPECT_EQ(list_.NumberOfItems(), 0);
  EXPECT_EQ(list_.SelectedItem(), -1);
  EXPECT_EQ(Remove(0), Positions{});
  list_.AddItem("None", {});
  EXPECT_EQ(reported_, Positions{0});
  Add({"None", "Tavo[&1 \xC3\xA9]"});
  EXPECT_EQ(Titles(), "None|None|Tavo[&1 \xC3\xA9]|");
  EXPECT_EQ(list_.SelectedItem(), 0);
  EXPECT_EQ(list_.ItemTitle(-1) + list_.ItemTitle(3), "");
}

TEST_P(PopUpListContract, ReportsOnlyChangedSelections) {
  Add({"a", "b", "c"});
  for (const std::int32_t position : {2, 2, 1}) list_.SelectItem(position);
  EXPECT_EQ(reported_, (Positions{2, 1}));
  EXPECT_EQ(list_.SelectedItem(), 1);
}

TEST_P(PopUpListContract, InvalidPositionClearsSelectionAndRemovesNothing) {
  Add({"a", "b", "c"});
  EXPECT_EQ(Remove(3), Positions{});
  EXPECT_EQ(Remove(-1), Positions{});
  EXPECT_EQ(list_.SelectedItem(), 0);
  for (const std::int32_t position : {3, 1, -7, -1}) list_.SelectItem(position);
  EXPECT_EQ(reported_, (Positions{-1, 1, -1}));
  EXPECT_EQ(list_.SelectedItem(), -1);
  reported_.clear();
  EXPECT_EQ(Remove(0), Positions{});
  list_.AddItem("d", "detail");
  EXPECT_EQ(list_.SelectedItem(), -1) << "AddItem selects the item only if the list was empty";
  EXPECT_EQ(Titles(), "b|c|d|");
}

TEST_P(PopUpListContract, RemovingItemsUpdatesTheSelection) {
  Add({"a", "b", "c"});
  Select(1);
  EXPECT_EQ(Remove(2), Positions{});
  EXPECT_EQ(list_.SelectedItem(), 1);
  EXPECT_EQ(Remove(0), Positions{0}) << "the selected item moved up";
  EXPECT_EQ(list_.ItemTitle(list_.SelectedItem()), "b");
  Add({"d", "e"});
  EXPECT_EQ(Remove(0), Positions{0}) << "removed the selected item";
  EXPECT_EQ(list_.ItemTitle(list_.SelectedItem()), "d");
  Select(1);
  EXPECT_EQ(Remove(1), Positions{0}) << "removed the selected item at the end";
  EXPECT_EQ(Remove(0), Positions{-1}) << "removed the only item";
}

INSTANTIATE_TEST_SUITE_P(List, PopUpListContract, kWindows, kNameOf);

class TextViewContract : public Contract<WindowHarness> {
 protected:
  TextViewContract() { harness_->Window().OrderFront(); }

  static std::string Lines() {
    std::string lines;
    for (int i = 0; i < 200; ++i) lines += "line " + std::to_string(i) + "\n";
    return lines;
  }

  platform::TextView& view_ = harness_->View();
};

TEST_P(TextViewContract, AppendsTextInCallOrder) {
  for (const char* text : {"one\n", "two ", "", "three\r\n\t\xC3\xA9"}) view_.Append(text);
  EXPECT_EQ(harness_->Text(), "one\ntwo three\r\n\t\xC3\xA9");
}

TEST_P(TextViewContract, SetTextReplacesShownAndPendingText) {
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
  EXPECT_TRUE(harness_->ShowsTheEnd()) << "an empty view";
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

TEST_P(TextViewContract, RemovesRecordsButKeepsOtherText) {
  int removals = 0;
  view_.OnRecordsRemoved([&] { ++removals; });
  view_.SetText("started\nrun: ");
  view_.AppendRecords("1\n2\n3\n");
  view_.Append("finished\n");
  EXPECT_EQ(harness_->Text(), "started\nrun: 1\n2\n3\nfinished\n");
  EXPECT_EQ(removals, 0);
  harness_->RemoveRecords();
  const std::string text = harness_->Text();
  EXPECT_TRUE(text.starts_with("started\nrun: 1\nfinished\n")) << text.substr(0, 50);
  EXPECT_GT(removals, 0);
}

INSTANTIATE_TEST_SUITE_P(View, TextViewContract, kWindows, kNameOf);

class ToolbarItemContract : public Contract<WindowHarness> {
 protected:
  ToolbarItemContract() { harness_->Window().OrderFront(); }
};

TEST_P(ToolbarItemContract, ShowsTheCurrentLabel) {
  EXPECT_EQ(harness_->Label(), "Connect");
  harness_->Item().SetLabel("Disconnect");
  EXPECT_EQ(harness_->Label(), "Disconnect");
}

TEST_P(ToolbarItemContract, PressCallsOnlyTheLatestAction) {
  std::string pressed;
  harness_->Press();
  for (const char* action : {"a", "b"}) {
    harness_->Item().OnPress([&pressed, action] { pressed += action; });
    harness_->Item().SetLabel("Disconnect");
    harness_->Press();
  }
  harness_->Item().OnPress(nullptr);
  harness_->Press();
  EXPECT_EQ(pressed, "ab");
}

INSTANTIATE_TEST_SUITE_P(Item, ToolbarItemContract, kWindows, kNameOf);

class StatusDisplayContract : public Contract<WindowHarness> {
 protected:
  StatusDisplayContract() { harness_->Window().OrderFront(); }
  platform::StatusDisplay& status_ = harness_->Status();
};

TEST_P(StatusDisplayContract, ShowsTextAndProgress) {
  EXPECT_EQ(harness_->StatusText(), "");
  EXPECT_EQ(harness_->Fraction(), std::nullopt);
  for (const std::optional<double> fraction :
       std::initializer_list<std::optional<double>>{0.25, 0.0, 1.0, -1.0, std::nullopt}) {
    const std::string text = "Received " + std::to_string(fraction.value_or(2)) + " <b>&c";
    status_.Show(text, fraction, {});
    EXPECT_EQ(harness_->StatusText(), text);
    EXPECT_EQ(harness_->Fraction(), fraction);
    EXPECT_TRUE(harness_->Actions().empty());
  }
}

TEST_P(StatusDisplayContract, RunsTheActionOfThePressedButton) {
  std::string pressed;
  status_.Show("", std::nullopt,
               {{"Open file", [&] { pressed += 'o'; }}, {"Show", [&] { pressed += 's'; }}});
  EXPECT_EQ(harness_->Actions(), (std::vector<std::string>{"Open file", "Show"}));
  harness_->PressAction(1);
  harness_->PressAction(0);
  EXPECT_EQ(pressed, "so");
  // An action may replace its own button.
  status_.Show("", std::nullopt, {{"Try again", [&] { status_.Show("", std::nullopt, {}); }}});
  harness_->PressAction(0);
  EXPECT_TRUE(harness_->Actions().empty());
}

INSTANTIATE_TEST_SUITE_P(Status, StatusDisplayContract, kWindows, kNameOf);

class WindowContract : public Contract<WindowHarness> {
 protected:
  platform::Window& window_ = harness_->Window();
};

TEST_P(WindowContract, IsVisibleBetweenOrderFrontAndClose) {
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

TEST_P(WindowContract, CallsTheCloseActionOnlyOnce) {
  int closed = 0;
  bool wasShown = false;
  window_.OnClose([&] {
    ++closed;
    wasShown = harness_->IsShown();
  });
  for (int i = 0; i < 2; ++i) {
    window_.OrderFront();
    harness_->CloseByUser();
    EXPECT_FALSE(harness_->IsShown());
  }
  EXPECT_EQ(closed, 1);
  EXPECT_TRUE(wasShown) << "during the report";
}

TEST_P(WindowContract, CanBeClosedWithoutACloseAction) {
  window_.OrderFront();
  harness_->CloseByUser();
  EXPECT_FALSE(harness_->IsShown());
}

TEST_P(WindowContract, ShowsTheTitleUnchanged) {
  window_.OrderFront();
  for (const char* title : {"Quillet V1.25", "Quillet V1.25[30012345]", "Quillet V1.25[*]",
                            "Quillet V1.25[\xC3\xA9]", "Quillet V1.25"}) {
    window_.SetTitle(title);
    EXPECT_EQ(harness_->Title(), title);
  }
}

INSTANTIATE_TEST_SUITE_P(Window, WindowContract, kWindows, kNameOf);

}  // namespace
}  // namespace quillet::test
