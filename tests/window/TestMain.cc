#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  // The build runs this program to list its tests, possibly without a display.
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(true);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
