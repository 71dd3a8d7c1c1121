// Tests of the clipboard on an X server. Other X clients read the clipboard.

#include <gtest/gtest.h>

#include <QWidget>
#include <QWindow>
#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/qt/QtMainQueue.h"
#include "platform/qt/QtPasteboard.h"
#include "tests/platform/XClient.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

using namespace std::chrono_literals;

class X11Pasteboard : public testing::Test {
 protected:
  X11Pasteboard() {
    widget_.show();
    EXPECT_TRUE(SpinUntil([this] { return widget_.windowHandle()->isExposed(); }));
    target_.TakeFocus();
  }
  ~X11Pasteboard() override {
    if (thread_.joinable()) thread_.join();
  }

  /// Sets the texts in order on a separate thread. Waits until the first one is set.
  void Set(const std::vector<std::string>& texts, std::chrono::milliseconds longestRead) {
    pasteboard_.emplace(queue_, longestRead);
    thread_ = std::thread([this, texts] {
      for (const std::string& text : texts) {
        EXPECT_TRUE(pasteboard_->SetString(text));
        ++set_;
      }
    });
    EXPECT_TRUE(SpinUntil([this] { return set_ >= 1; }));
  }

  /// Returns the clipboard contents that `program` receives.
  static std::string Read(test::XClient& program, const std::string& format = "UTF8_STRING") {
    std::optional<std::string> answer;
    program.RequestClipboard(format);
    EXPECT_TRUE(SpinUntil([&] { return (answer = program.Clipboard()).has_value(); })) << format;
    return answer.value_or("");
  }

  QWidget widget_;
  test::XClient target_;  // the program with focus
  platform::qt::QtMainQueue queue_;
  std::optional<platform::qt::QtPasteboard> pasteboard_;
  std::thread thread_;
  std::atomic<int> set_ = 0;  // number of completed calls to SetString
};

TEST_F(X11Pasteboard, WaitsUntilTheProgramHasReadTheText) {
  Set({"first", "second", "third"}, 1min);
  int expected = 1;
  for (const char* text : {"first", "second"}) {
    SpinUntilIdle();
    EXPECT_EQ(set_, expected++);
    EXPECT_EQ(Read(target_), text);
    EXPECT_TRUE(SpinUntil([&] { return set_ == expected; })) << text;
  }
  EXPECT_EQ(Read(target_), "third");
}

TEST_F(X11Pasteboard, WaitsIfOnlyAClipboardManagerHasReadTheText) {
  Set({"first", "second"}, 1min);
  test::XClient manager;
  EXPECT_EQ(Read(manager), "first");
  EXPECT_NE(Read(target_, "TARGETS"), "");
  SpinUntilIdle();
  EXPECT_EQ(set_, 1);
  EXPECT_EQ(Read(target_), "first");
  EXPECT_TRUE(SpinUntil([this] { return set_ == 2; }));
}

TEST_F(X11Pasteboard, WaitsOnceForAProgramThatNeverReadsTheClipboard) {
  constexpr auto kLongestRead = 1s;
  const auto start = std::chrono::steady_clock::now();
  Set({"1", "2", "3", "4", "5", "6"}, kLongestRead);
  EXPECT_TRUE(SpinUntil([this] { return set_ == 6; }));
  const auto taken = std::chrono::steady_clock::now() - start;
  EXPECT_GE(taken, kLongestRead);
  EXPECT_LT(taken, 4 * kLongestRead);
}

TEST_F(X11Pasteboard, WaitsForReadsAgainAfterALateRead) {
  constexpr auto kLongestRead = 300ms;
  Set({"1", "2", "3"}, kLongestRead);
  EXPECT_TRUE(SpinUntil([this] { return set_ == 3; }));
  thread_.join();
  EXPECT_EQ(Read(target_), "3");
  const auto start = std::chrono::steady_clock::now();
  thread_ = std::thread([this] {
    for (const char* text : {"4", "5"}) EXPECT_TRUE(pasteboard_->SetString(text));
    set_ = 5;
  });
  EXPECT_TRUE(SpinUntil([this] { return set_ == 5; }));
  EXPECT_GE(std::chrono::steady_clock::now() - start, kLongestRead);
}

}  // namespace
}  // namespace quillet::window_tests
