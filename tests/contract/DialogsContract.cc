// Contract tests of the settings window and the window of earlier runs, run with the fakes and with
// Qt's widgets.

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QTreeWidget>

#include "platform/qt/QtRunsWindow.h"
#include "platform/qt/QtSettingsWindow.h"
#include "tests/contract/Contract.h"
#include "tests/support/FakeRunsWindow.h"
#include "tests/support/SettingsControls.h"
#include "tests/window/Widgets.h"

namespace quillet::test {
namespace {

using platform::RunRow;
using window_tests::Find;

/// Creates the settings window and operates it as a user does.
struct FormHarness {
  virtual ~FormHarness() = default;
  virtual platform::SettingsForm& Form() = 0;
  virtual void Set(const SettingsControl& control, std::int32_t value) = 0;
};

struct FakeFormHarness final : FormHarness {
  static constexpr char kName[] = "Fake";
  platform::SettingsForm& Form() override { return form; }
  void Set(const SettingsControl& control, std::int32_t value) override {
    control.Set(form, value);
  }

  FakeSettingsForm form;
};

struct QtFormHarness final : FormHarness {
  static constexpr char kName[] = "Qt";
  platform::SettingsForm& Form() override { return window; }
  void Set(const SettingsControl& control, std::int32_t value) override {
    if (control.IsList()) return Find<QComboBox>(window, control.name)->setCurrentIndex(value);
    Find<QCheckBox>(window, control.name)->setChecked(value != 0);
  }

  QWidget main;
  platform::qt::QtSettingsWindow window{main, kChoices};
};

class SettingsFormContract : public Contract<FormHarness> {
 protected:
  SettingsFormContract() {
    const auto report = [this](char name) { return [this, name] { reports_ += name; }; };
    platform::SettingsActions actions;
    actions.changed = report('c');
    actions.destinationChanged = report('d');
    form_.SetActions(std::move(actions));
    for (const SettingsControl& each : kSettingsControls) each.Set(values_, 0);
    form_.settingsWindow().OrderFront();
    form_.Show(values_);
  }

  /// Checks the values of all controls and which actions have been called since the last check.
  void Expect(const SettingsValues& values, const std::string& reports) {
    for (const SettingsControl& each : kSettingsControls) {
      EXPECT_EQ(each.Shown(form_.Values()), each.Shown(values)) << each.name;
    }
    EXPECT_EQ(std::exchange(reports_, {}), reports);
  }

  platform::SettingsForm& form_ = harness_->Form();
  SettingsValues values_;
  std::string reports_;
};

TEST_P(SettingsFormContract, ShowsEveryValueWithoutReportingAChange) {
  for (const SettingsControl& each : kSettingsControls) {
    for (std::int32_t value = 0; value < each.items; ++value) {
      each.Set(values_, value);
      form_.Show(values_);
      Expect(values_, "");
    }
  }
}

TEST_P(SettingsFormContract, InvalidPositionsClearTheSelection) {
  for (const SettingsControl& each : kSettingsControls) {
    if (!each.IsList()) continue;
    for (const std::int32_t number : {each.items, -1, -48}) {
      each.Set(values_, number);
      form_.Show(values_);
      each.Set(values_, -1);
      Expect(values_, "");
    }
  }
}

TEST_P(SettingsFormContract, ReportsChangesByTheUser) {
  for (const SettingsControl& each : kSettingsControls) {
    harness_->Set(each, 0);
    Expect(values_, "");
    each.Set(values_, 1);
    harness_->Set(each, 1);
    Expect(values_, each.name == std::string_view("Deliver to") ? "d" : "c");
  }
}

INSTANTIATE_TEST_SUITE_P(Form, SettingsFormContract,
                         (Implementations<FormHarness, FakeFormHarness, QtFormHarness>()), kNameOf);

/// Creates the window of earlier runs. Operates and reads the window as a user does.
struct RunsHarness {
  virtual ~RunsHarness() = default;
  virtual platform::RunsWindow& Runs() = 0;
  virtual void Search(const std::string& text) = 0;
  virtual void Select(std::int32_t row) = 0;
  virtual std::vector<RunRow> Rows() = 0;
};

struct FakeRunsHarness final : RunsHarness {
  static constexpr char kName[] = "Fake";
  platform::RunsWindow& Runs() override { return window; }
  void Search(const std::string& text) override { window.Search(text); }
  void Select(std::int32_t row) override { window.Select(row); }
  std::vector<RunRow> Rows() override { return window.rows(); }

  FakeRunsWindow window;
};

struct QtRunsHarness final : RunsHarness {
  static constexpr char kName[] = "Qt";
  platform::RunsWindow& Runs() override { return window; }
  void Search(const std::string& text) override {
    window.findChild<QLineEdit*>()->setText(QString::fromStdString(text));
  }
  void Select(std::int32_t row) override { list.setCurrentItem(list.topLevelItem(row)); }
  std::vector<RunRow> Rows() override {
    std::vector<RunRow> rows;
    for (int i = 0; i < list.topLevelItemCount(); ++i) {
      const auto text = [item = list.topLevelItem(i)](int column) {
        return item->text(column).toStdString();
      };
      rows.push_back({text(0), text(1), text(2), text(3), text(4), text(5)});
    }
    return rows;
  }

  QWidget main;
  platform::qt::QtRunsWindow window{main};
  QTreeWidget& list = *window.findChild<QTreeWidget*>();
};

class RunsWindowContract : public Contract<RunsHarness> {
 protected:
  RunsWindowContract() {
    platform::RunsActions actions;
    actions.search = [this](const std::string& text) { reports_ += "search " + text + "|"; };
    actions.select = [this] { reports_ += "select|"; };
    runs_.SetActions(std::move(actions));
    runs_.runsWindow().OrderFront();
  }

  void ExpectReports(const std::string& reports) {
    EXPECT_EQ(std::exchange(reports_, {}), reports);
  }

  const std::vector<RunRow> kRows = {
      {"2026-11-17", "005771", "12", "The active application", "Live scans", ""},
      {"2026-11-16 14:07:09", "005771", "130", "/Users/<b>/\xC3\xA9.txt", "Complete", "Yes"}};

  platform::RunsWindow& runs_ = harness_->Runs();
  std::string reports_;
};

TEST_P(RunsWindowContract, ShowsRowsWithoutReportingASelection) {
  const RunRow added = {"2026-11-18 08:00:00", "005771", "1", "", "In progress", "No"};
  EXPECT_EQ(runs_.SelectedRow(), -1);
  for (const auto& rows : {kRows, {added, kRows[0], kRows[1]}, {added, kRows[1]}, {}, kRows}) {
    for (std::int32_t row = -1; row < static_cast<std::int32_t>(rows.size()); ++row) {
      runs_.ShowRows(rows, row);
      EXPECT_EQ(harness_->Rows(), rows);
      EXPECT_EQ(runs_.SelectedRow(), row);
    }
  }
  ExpectReports("");
}

TEST_P(RunsWindowContract, ReportsOnlyNewSelections) {
  runs_.ShowRows(kRows, 0);
  for (const std::int32_t row : {0, 1, 1, 0}) {
    harness_->Select(row);
    EXPECT_EQ(runs_.SelectedRow(), row);
  }
  ExpectReports("select|select|");
}

TEST_P(RunsWindowContract, ReportsChangesToTheSearchText) {
  for (const char* text : {"\xC3\xA9 1", "\xC3\xA9 1", "", "live"}) harness_->Search(text);
  ExpectReports("search \xC3\xA9 1|search |search live|");
  runs_.ClearSearch();
  ExpectReports("");
  harness_->Search("live");
  ExpectReports("search live|");
}

INSTANTIATE_TEST_SUITE_P(Runs, RunsWindowContract,
                         (Implementations<RunsHarness, FakeRunsHarness, QtRunsHarness>()), kNameOf);

}  // namespace
}  // namespace quillet::test
