#include "platform/qt/QtFormControls.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <utility>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

constexpr int kBarSteps = 1000;

}  // namespace

QtCheckBox::QtCheckBox(QCheckBox& box) : box_(box) {
  QObject::connect(&box_, &QCheckBox::toggled, &box_, [this] {
    if (action_) action_();
  });
}

bool QtCheckBox::IsOn() const {
  return box_.isChecked();
}

void QtCheckBox::SetOn(bool on) {
  box_.setChecked(on);
}

void QtCheckBox::OnChange(std::function<void()> action) {
  action_ = std::move(action);
}

void QtTextField::SetText(std::string_view text) {
  const QString shown = ToQString(text);
  if (field_.text() == shown) return;
  field_.setText(shown);
  field_.setCursorPosition(0);
}

void QtTextField::SetEditable(bool editable) {
  field_.setReadOnly(!editable);
  field_.setEnabled(editable);
}

void QtTextDisplay::SetText(std::string_view text) {
  const QString shown = ToQString(text);
  if (view_.toPlainText() != shown) view_.setPlainText(shown);
}

QtPushButton::QtPushButton(QAbstractButton& button) : button_(button) {
  QObject::connect(&button_, &QAbstractButton::clicked, &button_, [this] {
    if (action_) action_();
  });
}

void QtPushButton::SetEnabled(bool enabled) {
  button_.setEnabled(enabled);
}

void QtPushButton::OnPress(std::function<void()> action) {
  action_ = std::move(action);
}

QtProgressDisplay::QtProgressDisplay(QLabel& label, QProgressBar& bar) : label_(label), bar_(bar) {
  bar_.setTextVisible(false);
  Hide();
}

void QtProgressDisplay::Show(std::string_view text, double fraction) {
  label_.setText(ToQString(text));
  label_.setToolTip(label_.text());  // all of it, where the label has no room
  if (fraction < 0) {
    bar_.setRange(0, 0);
  } else {
    bar_.setRange(0, kBarSteps);
    bar_.setValue(static_cast<int>(fraction * kBarSteps));
  }
  bar_.show();
}

void QtProgressDisplay::Hide() {
  label_.clear();
  label_.setToolTip({});
  bar_.hide();
}

}  // namespace quillet::platform::qt
