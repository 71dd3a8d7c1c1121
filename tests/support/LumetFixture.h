#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "device/Lumet.h"
#include "tests/support/FakeClock.h"
#include "tests/support/Immortal.h"
#include "tests/support/RecordingLog.h"
#include "tests/support/RecordingOwner.h"
#include "tests/support/SystemLine.h"

namespace quillet::test {

/// A session without a scanner, whose bytes the test feeds in itself.
class LumetFixture : public ::testing::Test {
 protected:
  LumetFixture() { lumet.setDelegate(&owner); }

  void Receive(std::initializer_list<int> bytes) {
    for (const int byte : bytes) lumet.HandleInputData(static_cast<std::uint8_t>(byte));
  }
  void Receive(std::string_view text) {
    for (const char character : text) lumet.HandleInputData(static_cast<std::uint8_t>(character));
  }

  /// As if a command of this type had been sent and waited for its answer.
  void Await(char type) {
    lumet.commandType = type;
    lumet.bCommandDone = 0;
  }

  /// The queued bytes that wait, in order.
  std::string Queued() const {
    std::string bytes;
    for (std::int32_t i = lumet.cmdArray.cmdRead(); i < lumet.cmdArray.cmdWrite(); ++i) {
      bytes.push_back(static_cast<char>(lumet.cmdArray.at(static_cast<std::size_t>(i))));
    }
    return bytes;
  }

  /// Puts a stored record at the place where received records stand.
  void PutRecord(std::string_view bytes, std::size_t offset = 3) {
    std::copy(bytes.begin(), bytes.end(), lumet.RxBuffer + offset);
    lumet.BufferOffset = static_cast<std::int32_t>(offset);
  }

  std::string Composed() const {
    return {reinterpret_cast<const char*>(lumet.BarcodeBuffer),
            static_cast<std::size_t>(lumet.BarcodeBufferOffset)};
  }

  RecordingLog& log = Immortal<RecordingLog>();
  FakeClock& clock = Immortal<FakeClock>();
  RecordingOwner& owner = Immortal<RecordingOwner>();
  Lumet& lumet = Immortal<Lumet>(log, clock, test::SystemLine());
};

}  // namespace quillet::test
