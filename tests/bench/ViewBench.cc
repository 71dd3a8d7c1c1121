// Usage: view_bench ROUNDS
//
// Measures the speed of the main view and the responsiveness of the window. A thread queues an
// append and a scroll per record while the main loop runs. For each round, prints in milliseconds:
//   view-N          time to display N records; baseline: one insertion of the same text
//   turn            longest time between two passes of the main loop; baseline: a frame at 60 Hz
//   turn-processor  longest processor time between two passes; same baseline

#include <QApplication>
#include <QPlainTextEdit>
#include <QTimer>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "app/MainView.h"
#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/RecordText.h"
#include "platform/qt/RecordView.h"
#include "tests/bench/Figure.h"
#include "tests/bench/Pulse.h"

namespace {

using quillet::bench::Clock;
using quillet::bench::Milliseconds;
using quillet::bench::PrintFigure;
using quillet::bench::Pulse;
using quillet::platform::qt::QtMainQueue;
using quillet::platform::qt::QtMainWindow;

std::string Record(int number) {
  char text[64];
  std::snprintf(text, sizeof text, "EAN-13 %013lld\n", 4006381333931LL + number);
  return text;
}

/// Appends records from another thread. Returns the time until the view contains all of them, in
/// milliseconds.
double AppendAll(int records, QtMainQueue& queue, QtMainWindow& window, Pulse& pulse) {
  window.view().SetText("");
  QCoreApplication::processEvents();
  quillet::MainView view(queue, window.view());
  QEventLoop loop;
  pulse.Reset();
  const auto start = Clock::now();
  std::thread producer([&] {
    for (int i = 0; i < records; ++i) view.Append(Record(i), quillet::TextKind::kRecord);
    view.Post([&] {
      auto* poll = new QTimer(&loop);
      QObject::connect(poll, &QTimer::timeout, &loop, [&] {
        if (!window.view().HasPending()) loop.quit();
      });
      poll->start(0);
    });
  });
  loop.exec();
  const double total = Milliseconds(Clock::now() - start);
  producer.join();
  return total;
}

/// The baseline for AppendAll: inserts the same text in a single call. Returns the duration of the
/// call in milliseconds.
double InsertAtOnce(int records, QtMainWindow& window) {
  auto& view = static_cast<quillet::platform::qt::RecordView&>(
      *window.widget().findChild<QPlainTextEdit*>());
  std::string text;
  for (int i = 0; i < records; ++i) text += Record(i);
  window.view().SetText("");
  QCoreApplication::processEvents();
  const auto start = Clock::now();
  view.InsertAtEnd(quillet::platform::qt::ToDocumentText(text), quillet::TextKind::kRecord);
  view.ScrollToEnd();
  return Milliseconds(Clock::now() - start);
}

void Measure(int rounds, QtMainQueue& queue, QtMainWindow& window, Pulse& pulse) {
  constexpr double kFrame = 16;
  for (int round = 0; round < rounds; ++round) {
    for (const int records : {25'000, 50'000, 100'000}) {
      const double total = AppendAll(records, queue, window, pulse);
      const double turn = pulse.longestTurn();
      const double busy = pulse.longestBusy();
      PrintFigure(("view-" + std::to_string(records)).c_str(), total,
                  InsertAtOnce(records, window));
      if (records < 100'000) continue;
      PrintFigure("turn", turn, kFrame);
      PrintFigure("turn-processor", busy, kFrame);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QtMainQueue queue;
  QtMainWindow window;
  window.Show();
  Pulse pulse;
  // Measures inside exec(), because processEvents() schedules events differently.
  QTimer::singleShot(100, [&] {
    Measure(argc > 1 ? std::atoi(argv[1]) : 1, queue, window, pulse);
    application.quit();
  });
  return application.exec();
}
