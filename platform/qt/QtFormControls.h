#pragma once

#include <functional>
#include <string_view>

#include "platform/Controls.h"

class QAbstractButton;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;

namespace quillet::platform::qt {

// Qt's widgets as the program's controls. Main thread only; each widget outlives its control.

class QtCheckBox final : public CheckBox {
 public:
  explicit QtCheckBox(QCheckBox& box);

  bool IsOn() const override;
  void SetOn(bool on) override;
  void OnChange(std::function<void()> action) override;

 private:
  QCheckBox& box_;
  std::function<void()> action_;
};

class QtTextField final : public TextField {
 public:
  explicit QtTextField(QLineEdit& field) : field_(field) {}

  /// The text is shown from its beginning, however long it is.
  void SetText(std::string_view text) override;

  /// A field that cannot be edited looks so.
  void SetEditable(bool editable) override;

 private:
  QLineEdit& field_;
};

class QtTextDisplay final : public TextDisplay {
 public:
  explicit QtTextDisplay(QPlainTextEdit& view) : view_(view) {}

  void SetText(std::string_view text) override;

 private:
  QPlainTextEdit& view_;
};

class QtPushButton final : public PushButton {
 public:
  explicit QtPushButton(QAbstractButton& button);

  void SetEnabled(bool enabled) override;
  void OnPress(std::function<void()> action) override;

 private:
  QAbstractButton& button_;
  std::function<void()> action_;
};

/// A text with a bar beside it.
class QtProgressDisplay final : public ProgressDisplay {
 public:
  QtProgressDisplay(QLabel& label, QProgressBar& bar);

  void Show(std::string_view text, double fraction) override;
  void Hide() override;

 private:
  QLabel& label_;
  QProgressBar& bar_;
};

}  // namespace quillet::platform::qt
