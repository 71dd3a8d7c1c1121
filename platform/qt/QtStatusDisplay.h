#pragma once

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <array>

#include "platform/Controls.h"

namespace quillet::platform::qt {

/// A StatusDisplay in a window's status bar. Main thread only.
class QtStatusDisplay final : public StatusDisplay {
 public:
  /// Adds its controls to the status bar.
  /// @param strip      the status bar; it must outlive this object
  /// @param nextFocus  receives the focus if a button with focus disappears; must outlive this
  /// object
  QtStatusDisplay(QStatusBar& strip, QWidget& nextFocus);

  void Show(std::string_view text, std::optional<double> fraction,
            const std::vector<StripAction>& actions) override;

 private:
  void SetUp(QStatusBar& strip);
  void ShowActions();

  QWidget& nextFocus_;
  QLabel& label_;  // the status bar owns label_, bar_ and buttons_
  QProgressBar& bar_;
  std::array<QPushButton*, kMaximumActions> buttons_;
  std::vector<StripAction> actions_;
  QString pressedTitle_;
};

}  // namespace quillet::platform::qt
