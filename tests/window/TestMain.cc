#include <gtest/gtest.h>

#include <QApplication>

// Asked for by the leak checker in builds that have one. The library that finds a face for a
// character keeps what it has found and gives it back only to those who ask it to end, which the
// toolkit does not.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

int main(int argc, char** argv) {
  // The tests are also listed at build time, where there may be no display.
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(true);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
