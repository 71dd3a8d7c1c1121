#pragma once

#include <QLabel>
#include <QProgressBar>

#include "platform/Controls.h"
#include "platform/qt/Text.h"

namespace quillet::platform::qt {

/// A ProgressDisplay that uses a label and a progress bar. Main thread only.
class QtProgressDisplay final : public ProgressDisplay {
 public:
  /// @param label  shows the text; it outlives this object
  /// @param bar    shows the fraction; it outlives this object
  QtProgressDisplay(QLabel& label, QProgressBar& bar) : label_(label), bar_(bar) {
    bar_.setTextVisible(false);
    Hide();
  }

  void Show(std::string_view text, double fraction) override {
    constexpr int kSteps = 1000;
    ShowMessage(text);
    bar_.setRange(0, fraction < 0 ? 0 : kSteps);
    if (fraction >= 0) bar_.setValue(static_cast<int>(fraction * kSteps));
    bar_.show();
  }

  void ShowMessage(std::string_view text) override {
    label_.setText(ToQString(text));
    label_.setToolTip(label_.text());  // the label may cut off its text
    bar_.hide();
  }

  void Hide() override {
    label_.clear();
    label_.setToolTip({});
    bar_.hide();
  }

 private:
  QLabel& label_;
  QProgressBar& bar_;
};

}  // namespace quillet::platform::qt
