#include "platform/linux/PortInspection.h"

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include "base/UniqueFd.h"

namespace quillet::platform::linux_desktop {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestSearch{300};

/// Calls `visit` with the name of each entry until a call returns true.
template <class Visit>
bool AnyEntry(const std::string& folder, Visit visit) {
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(folder.c_str()), closedir);
  if (!listing) return false;
  while (const dirent* entry = readdir(listing.get())) {
    if (entry->d_name[0] != '.' && visit(std::string(entry->d_name))) return true;
  }
  return false;
}

std::string NameOf(const std::string& process) {
  std::string name;
  std::getline(std::ifstream("/proc/" + process + "/comm"), name);
  return name;
}

/// Returns the ID of another process of the current user that has the device open, or an empty
/// string if there is none.
std::string UserOf(const struct stat& device) {
  const auto end = steady_clock::now() + kLongestSearch;
  std::string found;
  AnyEntry("/proc", [&](const std::string& process) {
    if (steady_clock::now() > end) return true;
    if (std::atoi(process.c_str()) == 0 || process == std::to_string(getpid())) return false;
    const std::string descriptors = "/proc/" + process + "/fd";
    const bool uses = AnyEntry(descriptors, [&](const std::string& descriptor) {
      struct stat status {};
      return stat((descriptors + "/" + descriptor).c_str(), &status) == 0 &&
             S_ISCHR(status.st_mode) && status.st_rdev == device.st_rdev;
    });
    if (uses) found = process;
    return uses;
  });
  return found;
}

/// Returns the ID of the process that holds a lock on the file, or an empty string if there is
/// none.
std::string HolderOf(const struct stat& file) {
  std::ifstream locks("/proc/locks");
  std::string line;
  while (std::getline(locks, line)) {
    // "1: FLOCK  ADVISORY  WRITE 1234 00:05:1037 0 EOF" (proc(5)): process, device, inode.
    long process = 0;
    unsigned major = 0;
    unsigned minor = 0;
    unsigned long inode = 0;
    if (std::sscanf(line.c_str(), "%*s FLOCK %*s WRITE %ld %x:%x:%lu", &process, &major, &minor,
                    &inode) == 4 &&
        process > 0 && makedev(major, minor) == file.st_dev && inode == file.st_ino) {
      return std::to_string(process);
    }
  }
  return {};
}

/// Returns true if the user database lists the current user in the group.
bool IsMember(gid_t group) {
  const passwd* const user = getpwuid(getuid());
  if (user == nullptr) return false;
  std::array<gid_t, 256> groups{};
  int count = static_cast<int>(groups.size());
  if (getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0) return false;
  return std::find(groups.begin(), groups.begin() + count, group) != groups.begin() + count;
}

PortObstacle MissingPermission(const struct stat& device) {
  PortObstacle obstacle{.kind = PortObstacle::Kind::kPermission};
  constexpr mode_t kUse = S_IRGRP | S_IWGRP;
  const struct group* const group = getgrgid(device.st_gid);
  if ((device.st_mode & kUse) != kUse || device.st_gid == 0 || group == nullptr) return obstacle;
  obstacle.group = group->gr_name;
  obstacle.joined = IsMember(device.st_gid);
  return obstacle;
}

}  // namespace

PortObstacle InspectPort(const std::string& path) {
  struct stat device {};
  if (stat(path.c_str(), &device) != 0) return {};
  const UniqueFd port(open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!port.IsOpen() && errno == EACCES) return MissingPermission(device);
  // The device rules of a container, for example, can forbid opening the port.
  if (!port.IsOpen() && errno == EPERM) return {.kind = PortObstacle::Kind::kForbidden};
  const bool busy = port.IsOpen() ? flock(port.Get(), LOCK_SH | LOCK_NB) != 0 : errno == EBUSY;
  if (!busy) return {};
  const std::string holder = HolderOf(device);
  const std::string process = holder.empty() ? UserOf(device) : holder;
  return {.kind = PortObstacle::Kind::kBusy,
          .program = process.empty() ? process : NameOf(process)};
}

}  // namespace quillet::platform::linux_desktop
