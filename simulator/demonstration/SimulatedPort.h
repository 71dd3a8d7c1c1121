#pragma once

#include <string>
#include <utility>

#include "platform/SerialRegistry.h"

namespace quillet::simulator {

/// A registry of serial ports that knows one: a simulated scanner's, attached from the beginning to
/// the end.
class SimulatedPort final : public platform::SerialRegistry {
 public:
  /// @param path  what the scanner's line is opened by
  explicit SimulatedPort(std::string path) : path_(std::move(path)) {}

  std::int32_t ReadSerialStreams(std::span<std::string> names,
                                 std::span<std::string> paths) override {
    if (names.empty() || paths.empty()) return 0;
    names[0] = "usbmodem1101";
    paths[0] = path_;
    return 1;
  }

  // Nothing arrives and nothing goes, so there is nothing to be told.
  NotifyPort CreateNotifyPort() override { return 0; }
  Handle AddMatchingNotification(NotifyPort, Event, Callback, void*) override { return 0; }
  Handle Next(Handle) override { return 0; }
  void Release(Handle) override {}
  void DestroyNotifyPort(NotifyPort) override {}

 private:
  const std::string path_;
};

}  // namespace quillet::simulator
