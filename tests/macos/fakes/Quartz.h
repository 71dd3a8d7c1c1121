#pragma once

#include <cstdint>
#include <vector>

namespace quillet::macos_tests {

/// A keyboard event as it was posted.
struct PostedKey {
  int tap = -1;
  std::uint16_t key = 0;
  bool down = false;
  std::uint64_t flags = 0;
  bool flagsWereSet = false;
  int sourceState = -1;  ///< -1 for an event without a source

  bool operator==(const PostedKey&) const = default;
};

/// Quartz event services, which keep what is posted. Calls() names everything in order.
class Quartz {
 public:
  static Quartz& Shared();
  void Reset();

  std::vector<PostedKey> posted;
  bool hasSources = true;
  bool hasEvents = true;
  bool mayPost = true;
  int requests = 0;  ///< how often the user was asked for permission
};

}  // namespace quillet::macos_tests
