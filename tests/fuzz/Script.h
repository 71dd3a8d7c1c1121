#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quillet::fuzz {

/// The commands that a script of the receive path can wait for, each by its place here.
inline constexpr std::string_view kCommands = "012ACEMNPVWbpqw";

// A script is a row of steps. The two low bits of a step's first byte tell what it is, the others
// are its argument.
enum class Step : std::uint8_t {
  kAwait = 0,     ///< a command has been sent; the argument is its place in kCommands
  kFeed = 1,      ///< as many bytes as the argument says arrive; they follow
  kFeedMuch = 2,  ///< the same in units of kMuch bytes
  kGiveUp = 3,    ///< the command has been waited for long enough
};

inline constexpr unsigned kSteps = 4;
inline constexpr std::size_t kMuch = 256;

/// Writes a script.
class Script {
 public:
  explicit Script(std::string_view settings) : text_(settings) {}

  Script& Answer(char command, std::string_view bytes) {
    Put(Step::kAwait, kCommands.find(command));
    return Feed(bytes);
  }

  Script& Feed(std::string_view bytes) {
    constexpr std::size_t kMost = 0xFF / kSteps;
    for (; bytes.size() > kMost; bytes.remove_prefix(kMost)) {
      Put(Step::kFeed, kMost);
      text_ += bytes.substr(0, kMost);
    }
    Put(Step::kFeed, bytes.size());
    text_ += bytes;
    return *this;
  }

  const std::string& Text() const { return text_; }

 private:
  void Put(Step step, std::size_t argument) {
    text_ += static_cast<char>(argument * kSteps + static_cast<std::size_t>(step));
  }

  std::string text_;
};

}  // namespace quillet::fuzz
