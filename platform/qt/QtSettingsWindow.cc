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

#include "platform/qt/ListBox.h"
#include "platform/qt/Outline.h"
#include "platform/qt/QtPopUpList.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/SampleView.h"
#include "platform/qt/ScrollingColumns.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

// If the window's height is less than this many rows of text, the samples scroll together with the
// settings.
constexpr int kLowWindowRows = 20;

constexpr int kPathCharacters = 52;  // preferred width of the path field in characters
constexpr SettingsValues kKeys;      // KeyOf returns its members' addresses

class PathField final : public QLineEdit {
 public:
  QSize sizeHint() const override {
    const int width = kPathCharacters * fontMetrics().averageCharWidth();
    return QLineEdit::sizeHint().expandedTo({width, 0});
  }
};

// Explains the marks in the samples. The legend must not increase the window's minimum height.
class Legend final : public QLabel {
 public:
  using QLabel::QLabel;
  QSize minimumSizeHint() const override { return {0, 0}; }
};

// Sets the accessible name and description. The tool tip must already be set.
void Name(QWidget& control, QString text) {
  control.setAccessibleName(text.remove(QLatin1Char('&')).remove(QLatin1Char(':')));
  control.setAccessibleDescription(control.toolTip());
}

// A group box with rows of check boxes and labelled fields.
class Group final : public QGroupBox {
 public:
  explicit Group(const char* title) : QGroupBox(QString::fromUtf8(title)) {
    form_.setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form_.setFormAlignment(Qt::AlignLeft | Qt::AlignTop);
    form_.setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
  }

  Group& Add(QWidget& row) {
    form_.addRow(&row);
    return *this;
  }

  Group& Add(const char* caption, QWidget& field) { return Add(caption, field, field); }

  // `named` is the part of `field` that the caption belongs to.
  Group& Add(const char* caption, QWidget& field, QWidget& named) {
    auto* label = new QLabel(QString::fromUtf8(caption));
    label->setBuddy(&named);
    Name(named, label->text());
    form_.addRow(label, &field);
    return *this;
  }

  QWidget* CaptionOf(QWidget& field) const { return form_.labelForField(&field); }

 private:
  QFormLayout& form_ = *new QFormLayout(this);
};

// Aligns the left edges of the fields in two groups.
void Align(const Group& first, const Group& second) {
  const QList<QLabel*> captions = first.findChildren<QLabel*>() + second.findChildren<QLabel*>();
  int widest = 0;
  for (const QLabel* caption : captions) widest = qMax(widest, caption->sizeHint().width());
  for (QLabel* caption : captions) caption->setMinimumWidth(widest);
}

QWidget* Column(std::initializer_list<QWidget*> groups) {
  auto* column = new QWidget;
  auto* layout = new QVBoxLayout(column);
  layout->setContentsMargins(0, 0, 0, 0);
  for (QWidget* group : groups) layout->addWidget(group);
  // If the other column is taller, the last group takes the extra height.
  layout->setStretchFactor(*(groups.end() - 1), 1);
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

// Returns a map key for a member of SettingsValues. The keys are ordered like the members, so Show
// and Values process the controls in that order.
template <class Value>
const void* KeyOf(Value SettingsValues::*member) {
  return &(kKeys.*member);
}

}  // namespace

struct QtSettingsWindow::Parts {
  // Either a check box with its flag, or a list with its choice.
  struct Control {
    bool SettingsValues::*flag = nullptr;
    QCheckBox* box = nullptr;
    std::int32_t SettingsValues::*choice = nullptr;
    std::unique_ptr<QtPopUpList> list = nullptr;
  };

  explicit Parts(QtSettingsWindow& parent) : dialog(parent), window(parent) {}

  QCheckBox& MakeBox(bool SettingsValues::*flag, const char* text, const char* explanation);
  QComboBox& MakeList(std::int32_t SettingsValues::*choice, const char* explanation);
  QPushButton& MakeButton(std::function<void()> SettingsActions::*action, const char* text);
  QWidget* MakeLeftColumn();
  QWidget* MakeRightColumn();
  QGroupBox& MakeSampleGroup();
  void Report(std::function<void()> SettingsActions::*action) const;
  void PlaceSamples();

  QtSettingsWindow& dialog;
  QtWindow window;
  SettingsActions actions;
  bool showing = false;                     // Show is running; changes are not reported
  std::map<const void*, Control> controls;  // the keys are results of KeyOf
  QCheckBox& first = MakeBox(&SettingsValues::attachtype, "S&ymbology",
                             "The barcode type, for example EAN 13 or Code 39");
  QLineEdit& path = *new PathField;
  QWidget* pathCaption = nullptr;
  QPushButton& browse = MakeButton(&SettingsActions::browse, "&Browse…");
  SampleView& older = *new SampleView;
  SampleView& series300 = *new SampleView;
  QLabel& legend = *new Legend(
      QStringLiteral("→ tab    ␣ space    ⏎ new line    ← carriage return    ↓ line feed"));
  ScrollingColumns& columns = *new ScrollingColumns;
  QGroupBox& samples = MakeSampleGroup();
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
  controls[KeyOf(flag)] = {.flag = flag, .box = box};
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
  controls[KeyOf(choice)] = {.choice = choice, .list = std::move(list)};
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
  auto* contents = new Group("Contents of each line");
  contents->Add(first)
      .Add(MakeBox(&SettingsValues::attachtimestamp, "&Time of the scan",
                   "Date and time from the scanner's clock, for example [2026/11/16:14:07:09]"))
      .Add(MakeBox(&SettingsValues::attachserial, "Scanner's serial &number",
                   "Identifies the scanner that read the barcode"))
      .Add("O&rder:",
           MakeList(&SettingsValues::dataorder,
                    "Order of the fields in each line. Fields that are turned off are omitted."))
      .Add("Serial number &position:",
           MakeList(&SettingsValues::sn_position, "Position of the serial number in each line"));
  auto* separation = new Group("Separators");
  separation
      ->Add("Bet&ween fields:", MakeList(&SettingsValues::datadelimiter, "Text between two fields"))
      .Add("After each rec&ord:",
           MakeList(&SettingsValues::recorddelimiter,
                    "Text after each record. Most programs expect a new line."));
  Align(*contents, *separation);
  return Column({contents, separation});
}

QWidget* QtSettingsWindow::Parts::MakeRightColumn() {
  auto* connected = new Group("Synchronization");
  connected
      ->Add(MakeBox(&SettingsValues::syncclock, "Set the scanner's cloc&k to the computer's time",
                    "Keeps the scan times correct"))
      .Add(MakeBox(&SettingsValues::autosync, "Synchronize a&utomatically",
                   "Starts a synchronization as soon as the scanner is connected"))
      .Add(MakeBox(&SettingsValues::burstsync, "Download all records in one trans&fer",
                   "Much faster. If off, each record is requested separately, which takes about "
                   "0.1 s per record."))
      .Add(MakeBox(&SettingsValues::clearmemory, "&Erase the scanner after each synchronization",
                   "If off, the scanner keeps the records and sends them again next time."));
  Outline(path);
  path.setToolTip(
      QStringLiteral("Press Browse to change the path. If the file is named sn_timestamp.txt, each "
                     "synchronization "
                     "creates a new file named after the scanner's serial number and the time."));
  browse.setAutoDefault(false);  // the Return key presses Save
  QWidget& pathRow = Beside(path, browse);
  auto* delivery = new Group("Destination");
  delivery
      ->Add("&Deliver to:", MakeList(&SettingsValues::destination, "Destination of the records"))
      .Add("Pat&h:", pathRow, path)
      .Add(
          MakeBox(&SettingsValues::appenddata, "&Add to the file instead of replacing it",
                  "Applies to files with a fixed name. If the file is named sn_timestamp.txt, each "
                  "synchronization creates a new file."))
      .Add(MakeBox(&SettingsValues::nonenglish, "Paste te&xt instead of typing it",
                   "Needed for records that contain non-English characters. Replaces the contents "
                   "of the clipboard."));
  pathCaption = delivery->CaptionOf(pathRow);
  return Column({connected, delivery});
}

QGroupBox& QtSettingsWindow::Parts::MakeSampleGroup() {
  for (SampleView* view : {&older, &series300}) {
    Outline(*view);
    view->setToolTip(legend.text());
  }
  auto* sample = new Group("Preview");
  sample->Add("Line from an o&lder scanner:", older)
      .Add("Line from a &300 series scanner:", series300)
      .Add(legend);
  return *sample;
}

void QtSettingsWindow::Parts::PlaceSamples() {
  const bool isLow = dialog.height() < kLowWindowRows * dialog.fontMetrics().height();
  if (isLow == columns.isAncestorOf(&samples)) return;
  if (isLow) {
    columns.AddBelow(&samples);
  } else {
    static_cast<QVBoxLayout*>(dialog.layout())->insertWidget(1, &samples);
  }
  samples.show();
}

QtSettingsWindow::QtSettingsWindow(QWidget& parent, std::span<const ChoiceTitles> choices)
    : QDialog(&parent), parts_(std::make_unique<Parts>(*this)) {
  parts_->columns.AddColumn(parts_->MakeLeftColumn());
  parts_->columns.AddColumn(parts_->MakeRightColumn());
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(&parts_->columns, 1);
  layout->addWidget(&parts_->samples);
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(&parts_->save, QDialogButtonBox::AcceptRole);
  buttons->addButton(&parts_->cancel, QDialogButtonBox::RejectRole);
  layout->addWidget(buttons);
  for (const auto& [choice, titles] : choices) {
    QtPopUpList& list = *parts_->controls.at(KeyOf(choice)).list;
    for (const std::string_view title : titles) list.AddItem(title, {});
  }
  parts_->save.setDefault(true);  // works only after the button has been added to the dialog
  setWindowTitle(QStringLiteral("Settings"));
}

QtSettingsWindow::~QtSettingsWindow() = default;

void QtSettingsWindow::SetActions(SettingsActions actions) {
  parts_->actions = std::move(actions);
}

void QtSettingsWindow::Show(const SettingsValues& values) {
  parts_->showing = true;
  for (const auto& [key, control] : parts_->controls) {
    if (control.box) {
      control.box->setChecked(values.*control.flag);
    } else {
      control.list->SelectItem(values.*control.choice);
    }
  }
  parts_->showing = false;
}

SettingsValues QtSettingsWindow::Values() const {
  SettingsValues values;
  for (const auto& [key, control] : parts_->controls) {
    if (control.box) {
      values.*control.flag = control.box->isChecked();
    } else {
      values.*control.choice = control.list->SelectedItem();
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

void QtSettingsWindow::SetPathEnabled(bool enabled) {
  parts_->path.setReadOnly(!enabled);
  parts_->path.setEnabled(enabled);
  parts_->pathCaption->setEnabled(enabled);
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
  // Makes the style show the focus before the first key press.
  if (event->type() == QEvent::WindowActivate) setAttribute(Qt::WA_KeyboardFocusChange);
  return QDialog::event(event);
}

void QtSettingsWindow::resizeEvent(QResizeEvent* event) {
  QDialog::resizeEvent(event);
  parts_->PlaceSamples();
}

}  // namespace quillet::platform::qt
