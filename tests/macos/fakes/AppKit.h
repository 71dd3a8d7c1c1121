#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quillet::macos_tests {

/// What of AppKit is used: the application object, the general pasteboard and the workspace.
class AppKit {
 public:
  static AppKit& Shared();
  void Reset();

  /// What the general pasteboard holds.
  struct Pasteboard {
    std::vector<std::string> types;  ///< that were declared
    std::string owner;               ///< the class of its owner, empty for none
    std::optional<std::string> text;
  };

  Pasteboard pasteboard;
  int activations = 0;         ///< how often the application came forward in spite of others
  bool listsNameless = false;  ///< the workspace also lists an application without a path
  bool listsNothing = false;   ///< the workspace has no list at all

  /// Autorelease pools that were opened and not drained.
  std::size_t OpenPools() const;
};

}  // namespace quillet::macos_tests
