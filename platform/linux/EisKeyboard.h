#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "base/UniqueFd.h"
#include "platform/linux/EmulatedKeyboard.h"
#include "platform/linux/KeymapSearch.h"

namespace quillet::platform::linux_desktop {

/// A keyboard of the desktop's server for emulated input (EIS), through libei. Use from a single
/// thread.
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

  int descriptor() const;  ///< readable when Dispatch has events to handle
  bool HasEnded() const;   ///< true if the server has closed the connection

  void Dispatch() override;
  bool IsReady() const override;
  unsigned devices() const override;
  KeymapSearch* keymap() const override;
  std::uint32_t groups() const override;
  std::uint32_t lockedModifiers() const override;
  std::uint32_t Press(std::uint32_t code, bool down) override;
  bool AwaitKeys(std::chrono::milliseconds limit) override;  ///< needs libei 1.4

 private:
  class Impl;
  const std::unique_ptr<Impl> impl_;
};

}  // namespace quillet::platform::linux_desktop
