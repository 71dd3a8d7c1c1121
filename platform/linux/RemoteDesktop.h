#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "base/UniqueFd.h"
#include "platform/Clock.h"

struct sd_bus;
struct sd_bus_message;

namespace quillet::platform::linux_desktop {

/// A session of the desktop portal that allows a program to type (XDG Desktop Portal,
/// org.freedesktop.portal.RemoteDesktop). Use from a single thread.
class RemoteDesktop {
 public:
  /// Result of Start.
  enum class Answer {
    kGranted,  ///< the program may type
    kDenied,   ///< the user has refused
    kFailed,   ///< the portal has exited or has refused a call
  };

  /// @param clock       used for pauses; must outlive this object
  /// @param isStopping  polled every 0.1 s; ends Connect and Start when it returns true
  RemoteDesktop(Clock& clock, std::function<bool()> isStopping);
  ~RemoteDesktop();
  RemoteDesktop(const RemoteDesktop&) = delete;
  RemoteDesktop& operator=(const RemoteDesktop&) = delete;

  /// Connects to the portal. Call once, before the other functions.
  /// @param patience  how long to wait for the portal to appear
  /// @return false if the session bus has no such portal
  bool Connect(std::chrono::seconds patience);

  /// Creates a session with permission to type. The desktop asks the user for permission, unless
  /// the token restores an earlier one. Waits for the user's answer without a time limit.
  /// @param token  restore token of an earlier session, or empty. Set to the token for the next
  ///               session, or emptied if the portal provides none.
  Answer Start(std::string& token);

  /// Opens a connection for libei. Afterwards, PressKeysym fails. Call after Start.
  /// @return an empty UniqueFd if the portal does not offer such a connection
  UniqueFd ConnectToEis();

  /// Presses or releases a key. Waits up to 3 s for the reply.
  /// @param keysym  see xkbcommon-keysyms.h
  /// @param down    true to press the key
  /// @return false if the portal has refused or has not replied
  bool PressKeysym(std::uint32_t keysym, bool down);

  /// Handles events of the session until one of the descriptors is readable.
  /// @param first, second  descriptors, or -1
  void Wait(int first, int second);

  /// Returns true if the desktop or the portal has ended the session.
  bool HasEnded() const { return hasEnded_; }

 private:
  using Append = std::function<void(sd_bus_message*)>;

  bool Open();
  bool AwaitPortal(std::chrono::seconds patience);
  std::optional<std::uint32_t> Property(const char* name);
  bool CreateSession();
  bool SelectKeyboard(const std::string& token);
  bool AskUser();
  bool Request(const char* method, const Append& append);
  void ReadResponse(sd_bus_message* response);
  bool Process(int first, int second, int milliseconds);

  Clock& clock_;
  const std::function<bool()> isStopping_;
  sd_bus* bus_ = nullptr;
  std::string session_;  // object path of the session
  std::uint32_t version_ = 0;
  bool hasEnded_ = false;

  unsigned requests_ = 0;
  std::optional<std::uint32_t> response_;  // code of the response to the last request
  std::string sessionHandle_;              // from the last response
  std::string restoreToken_;               // from the last response
};

}  // namespace quillet::platform::linux_desktop
