// How fast texts reach the screen, and whether the window stays responsive meanwhile.
//
// A thread queues one append (and one scroll to the end) per record, as fast as it can, exactly
// as the program does. The main thread runs its loop with a shown window. Printed for each run:
//   queued   until the thread had queued everything, in milliseconds
//   total    until the last character was in the view
//   turn     the longest time between two passes of the main loop
//   reply    the longest time that an event posted every 3 milliseconds waited to be handled
//   paints   how often the view was repainted meanwhile
//   dark     the longest time between two of these repaints
//   copy     the time that it takes to copy the whole text afterwards
//
// Usage: view_bench [lines|tabs|paragraph|stream|bulk|bulk-paragraph]... ; without arguments, all
// of them. QT_QPA_PLATFORM=offscreen runs it without a display.
//
//        view_bench compare ROUNDS ; prints for tests/bench/run, in milliseconds, the total of
// "lines" beside one insertion of the same text into the same widget, and the longest turn and the
// longest processor time of a turn beside a frame of a 60 Hz screen.

#include <QApplication>
#include <QEvent>
#include <QPlainTextEdit>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtMainWindow.h"
#include "platform/qt/RecordText.h"
#include "platform/qt/RecordView.h"
#include "tests/bench/Figure.h"

namespace {

using quillet::platform::qt::QtMainQueue;
using quillet::platform::qt::QtMainWindow;
using Clock = std::chrono::steady_clock;

double Milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

/// What the calling thread has had of the processors.
Clock::duration ProcessorTime() {
  timespec spent{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &spent);
  return std::chrono::seconds(spent.tv_sec) + std::chrono::nanoseconds(spent.tv_nsec);
}

struct Kind {
  std::string_view name;
  std::string_view delimiter;
  bool one_append;
  std::chrono::microseconds pause{0};  // between appends
};

constexpr Kind kKinds[] = {
    {"lines", "\n", false},    // every record is a line
    {"tabs", "\t", false},     // one paragraph of records with tabs between them
    {"paragraph", "", false},  // one paragraph without any break
    {"stream", "\n", false, std::chrono::microseconds(10)},  // lines at a steady pace
    {"bulk", "\n", true},                                    // one append of all the lines
    {"bulk-paragraph", "", true},                            // one append of all in one paragraph
};

std::string Record(int number, std::string_view delimiter) {
  char text[64];
  std::snprintf(text, sizeof text, "EAN-13 %013lld", 4006381333931LL + number);
  return std::string(text).append(delimiter);
}

/// Measures the gaps between passes of the main loop, and the waits of posted events.
class Pulse : public QObject {
 public:
  Pulse() : poster_([this] { PostEvents(); }) {
    timer_.setInterval(0);
    connect(&timer_, &QTimer::timeout, this, [this] { Beat(); });
    timer_.start();
  }

  ~Pulse() override {
    stop_ = true;
    poster_.join();
  }

  Pulse(const Pulse&) = delete;
  Pulse& operator=(const Pulse&) = delete;

  void Reset() {
    last_ = Clock::now();
    painted_ = last_;
    last_processor_time_ = ProcessorTime();
    longest_turn_ = longest_busy_ = longest_reply_ = longest_dark_ = {};
    paints_ = 0;
  }

  double longest_turn() const { return Milliseconds(longest_turn_); }
  double longest_busy() const { return Milliseconds(longest_busy_); }
  double longest_reply() const { return Milliseconds(longest_reply_); }
  double longest_dark() const { return Milliseconds(longest_dark_); }
  int paints() const { return paints_; }

 protected:
  bool event(QEvent* event) override {
    if (event->type() != QEvent::User) return QObject::event(event);
    longest_reply_ = std::max(longest_reply_, Clock::now() - posted_.load());
    posted_ = Clock::time_point();
    return true;
  }

  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() == QEvent::Paint) {
      ++paints_;
      longest_dark_ = std::max(longest_dark_, Clock::now() - painted_);
      painted_ = Clock::now();
    }
    return false;
  }

 private:
  void Beat() {
    const auto now = Clock::now();
    longest_turn_ = std::max(longest_turn_, now - last_);
    last_ = now;
    const auto processor_time = ProcessorTime();
    longest_busy_ = std::max(longest_busy_, processor_time - last_processor_time_);
    last_processor_time_ = processor_time;
  }

  void PostEvents() {
    while (!stop_) {
      if (posted_.load() == Clock::time_point()) {
        posted_ = Clock::now();
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
  }

  QTimer timer_;
  Clock::time_point last_ = Clock::now();
  Clock::duration last_processor_time_ = ProcessorTime();
  Clock::duration longest_turn_{};
  Clock::duration longest_busy_{};  // the same in processor time
  Clock::duration longest_reply_{};
  Clock::time_point painted_ = last_;
  Clock::duration longest_dark_{};
  int paints_ = 0;
  std::atomic<Clock::time_point> posted_{Clock::time_point()};
  std::atomic<bool> stop_ = false;
  std::thread poster_;
};

std::string AllRecords(int records, std::string_view delimiter) {
  std::string text;
  for (int i = 0; i < records; ++i) text += Record(i, delimiter);
  return text;
}

/// @return the total
double Run(const Kind& kind, int records, QtMainQueue& queue, QtMainWindow& window, Pulse& pulse,
           bool print = true) {
  window.view().SetText("");
  QCoreApplication::processEvents();
  const std::string expected = AllRecords(records, kind.delimiter);

  QEventLoop loop;
  double queued = 0;
  pulse.Reset();
  const auto start = Clock::now();
  std::thread producer([&] {
    const auto append = [&](const std::string& text) {
      queue.Async([&window, text] {
        window.view().Append(text);
        window.view().ScrollToEnd();
      });
    };
    if (kind.one_append) {
      append(expected);
    } else {
      auto due = Clock::now();
      for (int i = 0; i < records; ++i) {
        append(Record(i, kind.delimiter));
        due += kind.pause;
        while (kind.pause.count() > 0 && Clock::now() < due) {
        }
      }
    }
    queued = Milliseconds(Clock::now() - start);
    queue.Async([&] {
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
  if (!print) return total;
  const double turn = pulse.longest_turn();
  const auto copying = Clock::now();
  const bool complete = window.view().ShownText() == expected;
  const double copy = Milliseconds(Clock::now() - copying);
  std::printf("%-14.*s %7d %8.0f %8.0f %7.1f %7.1f %7d %7.1f %7.0f  %s\n",
              static_cast<int>(kind.name.size()), kind.name.data(), records, queued, total, turn,
              pulse.longest_reply(), pulse.paints(), pulse.longest_dark(), copy,
              complete ? "complete" : "INCOMPLETE");
  std::fflush(stdout);
  return total;
}

double InsertAtOnce(const std::string& text, QtMainWindow& window) {
  auto& view = static_cast<quillet::platform::qt::RecordView&>(
      *window.widget().findChild<QPlainTextEdit*>());
  window.view().SetText("");
  QCoreApplication::processEvents();
  const auto start = Clock::now();
  view.InsertAtEnd(quillet::platform::qt::ToDocumentText(text));
  view.ScrollToEnd();
  return Milliseconds(Clock::now() - start);
}

void Compare(int rounds, QtMainQueue& queue, QtMainWindow& window, Pulse& pulse) {
  using quillet::bench::PrintFigure;
  constexpr double kFrame = 16;
  const Kind& lines = kKinds[0];
  for (int round = 0; round < rounds; ++round) {
    for (const int records : {25'000, 50'000, 100'000}) {
      const double total = Run(lines, records, queue, window, pulse, false);
      const double turn = pulse.longest_turn();
      const double busy = pulse.longest_busy();
      const double at_once = InsertAtOnce(AllRecords(records, lines.delimiter), window);
      PrintFigure(("view-" + std::to_string(records)).c_str(), total, at_once);
      if (records < 100'000) continue;
      PrintFigure("turn", turn, kFrame);
      PrintFigure("turn-processor", busy, kFrame);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  const std::vector<std::string_view> wanted(argv + 1, argv + argc);
  QtMainQueue queue;
  QtMainWindow window;
  window.Show();
  Pulse pulse;
  window.widget().findChild<QPlainTextEdit*>()->viewport()->installEventFilter(&pulse);

  if (wanted.size() == 2 && wanted[0] == "compare") {
    QTimer::singleShot(100, [&] {
      Compare(std::atoi(argv[2]), queue, window, pulse);
      application.quit();
    });
    return application.exec();
  }

  std::printf(
      "kind           records   queued    total    turn   reply  paints    dark    copy  (ms)\n");
  // The measuring runs inside the application's own loop, whose priorities differ from those of
  // single passes.
  QTimer::singleShot(100, [&] {
    for (const Kind& kind : kKinds) {
      if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), kind.name) == wanted.end()) {
        continue;
      }
      for (const int records : {25'000, 50'000, 100'000}) {
        Run(kind, records, queue, window, pulse);
      }
    }
    application.quit();
  });
  return application.exec();
}
