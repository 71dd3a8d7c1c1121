#include "platform/qt/Outline.h"

#include <QApplication>
#include <QEvent>
#include <QWidget>

namespace quillet::platform::qt {
namespace {

// The style draws an outline in the palette's window colour, darkened by this factor (percent).
constexpr int kDarkened = 140;

// Sets the window colour of one control, which owns this object. The controls that Outline accepts
// use the window colour for the outline, but not for the background.
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

QColor Mix(const QColor& first, const QColor& second, float share) {
  const auto mixed = [share](float one, float other) { return one + (other - one) * share; };
  return QColor::fromRgbF(mixed(first.redF(), second.redF()),
                          mixed(first.greenF(), second.greenF()),
                          mixed(first.blueF(), second.blueF()));
}

void Outline(QWidget& control) {
  new Outliner(control);
}

}  // namespace quillet::platform::qt
