#pragma once

#include <string>

namespace quillet::simulator {

/// A symbolic link at a fixed path that leads to wherever the line stands at the moment.
class PathLink {
 public:
  /// `path` "": there is no link, and nothing is ever done.
  explicit PathLink(std::string path) : path_(std::move(path)) {}
  /// Removes the link.
  ~PathLink() { Remove(); }
  PathLink(const PathLink&) = delete;
  PathLink& operator=(const PathLink&) = delete;

  const std::string& path() const { return path_; }

  /// Makes the link lead to `target`; another link that stands there is replaced in one step.
  /// Throws std::system_error when it cannot be made, also when something else than a link stands
  /// there.
  void PointTo(const std::string& target);

  /// Removes the link if it is still the one that PointTo() made.
  void Remove();

 private:
  std::string path_;
  std::string target_;
};

}  // namespace quillet::simulator
