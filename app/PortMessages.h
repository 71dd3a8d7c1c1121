#pragma once

#include <functional>
#include <string>
#include <utility>

#include "app/StatusStrip.h"
#include "platform/Pasteboard.h"
#include "platform/SerialRegistry.h"

namespace quillet {

/// Says in the status strip why an attempt to connect has failed.
class PortMessages {
 public:
  /// @param registry    finds the reasons; outlives this object, like the others
  /// @param pasteboard  receives commands for the user to run
  /// @param strip       shows the messages
  /// @param tryAgain    starts another attempt to connect; main thread
  PortMessages(platform::SerialRegistry& registry, platform::Pasteboard& pasteboard,
               StatusStrip& strip, std::function<void()> tryAgain)
      : registry_(registry),
        pasteboard_(pasteboard),
        strip_(strip),
        tryAgain_(std::move(tryAgain)) {}

  void NotOpened(const std::string& path);  ///< the port cannot be opened; connection thread
  void Silent(const std::string& path);     ///< the scanner did not answer; connection thread
  void Withdraw();                          ///< removes the messages; any thread

 private:
  void Denied(const std::string& path, const platform::PortObstacle& obstacle);
  StripAction TryAgain() const { return {"Try again", tryAgain_}; }
  StripAction Copy(const std::string& command) const;

  platform::SerialRegistry& registry_;
  platform::Pasteboard& pasteboard_;
  StatusStrip& strip_;
  const std::function<void()> tryAgain_;
};

}  // namespace quillet
