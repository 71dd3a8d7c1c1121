#include "platform/linux/KeyStateProtocol.h"

#include <iterator>

namespace quillet::platform::linux_desktop {

// Each letter of a signature stands for an argument: u for uint. A leading number is the version
// that added the request (libwayland, struct wl_message).
const wl_interface& KeyStateInterface() {
  static const wl_interface* kNoObjects[2] = {};
  static const wl_message kRequests[] = {{"fetchStates", "", kNoObjects},
                                         {"destroy", "4", kNoObjects}};
  static const wl_message kEvents[] = {{"stateChanged", "uu", kNoObjects}};
  static const wl_interface kInterface = {
      "org_kde_kwin_keystate", 5, std::size(kRequests), kRequests, std::size(kEvents), kEvents};
  return kInterface;
}

}  // namespace quillet::platform::linux_desktop
