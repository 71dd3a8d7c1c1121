#include "platform/qt/QtSettingsWindow.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <map>
#include <utility>
#include <vector>

#include "platform/qt/ListBox.h"
#include "platform/qt/NamedListAccessible.h"
#include "platform/qt/Outline.h"
#include "platform/qt/QtPopUpList.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/SampleView.h"
#include "platform/qt/ScrollingColumns.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

constexpr int kRoomyRows = 20;       // of text: a lower window hides the legend
constexpr int kPathCharacters = 52;  // that the path field shows where there is room

constexpr SettingsValues kPlaces;

/// A field that would like to show a whole path and can do with less.
class PathField final : public QLineEdit {
 public:
  QSize sizeHint() const override {
    const int width = kPathCharacters * fontMetrics().averageCharWidth();
    return QLineEdit::sizeHint().expandedTo({width, 0});
  }
};

/// The meaning of the marks in the samples. A low window hides it.
class Legend final : public QLabel {
 public:
  using QLabel::QLabel;
  QSize minimumSizeHint() const override { return {0, 0}; }
};

/// Names a control that has its tool tip for assistive technology. A list gets its name before its
/// items: its first reported change decides whether it is treated as one with a name.
void Name(QWidget& control, QString text) {
  control.setAccessibleName(text.remove(QLatin1Char('&')).remove(QLatin1Char(':')));
  control.setAccessibleDescription(control.toolTip());
}

/// Names a field beside it, and looks as if it could be used when the field can.
class Caption final : public QLabel {
 public:
  Caption(const QString& text, QWidget& field) : QLabel(text), field_(field) {
    setBuddy(&field);
    field.installEventFilter(this);
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::EnabledChange) setEnabled(field_.isEnabled());
    return false;
  }

 private:
  QWidget& field_;
};

/// A group with its checks above its labelled fields.
class Group {
 public:
  explicit Group(const char* title) : box_(new QGroupBox(QString::fromUtf8(title))) {
    form_ = new QFormLayout(box_);
    form_->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form_->setFormAlignment(Qt::AlignLeft | Qt::AlignTop);
    form_->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  }

  Group& Add(QWidget& row) {
    form_->addRow(&row);
    return *this;
  }

  Group& Add(const char* caption, QWidget& field) { return Add(caption, field, field); }

  /// @param named  the part of the field that the caption names
  Group& Add(const char* caption, QWidget& field, QWidget& named) {
    auto* label = new Caption(QString::fromUtf8(caption), named);
    Name(named, label->text());
    form_->addRow(label, &field);
    captions_.push_back(label);
    return *this;
  }

  /// Lets the fields of two groups that stand one above the other begin at the same place.
  void AlignWith(const Group& other) const {
    int widest = 0;
    for (const Group* group : {this, &other}) {
      for (const QLabel* label : group->captions_) widest = qMax(widest, label->sizeHint().width());
    }
    for (const Group* group : {this, &other}) {
      for (QLabel* label : group->captions_) label->setMinimumWidth(widest);
    }
  }

  QGroupBox* widget() const { return box_; }

 private:
  QGroupBox* const box_;
  QFormLayout* form_;
  std::vector<QLabel*> captions_;
};

QWidget* Column(std::initializer_list<QWidget*> groups) {
  auto* column = new QWidget;
  auto* layout = new QVBoxLayout(column);
  layout->setContentsMargins(0, 0, 0, 0);
  for (QWidget* group : groups) layout->addWidget(group);
  layout->setStretchFactor(*(groups.end() - 1), 1);  // both columns end at the same height
  return column;
}

QWidget& Beside(QWidget& left, QWidget& right) {
  auto* row = new QWidget;
  auto* layout = new QHBoxLayout(row);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(&left, 1);
  layout->addWidget(&right);
  return *row;
}

void ShowSample(SampleView& view, std::string_view line) {
  const QString text = ToQString(line);
  if (view.toPlainText() != text) view.setPlainText(text);
}

/// The place of a value among the others: its address in one object.
template <class Value>
const void* PlaceOf(Value SettingsValues::*value) {
  return &(kPlaces.*value);
}

}  // namespace

struct QtSettingsWindow::Parts {
  explicit Parts(QtSettingsWindow& dialog) : window(dialog) {}

  /// A check box with its flag, or a list with its choice.
  struct Control {
    bool SettingsValues::*flag = nullptr;
    QCheckBox* box = nullptr;
    std::int32_t SettingsValues::*choice = nullptr;
    std::unique_ptr<QtPopUpList> list = nullptr;
  };

  QCheckBox& MakeBox(bool SettingsValues::*flag, const char* text, const char* explanation);
  QComboBox& MakeList(std::int32_t SettingsValues::*choice, const char* explanation);
  QPushButton& MakeButton(std::function<void()> SettingsActions::*action, const char* text);
  QWidget* MakeLeftColumn();
  QWidget* MakeRightColumn();
  QWidget* MakeSampleGroup();
  QWidget* MakeButtons();
  void Report(std::function<void()> SettingsActions::*action) const;

  QtWindow window;
  SettingsActions actions;
  bool showing = false;                     // and therefore not reporting changes
  std::map<const void*, Control> controls;  // by the places of their values
  QCheckBox& first = MakeBox(&SettingsValues::attachtype, "S&ymbology",
                             "The kind of barcode, for example EAN 13 or Code 39");
  QLineEdit& path = *new PathField;
  QPushButton& browse = MakeButton(&SettingsActions::browse, "&Browse…");
  SampleView& older = *new SampleView;
  SampleView& series300 = *new SampleView;
  QLabel& legend = *new Legend(
      QStringLiteral("→ tab    ␣ space    ⏎ new line    ← carriage return    ↓ line feed"));
  QPushButton& save = MakeButton(&SettingsActions::save, "&Save");
  QPushButton& cancel = MakeButton(&SettingsActions::cancel, "&Cancel");
};

QCheckBox& QtSettingsWindow::Parts::MakeBox(bool SettingsValues::*flag, const char* text,
                                            const char* explanation) {
  auto* box = new QCheckBox(QString::fromUtf8(text));
  Outline(*box);
  box->setToolTip(QString::fromUtf8(explanation));
  Name(*box, box->text());
  QObject::connect(box, &QCheckBox::toggled, box, [this] { Report(&SettingsActions::changed); });
  controls[PlaceOf(flag)] = {.flag = flag, .box = box};
  return *box;
}

QComboBox& QtSettingsWindow::Parts::MakeList(std::int32_t SettingsValues::*choice,
                                             const char* explanation) {
  auto* box = new ListBox;
  Outline(*box);
  box->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  box->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  box->setToolTip(QString::fromUtf8(explanation));
  const auto action = choice == &SettingsValues::destination ? &SettingsActions::destinationChanged
                                                             : &SettingsActions::changed;
  auto list = std::make_unique<QtPopUpList>(*box);
  list->OnSelection([this, action](std::int32_t) { Report(action); });
  controls[PlaceOf(choice)] = {.choice = choice, .list = std::move(list)};
  return *box;
}

QPushButton& QtSettingsWindow::Parts::MakeButton(std::function<void()> SettingsActions::*action,
                                                 const char* text) {
  auto* button = new QPushButton(QString::fromUtf8(text));
  Outline(*button);
  QObject::connect(button, &QPushButton::clicked, button, [this, action] { Report(action); });
  return *button;
}

void QtSettingsWindow::Parts::Report(std::function<void()> SettingsActions::*action) const {
  if (!showing && actions.*action) (actions.*action)();
}

QWidget* QtSettingsWindow::Parts::MakeLeftColumn() {
  Group contents("What each line contains");
  contents.Add(first)
      .Add(MakeBox(&SettingsValues::attachtimestamp, "&Time of the scan",
                   "Date and time by the scanner's clock, for example [2026/11/16:14:07:09]"))
      .Add(MakeBox(&SettingsValues::attachserial, "Scanner's serial &number",
                   "Tells apart the records of several scanners"))
      .Add("O&rder:", MakeList(&SettingsValues::dataorder,
                               "In which order the fields of a line follow each other. Those that "
                               "are switched off are left out."))
      .Add("Serial number's &place:",
           MakeList(&SettingsValues::sn_position, "Where in the line the serial number stands"));
  Group separation("How fields are separated");
  separation
      .Add("Bet&ween fields:",
           MakeList(&SettingsValues::datadelimiter, "What stands between two fields of a line"))
      .Add("After each rec&ord:",
           MakeList(&SettingsValues::recorddelimiter,
                    "What stands behind each record. Most programs expect a new line."));
  contents.AlignWith(separation);
  return Column({contents.widget(), separation.widget()});
}

QWidget* QtSettingsWindow::Parts::MakeRightColumn() {
  Group connected("When the scanner is connected");
  connected
      .Add(MakeBox(&SettingsValues::syncclock, "Set the scanner's cloc&k to the computer's time",
                   "So that the times of the scans are right"))
      .Add(MakeBox(&SettingsValues::autosync, "Synchronize a&utomatically",
                   "Start as soon as the scanner is connected, without the Synchronize button"))
      .Add(MakeBox(&SettingsValues::burstsync, "&Fetch all records in one transfer",
                   "Much faster. Off, each record is asked for by itself, which takes about a "
                   "tenth of a second."))
      .Add(MakeBox(&SettingsValues::clearmemory, "&Erase the scanner after synchronizing",
                   "The records are then only where they have been delivered to. Off, the scanner "
                   "keeps them and delivers them again next time."));
  Outline(path);
  path.setToolTip(
      QStringLiteral("Browse changes it; what is typed here is not used. A file named "
                     "sn_timestamp.txt gets its name from the scanner's serial number and the "
                     "time, and stands beside the folder shown."));
  browse.setAutoDefault(false);  // Return saves
  Group delivery("Where the records go");
  delivery.Add("&Deliver to:", MakeList(&SettingsValues::destination, "Who gets the records"))
      .Add("Pat&h:", Beside(path, browse), path)
      .Add(MakeBox(&SettingsValues::appenddata, "&Add to the file instead of replacing it",
                   "For a file with a fixed name. With the name sn_timestamp.txt every "
                   "synchronization writes a file of its own."))
      .Add(MakeBox(&SettingsValues::nonenglish, "Paste instead of typing, for te&xt beyond English",
                   "Records reach an application by way of the clipboard, whatever characters they "
                   "hold. Off, they are typed key by key."));
  return Column({connected.widget(), delivery.widget()});
}

QWidget* QtSettingsWindow::Parts::MakeSampleGroup() {
  for (SampleView* view : {&older, &series300}) {
    Outline(*view);
    view->setToolTip(legend.text());
  }
  Group sample("A line will look like this");
  sample.Add("O&lder scanners:", older).Add("&300 series:", series300).Add(legend);
  return sample.widget();
}

QWidget* QtSettingsWindow::Parts::MakeButtons() {
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(&save, QDialogButtonBox::AcceptRole);
  buttons->addButton(&cancel, QDialogButtonBox::RejectRole);
  return buttons;
}

QtSettingsWindow::QtSettingsWindow(QWidget& parent, std::span<const ChoiceTitles> choices)
    : QDialog(&parent), parts_(std::make_unique<Parts>(*this)) {
  NameListsForAssistiveTechnology();
  auto* columns = new ScrollingColumns;
  columns->AddColumn(parts_->MakeLeftColumn());
  columns->AddColumn(parts_->MakeRightColumn());
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(columns, 1);
  layout->addWidget(parts_->MakeSampleGroup());
  layout->addWidget(parts_->MakeButtons());
  for (const auto& [choice, titles] : choices) {
    QtPopUpList& list = *parts_->controls.at(PlaceOf(choice)).list;
    for (const std::string_view title : titles) list.AddItem(title);
  }
  parts_->save.setDefault(true);  // which only takes within the dialog
  setWindowTitle(QStringLiteral("Settings"));
}

QtSettingsWindow::~QtSettingsWindow() = default;

void QtSettingsWindow::SetActions(SettingsActions actions) {
  parts_->actions = std::move(actions);
}

void QtSettingsWindow::Show(const SettingsValues& values) {
  parts_->showing = true;
  for (const auto& [place, each] : parts_->controls) {
    if (each.box) {
      each.box->setChecked(values.*each.flag);
    } else {
      each.list->SelectItem(values.*each.choice);
    }
  }
  parts_->showing = false;
}

SettingsValues QtSettingsWindow::Values() const {
  SettingsValues values;
  for (const auto& [place, each] : parts_->controls) {
    if (each.box) {
      values.*each.flag = each.box->isChecked();
    } else {
      values.*each.choice = each.list->SelectedItem();
    }
  }
  return values;
}

void QtSettingsWindow::SetPath(std::string_view path) {
  const QString text = ToQString(path);
  if (parts_->path.text() == text) return;
  parts_->path.setText(text);
  parts_->path.setCursorPosition(0);
}

// A field that cannot be edited looks disabled.
void QtSettingsWindow::SetPathEnabled(bool enabled) {
  parts_->path.setReadOnly(!enabled);
  parts_->path.setEnabled(enabled);
  parts_->browse.setEnabled(enabled);
}

void QtSettingsWindow::ShowSamples(std::string_view older, std::string_view series300) {
  ShowSample(parts_->older, older);
  ShowSample(parts_->series300, series300);
}

Window& QtSettingsWindow::settingsWindow() {
  return parts_->window;
}

void QtSettingsWindow::reject() {
  parts_->cancel.click();
}

void QtSettingsWindow::setVisible(bool visible) {
  if (visible && !isVisible()) {
    if (!std::exchange(sized_, true)) {
      ensurePolished();
      layout()->activate();
      resize(sizeHint().boundedTo(RoomOnScreen(*this)));
    }
    parts_->first.setFocus(Qt::TabFocusReason);
  }
  QDialog::setVisible(visible);
}

bool QtSettingsWindow::event(QEvent* event) {
  if (event->type() == QEvent::ApplicationFontChange) sized_ = false;
  // Lets the style show the focus from the beginning.
  if (event->type() == QEvent::WindowActivate) setAttribute(Qt::WA_KeyboardFocusChange);
  return QDialog::event(event);
}

void QtSettingsWindow::resizeEvent(QResizeEvent* event) {
  QDialog::resizeEvent(event);
  parts_->legend.setVisible(height() >= kRoomyRows * fontMetrics().height());
}

}  // namespace quillet::platform::qt
