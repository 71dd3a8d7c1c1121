#include "platform/qt/QtProgressDisplay.h"

#include <QLabel>
#include <QProgressBar>

#include "platform/qt/Text.h"

namespace quillet::platform::qt {
namespace {

constexpr int kBarSteps = 1000;

}  // namespace

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
