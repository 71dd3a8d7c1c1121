#include <gtest/gtest.h>

#include <QApplication>

// The leak sanitizer calls this. Fontconfig frees its cache only in FcFini, which Qt does not call.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig.so\n";
}

int main(int argc, char** argv) {
  // The build runs this program to list its tests, possibly without a display.
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(true);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
