#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "base/UniqueFd.h"
#include "platform/linux/EmulatedKeyboard.h"
#include "platform/linux/KeymapSearch.h"

// Opaque types of libei.
struct ei;
struct ei_device;
struct ei_event;

namespace quillet::platform::linux_desktop {

struct Libei;

/// A keyboard on the desktop's emulated input server (EIS), accessed through libei. Use from a
/// single thread.
///
/// The library is loaded at run time (dlopen(3), libei.so.1), because Debian 12 does not have it.
class EisKeyboard final : public EmulatedKeyboard {
 public:
  /// Returns true if libei can be loaded.
  static bool HasLibrary();

  /// @param connection  result of RemoteDesktop::ConnectToEis
  explicit EisKeyboard(UniqueFd connection);
  ~EisKeyboard() override;
  EisKeyboard(const EisKeyboard&) = delete;
  EisKeyboard& operator=(const EisKeyboard&) = delete;

  int descriptor() const;                      ///< readable when Dispatch has events to handle
  bool HasEnded() const { return hasEnded_; }  ///< true if the server has closed the connection

  void Dispatch() override;
  bool IsReady() const override { return isReady_; }
  unsigned devices() const override { return devices_; }
  KeymapSearch* keymap() const override { return keymap_.get(); }
  std::uint32_t groups() const override { return groups_; }
  std::uint32_t lockedModifiers() const override { return lockedModifiers_; }
  std::uint32_t Press(std::uint32_t code, bool down) override;
  bool AwaitKeys(std::chrono::milliseconds limit) override;  ///< needs libei 1.4

 private:
  void Handle(ei_event* event);
  void Take(ei_device* device);
  void Forget();

  const Libei& lib_;
  ei* const ei_;
  ei_device* device_ = nullptr;  // the keyboard; null if there is none
  std::unique_ptr<KeymapSearch> keymap_;
  std::uint32_t groups_ = 0;
  std::uint32_t lockedModifiers_ = 0;
  unsigned devices_ = 0;
  std::uint32_t sequence_ = 0;  // increases with each ei_device_start_emulating
  int pings_ = 0;               // number of pings without a reply
  bool isReady_ = false;
  bool hasEnded_ = false;
};

}  // namespace quillet::platform::linux_desktop
