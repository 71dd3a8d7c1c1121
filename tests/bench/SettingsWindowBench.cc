// How long it takes from a click on Settings until the filled window has been painted, in the whole
// program on a real window system. There is no port, so the program first looks for one for twenty
// seconds, while it refuses to open the window.
//
// Usage: settings_window_bench [TIMES]

#include <QApplication>
#include <QDialog>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "program/Program.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace quillet;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

template <class Condition>
bool Spin(Condition&& condition, Clock::duration limit = 60s) {
  const auto end = Clock::now() + limit;
  while (!condition()) {
    if (Clock::now() > end) return false;
    QCoreApplication::processEvents();
    std::this_thread::sleep_for(50us);
  }
  return true;
}

/// Hears when a widget has been painted.
class PaintWatch final : public QObject {
 public:
  bool painted = false;

 protected:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) painted = true;
    return false;
  }
};

template <class Button>
Button* Find(QWidget& window, const QString& text) {
  for (Button* button : window.findChildren<Button*>()) {
    if (button->text().remove('&') == text) return button;
  }
  std::abort();
}

class Bench {
 public:
  explicit Bench(QWidget& main)
      : dialog_(*main.findChild<QDialog*>()),
        open_(*Find<QToolButton>(main, "Settings")),
        save_(*Find<QPushButton>(dialog_, "Save")) {
    save_.installEventFilter(&watch_);  // the last but one control to be painted
  }

  /// In milliseconds; negative when the program refused to open the window.
  double OpenAndClose() {
    watch_.painted = false;
    const auto start = Clock::now();
    QTest::mouseClick(&open_, Qt::LeftButton);
    if (!dialog_.isVisible()) return -1;
    Spin([this] { return watch_.painted; });
    QGuiApplication::sync();  // the window system has carried it all out
    const double taken = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    Spin([] { return false; }, 100ms);
    dialog_.reject();
    Spin([] { return false; }, 100ms);
    return taken;
  }

 private:
  QDialog& dialog_;
  QToolButton& open_;
  QPushButton& save_;
  PaintWatch watch_;
};

void Measure(QWidget& main, std::size_t times) {
  Bench bench(main);
  double first = -1;
  while (first < 0) {
    Spin([] { return false; }, 500ms);
    first = bench.OpenAndClose();
  }
  std::vector<double> later;
  while (later.size() < times) later.push_back(bench.OpenAndClose());
  std::sort(later.begin(), later.end());
  std::printf(
      "settings window, click to painted: first %.1f ms; then median %.1f ms, "
      "slowest of %zu %.1f ms\n",
      first, later[later.size() / 2], later.size(), later.back());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t times = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 50;
  test::TemporaryFolder folder;
  auto* const program = new Program(argv[0], folder / "QuilletData");
  auto* const registry = new test::FakeRegistry;
  QTimer::singleShot(0, [&] {
    Measure(program->window().widget(), std::max<std::size_t>(times, 1));
    program->Leave(0);
  });
  program->Run(*registry);
}
