#include "platform/linux/LayoutNote.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "base/UniqueFd.h"
#include "platform/linux/ActiveLayout.h"

namespace quillet::platform::linux_desktop {

void LayoutNote::Write(std::uint32_t selected, std::uint32_t previous) const {
  if (path_.empty()) return;
  mkdir(path_.substr(0, path_.rfind('/')).c_str(), 0700);
  const UniqueFd file(
      open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
  const std::string text = std::to_string(selected) + " " + std::to_string(previous) + "\n";
  // If this fails, the layout is not restored after the program is killed.
  if (!file.IsOpen() || write(file.Get(), text.data(), text.size()) < 0) return;
}

void LayoutNote::Remove() const {
  if (!path_.empty()) unlink(path_.c_str());
}

void LayoutNote::Undo() const {
  std::ifstream file(path_);
  if (path_.empty() || !file.is_open()) return;
  std::uint32_t selected = 0, previous = 0;
  if (file >> selected >> previous) {
    ActiveLayout layouts;
    const UserLayouts now = layouts.Read();
    if (!now.active || (*now.active == selected && !layouts.Select(previous))) return;
  }
  Remove();
}

}  // namespace quillet::platform::linux_desktop
