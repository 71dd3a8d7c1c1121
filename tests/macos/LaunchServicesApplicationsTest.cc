#include "platform/macos/LaunchServicesApplications.h"
#include "tests/macos/Account.h"

namespace quillet::macos_tests {
namespace {

using Paths = std::vector<std::string>;

constexpr char kEditor[] = "/Applications/TextEdit.app";
constexpr char kOther[] = "/Applications/Other \xC3\xA9.app";

class LaunchServicesApplicationsTest : public testing::Test {
 protected:
  LaunchServicesApplicationsTest() { system_.installed = {kEditor, kOther}; }

  Account account_;
  LaunchServices& system_ = LaunchServices::Shared();
  platform::macos::LaunchServicesApplications applications_;
};

TEST_F(LaunchServicesApplicationsTest, APathWithoutItsEndingNamesNothing) {
  EXPECT_TRUE(applications_.HasApplication(kEditor));
  EXPECT_FALSE(applications_.HasApplication("/Applications/TextEdit"));
  EXPECT_FALSE(applications_.HasApplication(""));
}

TEST_F(LaunchServicesApplicationsTest, AnApplicationIsOpenedByItsReference) {
  EXPECT_TRUE(applications_.OpenApplication(kEditor));
  EXPECT_TRUE(applications_.OpenApplication(kOther));
  EXPECT_TRUE(applications_.OpenApplication(kEditor)) << "it comes to the front";
  EXPECT_EQ(system_.opened, (Paths{kEditor, kOther, kEditor}));
  EXPECT_EQ(applications_.LaunchedApplications(), (Paths{kEditor, kOther}));
}

TEST_F(LaunchServicesApplicationsTest, WhatCannotBeOpenedIsReported) {
  EXPECT_FALSE(applications_.OpenApplication("/Applications/TextEdit"));
  system_.opens = false;
  EXPECT_FALSE(applications_.OpenApplication(kEditor));
  EXPECT_EQ(system_.opened, Paths{});
}

TEST_F(LaunchServicesApplicationsTest, EveryLaunchedApplicationIsListedByItsPath) {
  EXPECT_EQ(applications_.LaunchedApplications(), Paths{});
  AppKit::Shared().listsNameless = true;
  system_.running = {kOther, "/System/Library/CoreServices/Finder.app"};
  EXPECT_EQ(applications_.LaunchedApplications(), system_.running);
}

TEST_F(LaunchServicesApplicationsTest, WithoutAListNothingRuns) {
  AppKit::Shared().listsNothing = true;
  EXPECT_EQ(applications_.LaunchedApplications(), Paths{});
}

}  // namespace
}  // namespace quillet::macos_tests
