#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  // The tests are also listed at build time, where there may be no display.
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(true);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
