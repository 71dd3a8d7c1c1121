#pragma once

#include <QToolButton>

namespace quillet::platform::qt {

/// A toolbar button that the keyboard reaches with Tab and presses with Space, Return or Enter.
class ToolbarButton final : public QToolButton {
 public:
  /// @param action  what the button shows and triggers; it outlives the button
  /// @param parent  owns the button, if there is one
  explicit ToolbarButton(QAction* action, QWidget* parent = nullptr);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
};

}  // namespace quillet::platform::qt
