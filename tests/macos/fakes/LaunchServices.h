#pragma once

#include <set>
#include <string>
#include <vector>

namespace quillet::macos_tests {

/// The File Manager's references and Launch Services. What is opened runs, as the workspace sees
/// it.
class LaunchServices {
 public:
  static LaunchServices& Shared();
  void Reset();

  std::set<std::string> installed;   ///< paths that there is something at
  std::vector<std::string> opened;   ///< every call that succeeded
  std::vector<std::string> running;  ///< in the order of the workspace's list
  bool opens = true;
};

}  // namespace quillet::macos_tests
