#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

typedef struct _GAppInfo GAppInfo;

namespace quillet::platform::linux_desktop {

/// What the path of an application names: an executable file, or a desktop entry (freedesktop.org),
/// which GIO reads and starts. One thread at a time.
class ApplicationFile {
 public:
  /// @return nothing when there is no such file, or it cannot be started.
  static std::optional<ApplicationFile> At(const std::string& path);

  /// The words of the command that starts it, without what stands for files to open.
  const std::vector<std::string>& command() const { return command_; }

  /// What its windows may give as their class, in lower case: the class that a desktop entry names
  /// and the file's own name, of an entry without its ending.
  const std::vector<std::string>& windowClasses() const { return windowClasses_; }

  /// Starts it.
  /// @param started  told the process's number, unless another process (the session's D-Bus) does
  ///                 the starting
  /// @return false when the system refuses.
  bool Start(const std::function<void(int pid)>& started) const;

 private:
  ApplicationFile() = default;

  std::shared_ptr<GAppInfo> info_;
  std::vector<std::string> command_;
  std::vector<std::string> windowClasses_;
};

}  // namespace quillet::platform::linux_desktop
