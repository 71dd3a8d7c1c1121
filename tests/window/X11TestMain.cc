#include <gtest/gtest.h>

#include <QApplication>

#include "tests/platform/XServer.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The build runs this program to list its tests, which needs no X server.
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  const quillet::test::XServer server;
  qputenv("QT_QPA_PLATFORM", "xcb");
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
