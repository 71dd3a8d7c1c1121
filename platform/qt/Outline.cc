#include "platform/qt/Outline.h"

#include <QApplication>
#include <QEvent>
#include <QWidget>

#include "platform/qt/Mix.h"

namespace quillet::platform::qt {
namespace {

// How much darker than its palette's colour for windows the style draws an outline, in percent.
constexpr int kDarkened = 140;

/// Belongs to its control and ends with it.
class Outliner final : public QObject {
 public:
  explicit Outliner(QWidget& control) : QObject(&control), control_(control) {
    control.installEventFilter(this);
    Choose();
  }

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::PaletteChange) Choose();
    return false;
  }

 private:
  // None of these controls draws a ground in its palette's colour for windows.
  void Choose() {
    const QPalette desktop = QApplication::palette();
    const QColor outline = Mix(desktop.color(QPalette::Active, QPalette::Window),
                               desktop.color(QPalette::Active, QPalette::WindowText), 0.5F);
    const QColor wanted = outline.lighter(kDarkened);
    QPalette own = control_.palette();
    if (own.color(QPalette::Window) == wanted) return;
    own.setColor(QPalette::Window, wanted);
    control_.setPalette(own);
  }

  QWidget& control_;
};

}  // namespace

void Outline(QWidget& control) {
  new Outliner(control);
}

}  // namespace quillet::platform::qt
