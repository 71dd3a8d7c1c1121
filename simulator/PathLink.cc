#include "simulator/PathLink.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace quillet::simulator {

namespace fs = std::filesystem;

void PathLink::PointTo(const std::string& target) {
  if (path_.empty()) return;
  const fs::file_status status = fs::symlink_status(path_);
  if (fs::exists(status) && !fs::is_symlink(status)) {
    throw std::system_error(std::make_error_code(std::errc::file_exists),
                            path_ + " is not a symbolic link");
  }
  // A link cannot be changed, but one can be renamed over another.
  const std::string fresh = path_ + ".new." + std::to_string(getpid());
  std::error_code ignored;
  fs::remove(fresh, ignored);
  fs::create_symlink(target, fresh);
  std::error_code error;
  fs::rename(fresh, path_, error);
  if (error) {
    fs::remove(fresh, ignored);
    throw std::system_error(error, path_);
  }
  target_ = target;
}

void PathLink::Remove() {
  if (target_.empty()) return;
  std::error_code error;
  if (fs::read_symlink(path_, error) == target_ && !error) fs::remove(path_, error);
  target_.clear();
}

}  // namespace quillet::simulator
