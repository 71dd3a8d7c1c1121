#pragma once

#include <systemd/sd-bus.h>

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>

namespace quillet::test {

/// The layout service of KDE Plasma on the session bus. It has two layouts.
class FakePlasmaLayouts {
 public:
  FakePlasmaLayouts() {
    const auto handle = [](sd_bus_message* call, void* self, sd_bus_error*) {
      return static_cast<FakePlasmaLayouts*>(self)->Handle(call);
    };
    if (sd_bus_open_user(&bus_) < 0 ||
        sd_bus_add_object(bus_, nullptr, "/Layouts", handle, this) < 0 ||
        sd_bus_request_name(bus_, "org.kde.keyboard", 0) < 0) {
      throw std::runtime_error("sd-bus");
    }
    thread_ = std::thread([this] { Run(); });
  }
  ~FakePlasmaLayouts() {
    isEnding_ = true;
    thread_.join();
    sd_bus_flush_close_unref(bus_);
  }
  FakePlasmaLayouts(const FakePlasmaLayouts&) = delete;
  FakePlasmaLayouts& operator=(const FakePlasmaLayouts&) = delete;

  std::atomic<std::uint32_t> active = 0;  ///< group of the active layout
  std::atomic<bool> isSilent = false;     ///< does not reply to getLayout

 private:
  static constexpr std::uint32_t kLayouts = 2;

  void Run() {
    constexpr std::uint64_t kMicroseconds = 5000;
    while (!isEnding_) {
      while (sd_bus_process(bus_, nullptr) > 0) {
      }
      sd_bus_wait(bus_, kMicroseconds);
    }
  }

  int Handle(sd_bus_message* call) {
    const std::string method = sd_bus_message_get_member(call);
    if (method == "getLayout" && isSilent) return 1;
    if (method == "getLayout") return sd_bus_reply_method_return(call, "u", active.load());
    if (method != "setLayout") return 0;
    std::uint32_t layout = 0;
    sd_bus_message_read(call, "u", &layout);
    if (layout < kLayouts) active = layout;
    return sd_bus_reply_method_return(call, "b", static_cast<int>(layout < kLayouts));
  }

  sd_bus* bus_ = nullptr;
  std::atomic<bool> isEnding_ = false;
  std::thread thread_;
};

}  // namespace quillet::test
