#include "platform/qt/QtSettingsWindow.h"

#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QEvent>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <vector>

#include "platform/qt/ListBox.h"
#include "platform/qt/NamedListAccessible.h"
#include "platform/qt/Outline.h"
#include "platform/qt/QtFormControls.h"
#include "platform/qt/QtPopUpList.h"
#include "platform/qt/QtWindow.h"
#include "platform/qt/SampleView.h"
#include "platform/qt/ScrollingColumns.h"

namespace quillet::platform::qt {
namespace {

constexpr QSize kRoomForFrame(16, 48);  // of the screen, kept for what the desktop puts around us
constexpr int kRoomyRows = 20;          // of text, from which height on a window is not low
constexpr int kPathCharacters = 52;     // that the path field shows where there is room

/// A field that would like to show a whole path and can do with less.
class PathField final : public QLineEdit {
 public:
  QSize sizeHint() const override {
    const int width = kPathCharacters * fontMetrics().averageCharWidth();
    return QLineEdit::sizeHint().expandedTo({width, 0});
  }
};

/// What the marks in the samples mean. The first to go where there is no room.
class Legend final : public QLabel {
 public:
  using QLabel::QLabel;
  QSize minimumSizeHint() const override { return {0, 0}; }
};

/// Escape and the window's own closing button press Cancel.
class Dialog final : public QDialog {
 public:
  /// @param first  has the keyboard when the window opens
  /// @param spare  is hidden in a low window
  Dialog(QWidget* parent, QPushButton& cancel, QWidget& first, QWidget& spare)
      : QDialog(parent), cancel_(cancel), first_(first), spare_(spare) {}

  void reject() override { cancel_.click(); }

  void setVisible(bool visible) override {
    if (visible && !isVisible()) {
      if (!sized_) ChooseSize();
      first_.setFocus(Qt::TabFocusReason);
    }
    QDialog::setVisible(visible);
  }

 protected:
  bool event(QEvent* event) override {
    if (event->type() == QEvent::ApplicationFontChange) sized_ = false;
    // Lets the style show where the keyboard is, from the beginning on.
    if (event->type() == QEvent::WindowActivate) setAttribute(Qt::WA_KeyboardFocusChange);
    return QDialog::event(event);
  }

  void resizeEvent(QResizeEvent* event) override {
    QDialog::resizeEvent(event);
    spare_.setVisible(height() >= kRoomyRows * fontMetrics().height());
  }

 private:
  void ChooseSize() {
    ensurePolished();
    layout()->activate();
    resize(sizeHint().boundedTo(screen()->availableSize() - kRoomForFrame));
    sized_ = true;
  }

  QPushButton& cancel_;
  QWidget& first_;
  QWidget& spare_;
  bool sized_ = false;
};

QString WithoutMnemonic(QString text) {
  return text.remove(QLatin1Char('&')).remove(QLatin1Char(':'));
}

/// Names a control that has its tool tip for assistive technology. The name comes first: with the
/// first change that is told of, a list is taken for one with a name or one without.
void Name(QWidget& control, const QString& text) {
  control.setAccessibleName(WithoutMnemonic(text));
  control.setAccessibleDescription(control.toolTip());
}

QCheckBox& MakeBox(const char* text, const char* explanation) {
  auto* box = new QCheckBox(QString::fromUtf8(text));
  Outline(*box);
  box->setToolTip(QString::fromUtf8(explanation));
  Name(*box, box->text());
  return *box;
}

QComboBox& MakeList(const char* explanation) {
  auto* list = new ListBox;
  Outline(*list);
  list->setSizeAdjustPolicy(QComboBox::AdjustToContents);
  list->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  list->setToolTip(QString::fromUtf8(explanation));
  return *list;
}

QPushButton& MakeButton(const char* text) {
  auto* button = new QPushButton(QString::fromUtf8(text));
  Outline(*button);
  return *button;
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

}  // namespace

struct QtSettingsWindow::Parts {
  explicit Parts(QWidget& parent) : dialog(&parent, cancel_button, attach_type_box, legend) {}

  // Made before the dialog, which then becomes the owner of them all.
  QCheckBox& attach_type_box =
      MakeBox("S&ymbology", "The kind of barcode, for example EAN 13 or Code 39");
  QCheckBox& attach_timestamp_box =
      MakeBox("&Time of the scan",
              "Date and time by the scanner's clock, for example [2026/11/16:14:07:09]");
  QCheckBox& attach_serial_box =
      MakeBox("Scanner's serial &number", "Tells apart the records of several scanners");
  QComboBox& order_box = MakeList(
      "In which order the fields of a line follow each other. Those "
      "that are switched off are left out.");
  QComboBox& position_box = MakeList("Where in the line the serial number stands");
  QComboBox& data_delimiter_box = MakeList("What stands between two fields of a line");
  QComboBox& record_delimiter_box =
      MakeList("What stands behind each record. Most programs expect a new line.");
  QCheckBox& sync_clock_box = MakeBox("Set the scanner's cloc&k to the computer's time",
                                      "So that the times of the scans are right");
  QCheckBox& auto_sync_box =
      MakeBox("Synchronize a&utomatically",
              "Start as soon as the scanner is connected, without the Synchronize button");
  QCheckBox& burst_sync_box = MakeBox("&Fetch all records in one transfer",
                                      "Much faster. Off, each record is asked for by itself, which "
                                      "takes about a tenth of a second.");
  QCheckBox& clear_memory_box = MakeBox(
      "&Erase the scanner after synchronizing",
      "The records are then only where they have been delivered to. Off, the scanner keeps them "
      "and delivers them again next time.");
  QComboBox& destination_box = MakeList("Who gets the records");
  QLineEdit& path_field = *new PathField;
  QPushButton& browse_button = MakeButton("&Browse…");
  QCheckBox& append_box =
      MakeBox("&Add to the file instead of replacing it",
              "For a file with a fixed name. With the name sn_timestamp.txt every synchronization "
              "writes a file of its own.");
  QCheckBox& paste_box = MakeBox(
      "Paste instead of typing, for te&xt beyond English",
      "Records reach an application by way of the clipboard, whatever characters they hold. Off, "
      "they are typed key by key.");
  SampleView& older_view = *new SampleView;
  SampleView& series300_view = *new SampleView;
  QLabel& legend = *new Legend(
      QStringLiteral("→ tab    ␣ space    ⏎ new line    ← carriage return    ↓ line feed"));
  QPushButton& save_button = MakeButton("&Save");
  QPushButton& cancel_button = MakeButton("&Cancel");
  Dialog dialog;

  QtWindow window{dialog};
  QtCheckBox attach_type{attach_type_box};
  QtCheckBox attach_timestamp{attach_timestamp_box};
  QtCheckBox attach_serial{attach_serial_box};
  QtPopUpList order{order_box};
  QtPopUpList position{position_box};
  QtPopUpList data_delimiter{data_delimiter_box};
  QtPopUpList record_delimiter{record_delimiter_box};
  QtCheckBox sync_clock{sync_clock_box};
  QtCheckBox auto_sync{auto_sync_box};
  QtCheckBox burst_sync{burst_sync_box};
  QtCheckBox clear_memory{clear_memory_box};
  QtPopUpList destination{destination_box};
  QtTextField path{path_field};
  QtPushButton browse{browse_button};
  QtCheckBox append{append_box};
  QtCheckBox paste{paste_box};
  QtTextDisplay older_sample{older_view};
  QtTextDisplay series300_sample{series300_view};
  QtPushButton save{save_button};
  QtPushButton cancel{cancel_button};

  QWidget* MakeLeftColumn();
  QWidget* MakeRightColumn();
  QWidget* MakeSampleGroup();
  QWidget* MakeButtons();
};

QWidget* QtSettingsWindow::Parts::MakeLeftColumn() {
  Group contents("What each line contains");
  contents.Add(attach_type_box)
      .Add(attach_timestamp_box)
      .Add(attach_serial_box)
      .Add("O&rder:", order_box)
      .Add("Serial number's &place:", position_box);
  Group separation("How fields are separated");
  separation.Add("Bet&ween fields:", data_delimiter_box)
      .Add("After each rec&ord:", record_delimiter_box);
  contents.AlignWith(separation);
  return Column({contents.widget(), separation.widget()});
}

QWidget* QtSettingsWindow::Parts::MakeRightColumn() {
  Group connected("When the scanner is connected");
  connected.Add(sync_clock_box).Add(auto_sync_box).Add(burst_sync_box).Add(clear_memory_box);
  Outline(path_field);
  path_field.setToolTip(
      QStringLiteral("Browse changes it; what is typed here is not used. A file named "
                     "sn_timestamp.txt gets its name from the scanner's serial number and the "
                     "time, and stands beside the folder shown."));
  browse_button.setAutoDefault(false);  // Return saves
  Group delivery("Where the records go");
  delivery.Add("&Deliver to:", destination_box)
      .Add("Pat&h:", Beside(path_field, browse_button), path_field)
      .Add(append_box)
      .Add(paste_box);
  return Column({connected.widget(), delivery.widget()});
}

QWidget* QtSettingsWindow::Parts::MakeSampleGroup() {
  for (SampleView* view : {&older_view, &series300_view}) {
    Outline(*view);
    view->setToolTip(legend.text());
  }
  Group sample("A line will look like this");
  sample.Add("O&lder scanners:", older_view).Add("&300 series:", series300_view).Add(legend);
  return sample.widget();
}

QWidget* QtSettingsWindow::Parts::MakeButtons() {
  auto* buttons = new QDialogButtonBox;
  buttons->addButton(&save_button, QDialogButtonBox::AcceptRole);
  buttons->addButton(&cancel_button, QDialogButtonBox::RejectRole);
  return buttons;
}

QtSettingsWindow::QtSettingsWindow(QWidget& parent) : parts_(std::make_unique<Parts>(parent)) {
  NameListsForAssistiveTechnology();
  auto* choices = new ScrollingColumns;
  choices->AddColumn(parts_->MakeLeftColumn());
  choices->AddColumn(parts_->MakeRightColumn());
  auto* layout = new QVBoxLayout(&parts_->dialog);
  layout->addWidget(choices, 1);
  layout->addWidget(parts_->MakeSampleGroup());
  layout->addWidget(parts_->MakeButtons());
  parts_->save_button.setDefault(true);  // which only takes within the dialog
  parts_->window.SetTitle("Settings");
}

QtSettingsWindow::~QtSettingsWindow() = default;

Window& QtSettingsWindow::window() {
  return parts_->window;
}
CheckBox& QtSettingsWindow::attachSerial() {
  return parts_->attach_serial;
}
CheckBox& QtSettingsWindow::attachTimestamp() {
  return parts_->attach_timestamp;
}
CheckBox& QtSettingsWindow::attachType() {
  return parts_->attach_type;
}
PopUpList& QtSettingsWindow::dataDelimiter() {
  return parts_->data_delimiter;
}
PopUpList& QtSettingsWindow::recordDelimiter() {
  return parts_->record_delimiter;
}
PopUpList& QtSettingsWindow::serialPosition() {
  return parts_->position;
}
PopUpList& QtSettingsWindow::dataOrder() {
  return parts_->order;
}
CheckBox& QtSettingsWindow::syncClock() {
  return parts_->sync_clock;
}
CheckBox& QtSettingsWindow::clearMemory() {
  return parts_->clear_memory;
}
CheckBox& QtSettingsWindow::burstSync() {
  return parts_->burst_sync;
}
CheckBox& QtSettingsWindow::autoSync() {
  return parts_->auto_sync;
}
CheckBox& QtSettingsWindow::appendData() {
  return parts_->append;
}
CheckBox& QtSettingsWindow::nonEnglish() {
  return parts_->paste;
}
PopUpList& QtSettingsWindow::destination() {
  return parts_->destination;
}
TextField& QtSettingsWindow::fileName() {
  return parts_->path;
}
PushButton& QtSettingsWindow::browse() {
  return parts_->browse;
}
PushButton& QtSettingsWindow::save() {
  return parts_->save;
}
PushButton& QtSettingsWindow::cancel() {
  return parts_->cancel;
}
TextDisplay& QtSettingsWindow::olderSample() {
  return parts_->older_sample;
}
TextDisplay& QtSettingsWindow::series300Sample() {
  return parts_->series300_sample;
}
QWidget& QtSettingsWindow::widget() {
  return parts_->dialog;
}

}  // namespace quillet::platform::qt
