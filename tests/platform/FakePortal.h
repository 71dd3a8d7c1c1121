#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/Child.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Variable.h"

struct sd_bus;
struct sd_bus_message;

namespace quillet::test {

/// A session bus with a portal that offers remote desktop sessions, but not libei. The constructor
/// sets DBUS_SESSION_BUS_ADDRESS.
class FakePortal {
 public:
  /// The user's answer to the request for permission.
  enum class User { kGrants, kDenies, kDoesNotAnswer };
  using Options = std::map<std::string, std::string>;

  /// Starts the bus without the portal.
  FakePortal();
  ~FakePortal();

  void Start();                            ///< adds the portal to the bus
  void End();                              ///< removes the portal from the bus
  void CloseSession() { closes_ = true; }  ///< acts as a desktop that revokes the permission

  std::atomic<User> user = User::kGrants;
  std::atomic<unsigned> version = 2;
  std::atomic<std::int32_t> refusedKeysym = 0;  ///< keysym that the portal rejects
  std::atomic<bool> ignoresPresses = false;     ///< the portal does not reply to key presses

  /// Called on each press, before the portal replies. Set it before Start.
  std::function<void(std::int32_t keysym)> onPress;

  std::vector<Options> selections() const;  ///< arguments of SelectDevices
  int questions() const;                    ///< number of requests for permission
  std::string keysyms() const;              ///< received key events, such as "+61 -61 " for "a"

 private:
  void Run();
  int Handle(sd_bus_message* call);
  void Respond(sd_bus_message* call, const std::string& method, const Options& options);

  const TemporaryFolder folder_;
  const std::string address_ = "unix:path=" + folder_.path() + "/bus";
  const Variable variable_{"DBUS_SESSION_BUS_ADDRESS", address_};
  std::optional<Child> daemon_;
  sd_bus* bus_ = nullptr;
  std::atomic<bool> isEnding_ = false;
  std::atomic<bool> closes_ = false;
  std::thread thread_;
  std::string session_;  // used only by thread_

  mutable std::mutex mutex_;  // guards the members below
  std::vector<Options> selections_;
  int questions_ = 0;
  std::string keysyms_;
};

}  // namespace quillet::test
