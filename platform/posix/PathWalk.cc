#include "platform/posix/PathWalk.h"

#include <fcntl.h>
#include <grp.h>
#include <limits.h>
#include <pwd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "base/Retry.h"
#include "platform/FileStore.h"

namespace quillet::platform::posix {
namespace {

constexpr int kMostLinks = 40;  // the kernel's limit (path_resolution(7))

// Owner of root's files in a container that does not map root (user_namespaces(7)), and on some
// network file systems.
constexpr uid_t kUnmapped = 65534;

// Opens a folder without requiring read permission.
#ifdef O_PATH
constexpr int kSearch = O_PATH;
#else
constexpr int kSearch = O_SEARCH;
#endif

UniqueFd OpenAt(int folder, const std::string& name, int flags) {
  return UniqueFd(
      RetryOnSignal([&] { return openat(folder, name.c_str(), flags | O_NOFOLLOW | O_CLOEXEC); }));
}

struct User {
  std::string name;
  gid_t group = 0;
};

// Calls getpwuid_r(3) or getgrgid_r(3) with a buffer that is large enough. Calls `use` with the
// entry, or with null if the system has no such entry. Returns false after an error.
template <class Id, class Entry, class Use>
bool LookUp(int (*function)(Id, Entry*, char*, std::size_t, Entry**), Id id, Use&& use) {
  constexpr std::size_t kLargest = 1 << 20;
  for (std::vector<char> buffer(4096);; buffer.resize(2 * buffer.size())) {
    Entry entry{};
    Entry* found = nullptr;
    const int error = function(id, &entry, buffer.data(), buffer.size(), &found);
    if (error == ERANGE && buffer.size() < kLargest) continue;
    if (error == 0) use(found);
    return error == 0;
  }
}

// Returns false after an error. If the user has no passwd entry, as in some containers,
// `user` remains empty.
bool FindUser(uid_t id, std::optional<User>& user) {
  return LookUp(getpwuid_r, id, [&](const struct passwd* entry) {
    if (entry != nullptr) user = User{entry->pw_name, entry->pw_gid};
  });
}

bool IsOnlyMember(const User& user, const struct group& entry) {
  char** member = entry.gr_mem;
  while (*member != nullptr && user.name == *member) ++member;
  return *member == nullptr;
}

// Returns true if `id` is this user's primary group, has the same name as the user, and lists no
// other member. A group's member list omits users who have it as their primary group, so the names
// must match too. If the user has no name, the group must have no name.
bool IsOwnGroup(gid_t id) {
  std::optional<User> user;
  if (!FindUser(geteuid(), user) || id != (user ? user->group : getegid())) return false;
  bool isOwn = false;
  LookUp(getgrgid_r, id, [&](const struct group* entry) {
    const bool hasName = entry != nullptr;
    isOwn = user && hasName ? user->name == entry->gr_name && IsOnlyMember(*user, *entry)
                            : !user && !hasName;
  });
  return isOwn;
}

// Sets the folder of `place`. After an error, the folder is not open and errno describes the error.
void MoveTo(Place& place, UniqueFd folder) {
  if (folder.IsOpen() && fstat(folder.Get(), &place.status) != 0) folder.Close();
  place.folder = std::move(folder);
}

// Returns the target of a link that may be followed. Otherwise, sets errno and returns no value.
std::optional<std::string> LinkTarget(const Place& place, const std::string& name) {
  struct stat status {};
  std::array<char, PATH_MAX> target{};
#ifdef O_PATH
  // Uses one descriptor, so that the owner and the target belong to the same link.
  const UniqueFd link = OpenAt(place.folder.Get(), name, O_PATH);
  if (!link.IsOpen() || fstat(link.Get(), &status) != 0) return std::nullopt;
  const auto read = [&] { return readlinkat(link.Get(), "", target.data(), target.size()); };
#else
  if (fstatat(place.folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return std::nullopt;
  }
  const auto read = [&] {
    return readlinkat(place.folder.Get(), name.c_str(), target.data(), target.size());
  };
#endif
  const bool isPlacedByOwner = IsOwn(place.status) && !OthersMayWrite(place.status);
  const bool isLink = S_ISLNK(status.st_mode);
  errno = isLink ? ELOOP : ENOTDIR;
  if (!isLink || place.links == kMostLinks || !(IsOwn(status) || isPlacedByOwner)) {
    return std::nullopt;
  }
  const ssize_t length = read();
  if (length < 0) return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(length));
}

// Moves `place` to its subfolder `name`. If `name` is a symbolic link, prepends its target to
// `rest`.
void Enter(Place& place, const std::string& name, std::string& rest) {
  // The owner of a folder may rename its entries, even if the folder has the sticky bit. Without
  // this bit, all users who may write to the folder may also rename its entries.
  const struct stat& status = place.status;
  const bool othersMayRename = OthersMayWrite(status) && !(status.st_mode & S_ISVTX);
  if (othersMayRename || (!IsOwn(status) && status.st_uid != kUnmapped)) place.isExposed = true;
  UniqueFd folder = OpenAt(place.folder.Get(), name, kSearch | O_DIRECTORY);
  if (folder.IsOpen() || (errno != ELOOP && errno != ENOTDIR)) {
    return MoveTo(place, std::move(folder));
  }
  const auto target = LinkTarget(place, name);
  if (!target) {
    const int error = errno;
    place.folder.Close();
    errno = error;
    return;
  }
  ++place.links;
  rest = *target + "/" + rest;
}

// Opens the folders in `path` one after the other, starting at the place's folder.
void Walk(Place& place, std::string path) {
  while (place.folder.IsOpen()) {
    if (path.starts_with('/')) {
      MoveTo(place, OpenAt(AT_FDCWD, "/", kSearch | O_DIRECTORY));
      path.erase(0, path.find_first_not_of('/'));
    }
    const std::size_t slash = path.find('/');
    if (slash == std::string::npos) break;
    const std::string name = path.substr(0, slash);
    path.erase(0, path.find_first_not_of('/', slash));
    Enter(place, name, path);
  }
  place.name = std::move(path);
  if (!place.folder.IsOpen()) return;
  // fsync(2) and fchmod(2) need a folder that was opened for reading.
  UniqueFd readable = OpenAt(place.folder.Get(), ".", O_RDONLY | O_DIRECTORY);
  if (readable.IsOpen() || errno != EACCES) place.folder = std::move(readable);
}

}  // namespace

Place OpenPlace(const std::string& path) {
  Place place;
  errno = ENOENT;
  if (!path.starts_with('/')) return place;
  MoveTo(place, OpenAt(AT_FDCWD, "/", kSearch | O_DIRECTORY));
  Walk(place, path);
  return place;
}

Place FollowLink(const Place& place) {
  Place target;
  target.isExposed = place.isExposed;
  target.links = place.links + 1;
  const auto path = LinkTarget(place, place.name);
  if (!path) return target;
  MoveTo(target, OpenAt(place.folder.Get(), ".", kSearch | O_DIRECTORY));
  Walk(target, *path);
  return target;
}

UniqueFd OpenRegular(const Place& place, struct stat& status) {
  UniqueFd file = OpenAt(place.folder.Get(), place.name, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!file.IsOpen()) {
    if (errno == ENXIO || errno == EOPNOTSUPP) errno = kNotRegular;  // socket: see open(2)
    return file;
  }
  if (fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode)) return file;
  errno = S_ISDIR(status.st_mode) ? EISDIR : kNotRegular;
  return {};
}

UniqueFd OpenLinkedRegular(const Place& place, struct stat& status) {
  UniqueFd file = OpenRegular(place, status);
  if (file.IsOpen() || errno != ELOOP) return file;
  const Place target = FollowLink(place);
  return target.folder.IsOpen() ? OpenLinkedRegular(target, status) : UniqueFd();
}

bool IsOwn(const struct stat& status) {
  return status.st_uid == 0 || status.st_uid == geteuid();
}

bool OthersMayWrite(const struct stat& status) {
  if (status.st_mode & S_IWOTH) return true;
  return (status.st_mode & S_IWGRP) && status.st_gid != 0 && !IsOwnGroup(status.st_gid);
}

std::string UserName(uid_t user) {
  std::optional<User> found;
  FindUser(user, found);
  return found ? found->name : std::string();
}

}  // namespace quillet::platform::posix
