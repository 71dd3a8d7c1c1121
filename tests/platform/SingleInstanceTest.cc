#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <string>
#include <vector>

#include "platform/posix/SingleInstance.h"
#include "tests/platform/Child.h"
#include "tests/platform/OneWatch.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"
#include "tests/support/WaitFor.h"

namespace quillet::platform::posix {
namespace {

using test::Child;
using test::OneWatch;
using test::WaitFor;

class SingleInstanceTest : public testing::Test {
 protected:
  /// Starts another instance on another thread. @return the result of Begin
  static std::future<bool> StartAnother(const std::string& request = {}) {
    return std::async(std::launch::async,
                      [request] { return SingleInstance(":7").Begin(request); });
  }

  test::TemporaryFolder folder_;
  const bool isPrivate_ = chmod(folder_.path().c_str(), S_IRWXU) == 0;
  test::Variable runtime_{"XDG_RUNTIME_DIR", folder_.path()};
  SingleInstance first_{":7"};
  OneWatch loop_;
  std::vector<std::string> requests_;
};

TEST_F(SingleInstanceTest, ReceivesRequestsFromLaterInstances) {
  ASSERT_TRUE(first_.Begin("unused"));
  first_.Listen(loop_, [&](const std::string& request) { requests_.push_back(request); });
  for (const char* request : {"token", ""}) {
    std::future<bool> other = StartAnother(request);
    loop_.Run(10'000);
    EXPECT_FALSE(other.get());
  }
  EXPECT_EQ(requests_, (std::vector<std::string>{"token", ""}));
}

TEST_F(SingleInstanceTest, KeepsRequestsWhileBusy) {
  ASSERT_TRUE(first_.Begin({}));
  EXPECT_FALSE(SingleInstance(":7").Begin("token"));
  first_.Listen(loop_, [&](const std::string& request) { requests_.push_back(request); });
  loop_.Run(0);
  EXPECT_EQ(requests_, std::vector<std::string>{"token"});
}

TEST_F(SingleInstanceTest, SecondInstanceStartsWhenTheFirstExits) {
  ASSERT_TRUE(first_.Begin({}));
  first_.Listen(loop_, [&](const std::string&) {});
  std::future<bool> other = StartAnother();
  first_.End();
  EXPECT_TRUE(other.get());
}

TEST_F(SingleInstanceTest, StartsAfterAnInstanceWasKilled) {
  Child killed([&] {
    SingleInstance instance(":7");
    return instance.Begin({}) ? pause() : 1;
  });
  ASSERT_TRUE(WaitFor([&] { return std::filesystem::exists(folder_ / "quillet-:7.socket"); }));
  killed.Kill();
  EXPECT_TRUE(first_.Begin({}));
  EXPECT_FALSE(SingleInstance(":7").Begin({}));
}

TEST_F(SingleInstanceTest, StartsAfterAnInstanceWasReplacedByExec) {
  Child restarted([&] {
    SingleInstance instance(":7");
    return instance.Begin({}) ? test::Execute({"sleep", "1000"}) : 1;
  });
  EXPECT_TRUE(WaitFor([&] {
    return test::FileContents("/proc/" + std::to_string(restarted.pid()) + "/comm") == "sleep\n";
  }));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "quillet-:7.socket"));
  EXPECT_TRUE(first_.Begin({}));
  EXPECT_FALSE(SingleInstance(":7").Begin({}));
}

TEST_F(SingleInstanceTest, AllowsOneInstancePerDisplay) {
  ASSERT_TRUE(first_.Begin({}));
  EXPECT_TRUE(SingleInstance(":8").Begin({}));
  EXPECT_TRUE(SingleInstance("").Begin({}));
  EXPECT_TRUE(SingleInstance("").Begin({}));
}

TEST_F(SingleInstanceTest, DoesNotUseAFolderThatOtherUsersCanOpen) {
  chmod(folder_.path().c_str(), S_IRWXU | S_IRGRP | S_IXGRP);
  EXPECT_TRUE(SingleInstance("test").Begin({}));
  EXPECT_TRUE(folder_.Names().empty());
}

}  // namespace
}  // namespace quillet::platform::posix
