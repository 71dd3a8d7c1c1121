#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/macos/fakes/AppKit.h"
#include "tests/macos/fakes/IoKit.h"
#include "tests/macos/fakes/LaunchServices.h"
#include "tests/macos/fakes/Objects.h"
#include "tests/macos/fakes/Quartz.h"

namespace quillet::macos_tests {

/// Fresh stand-ins for a test, and behind it the account: what was made or taken has been released,
/// each as often as it was retained.
class Account {
 public:
  Account() : objectsBefore_(LiveObjects()) {
    IoKit::Shared().Reset();
    Quartz::Shared().Reset();
    LaunchServices::Shared().Reset();
    AppKit::Shared().Reset();
    Calls().clear();
  }

  ~Account() {
    EXPECT_EQ(LiveObjects(), objectsBefore_) << "objects were not released";
    EXPECT_EQ(IoKit::Shared().HandlesHeld(), 0U) << "handles were not released";
    EXPECT_EQ(IoKit::Shared().Ports(), 0U) << "a port was not destroyed";
    EXPECT_EQ(AppKit::Shared().OpenPools(), 0U) << "a pool was not drained";
  }

  Account(const Account&) = delete;
  Account& operator=(const Account&) = delete;

 private:
  const std::size_t objectsBefore_;
};

}  // namespace quillet::macos_tests
