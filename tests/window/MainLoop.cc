#include "tests/window/MainLoop.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <chrono>
#include <thread>

// LeakSanitizer calls this function to get suppressions. Fontconfig frees its cache only in FcFini,
// which Qt does not call. Qt's accessibility code never closes its D-Bus connection.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\nleak:libdbus-1.so\n";
}

namespace quillet::window_tests {

using std::chrono::steady_clock;

bool SpinUntil(const std::function<bool()>& condition) {
  const auto end = steady_clock::now() + std::chrono::minutes(1);
  while (!condition()) {
    if (steady_clock::now() > end) return false;
    QCoreApplication::processEvents();
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
  return true;
}

void SpinUntilIdle() {
  for (int pass = 0; pass < 50; ++pass) {
    QCoreApplication::processEvents();
    std::this_thread::sleep_for(std::chrono::microseconds(200));
  }
}

}  // namespace quillet::window_tests
