#include "platform/posix/PosixFileStore.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
#include <system_error>

#include "base/Retry.h"
#include "base/UniqueFd.h"
#include "base/Utf8.h"
#include "platform/posix/FileWrites.h"
#include "platform/posix/PathWalk.h"
#include "platform/posix/PosixGrowingFile.h"

namespace quillet::platform::posix {
namespace {

constexpr mode_t kModeBits = 07777;
constexpr mode_t kPermissionBits = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr std::string_view kTemporaryMark = ".quillet-";
constexpr std::string_view kTemporaryLetters = "abcdefghijklmnopqrstuvwxyz234567";
constexpr std::size_t kTemporaryLength = 12;
constexpr int kTemporaryAttempts = 100;
// Only the user may change new files and folders, even if the umask is 0.
constexpr mode_t kDefaultFileMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
constexpr mode_t kPrivateFileMode = S_IRUSR | S_IWUSR;
constexpr mode_t kDefaultFolderMode = S_IRWXU | S_IRGRP | S_IXGRP | S_IROTH | S_IXOTH;

// Returns ".NAME.quillet-" followed by random letters, or an empty string on error. NAME is the
// target's name, shortened if necessary.
std::string TemporaryName(int folder, std::string_view target) {
  constexpr long kUsualLimit = 255;
  std::array<unsigned char, kTemporaryLength> random{};
  if (getentropy(random.data(), random.size()) != 0) return {};
  const long stated = fpathconf(folder, _PC_NAME_MAX);
  const auto limit = static_cast<std::size_t>(stated < 0 ? kUsualLimit : stated);
  const std::size_t added = 1 + kTemporaryMark.size() + random.size();
  std::string name(".");
  name.append(Utf8Prefix(target, limit - std::min(limit, added))).append(kTemporaryMark);
  for (const unsigned char byte : random)
    name += kTemporaryLetters[byte % kTemporaryLetters.size()];
  return name;
}

bool IsTemporaryName(std::string_view name) {
  constexpr std::size_t kAdded = kTemporaryMark.size() + kTemporaryLength;
  if (!name.starts_with('.') || name.size() < 2 + kAdded) return false;
  const std::string_view ending = name.substr(name.size() - kAdded);
  return ending.starts_with(kTemporaryMark) &&
         ending.find_first_not_of(kTemporaryLetters, kTemporaryMark.size()) ==
             std::string_view::npos;
}

// Locks a temporary file, so that no other process treats it as abandoned and deletes it.
// @return false if another process deleted the file before it was locked
bool LockTemporary(int folder, const std::string& name, int file) {
  // If the file system does not support locks, other processes cannot lock the file either. They
  // delete only files that they can lock.
  if (flock(file, LOCK_EX | LOCK_NB) != 0) return errno != EWOULDBLOCK;
  struct stat status {};
  return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

struct Temporary {
  std::string name;
  UniqueFd file;
};

// Creates a locked file. On error, the result has no open file.
Temporary CreateTemporary(int folder, std::string_view target, mode_t mode) {
  for (int attempt = 0; attempt < kTemporaryAttempts; ++attempt) {
    std::string name = TemporaryName(folder, target);
    // O_EXCL also rejects symbolic links (open(3p)).
    UniqueFd file(RetryOnSignal([&] {
      return openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    }));
    if (!file.IsOpen()) break;
    if (LockTemporary(folder, name, file.Get())) return {std::move(name), std::move(file)};
  }
  return {};
}

// Deletes a file if it is a regular file of this user and no process has locked it.
bool RemoveUnlocked(int folder, const std::string& name) {
  const auto openWith = [&](int access) {
    return RetryOnSignal([&] {
      return openat(folder, name.c_str(), access | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    });
  };
  struct stat status {};
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      !S_ISREG(status.st_mode) || status.st_uid != geteuid()) {
    return false;
  }
  // A network file system locks only files that are open for writing (flock(2)).
  int opened = openWith(O_RDWR);
  if (opened < 0 && errno == EACCES) opened = openWith(O_RDONLY);
  const UniqueFd file(opened);
  return file.IsOpen() && flock(file.Get(), LOCK_EX | LOCK_NB) == 0 &&
         unlinkat(folder, name.c_str(), 0) == 0;
}

// Returns no names if the folder cannot be read.
std::vector<std::string> NamesIn(const Place& place) {
  std::vector<std::string> names;
  const int copy = fcntl(place.folder.Get(), F_DUPFD_CLOEXEC, 0);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(fdopendir(copy), closedir);
  if (!stream && copy >= 0) close(copy);
  while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
    names.emplace_back(entry->d_name);
  }
  return names;
}

// Copies the group and permissions of the file to be replaced. Drops the group permissions if the
// group cannot be set, and world write permission if the old file has another owner. Errors are
// ignored, because some file systems (FUSE, CIFS) have no groups or permissions.
void CopyPermissions(int file, const struct stat& old) {
  mode_t mode = old.st_mode & kPermissionBits;
  struct stat own {};
  if (fstat(file, &own) != 0) return;
  if (own.st_gid != old.st_gid && fchown(file, own.st_uid, old.st_gid) != 0) {
    mode &= ~static_cast<mode_t>(S_IRWXG);
  }
  if (own.st_uid != old.st_uid) mode &= ~static_cast<mode_t>(S_IWOTH);
  static_cast<void>(fchmod(file, mode));
}

// Returns the result of an operation that has just failed and set errno.
Replaced Failure() {
  return {.error = errno != 0 ? errno : EIO};
}

// Gives a complete temporary file its final name, unless the name is in use. The temporary name may
// remain.
FileStore::Created Publish(int folder, const std::string& temporary, const std::string& name) {
  using Created = FileStore::Created;
  if (linkat(folder, temporary.c_str(), folder, name.c_str(), 0) == 0) return Created::kYes;
  if (errno == EEXIST) return Created::kExists;
  // Without hard links, for example on FAT file systems, an empty file reserves the name.
  const UniqueFd reserved(RetryOnSignal([&] {
    return openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kDefaultFileMode);
  }));
  if (!reserved.IsOpen()) return errno == EEXIST ? Created::kExists : Created::kFailed;
  if (renameat(folder, temporary.c_str(), folder, name.c_str()) == 0) return Created::kYes;
  unlinkat(folder, name.c_str(), 0);
  return Created::kFailed;
}

// Reads an open file. Returns std::nullopt on error or if out of memory.
std::optional<std::string> ReadOpen(int file, const struct stat& status, std::size_t limit) try {
  // One extra byte leaves room for the read that detects the end of the file.
  const std::size_t expected = static_cast<std::size_t>(status.st_size) + 1;
  constexpr std::size_t kLeastStep = 4096;
  std::string contents;
  std::size_t used = 0;
  while (used < limit) {
    if (used == contents.size()) {
      contents.resize(std::min(limit, std::max({expected, kLeastStep, 2 * used})));
    }
    const ssize_t got =
        RetryOnSignal([&] { return read(file, contents.data() + used, contents.size() - used); });
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    used += static_cast<std::size_t>(got);
  }
  contents.resize(used);
  return contents;
} catch (const std::exception&) {
  return std::nullopt;  // not enough memory
}

// Returns true if a folder is meant to be shared. This includes folders owned by root, because an
// administrator may have given a group permission to write to them.
bool IsShared(const struct stat& folder) {
  constexpr mode_t kSharedByAll = S_ISVTX | S_IWOTH;
  return folder.st_uid == 0 || (folder.st_mode & kSharedByAll) == kSharedByAll;
}

// Removes other users' permission to write to this user's folder, unless the folder is shared. If
// all users could write to the folder, another user may have created files in it. In this case,
// place.status keeps the old permissions, so that Judge does not trust files in the folder.
void Tighten(Place& place) {
  constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
  const mode_t mode = place.status.st_mode & kModeBits;
  if (place.status.st_uid != geteuid() || !(mode & kOthersWrite) || IsShared(place.status)) return;
  static_cast<void>(fchmod(place.folder.Get(), mode & ~kOthersWrite));
  if (!(mode & S_IWOTH)) static_cast<void>(fstat(place.folder.Get(), &place.status));
}

// Determines who could have written a file in a folder.
Checked Judge(const Place& place, const struct stat& file) {
  Checked checked{.custody = Custody::kForeign, .ownFile = IsOwn(file)};
  for (const struct stat& each : {file, place.status}) {
    if (!IsOwn(each)) checked.owner = UserName(each.st_uid);
    if (!IsOwn(each) || OthersMayWrite(each)) return checked;
  }
  if (!place.isExposed) checked.custody = Custody::kTrusted;
  return checked;
}

// The file to be replaced.
struct Existing {
  bool exists = false;
  bool isLink = false;
  bool isRegular = false;  // after following links as OpenPlace does
  struct stat status = {};
};

Existing FindExisting(const Place& place) {
  Existing old;
  old.exists =
      fstatat(place.folder.Get(), place.name.c_str(), &old.status, AT_SYMLINK_NOFOLLOW) == 0;
  old.isLink = old.exists && S_ISLNK(old.status.st_mode);
  old.isRegular = old.exists && S_ISREG(old.status.st_mode);
  if (!old.isLink) return old;
  const Place target = FollowLink(place);
  if (target.folder.IsOpen()) old = FindExisting(target);
  old.exists = old.isLink = true;
  return old;
}

// Writes a temporary file and renames it.
// @param mode  mode of the temporary file; the kernel applies the umask
// @param old   status of the file whose permissions are copied, or null
Replaced Write(const Place& place, mode_t mode, const struct stat* old, std::string_view contents) {
  if (place.name.empty()) return {.error = EISDIR};
  const int folder = place.folder.Get();
  Temporary temporary = CreateTemporary(folder, place.name, mode);
  UniqueFd& file = temporary.file;
  if (!file.IsOpen()) return Failure();
  // Keeps the file locked until it is renamed. `file` is closed earlier, so that the result of
  // close(2) can be checked.
  const UniqueFd lock(fcntl(file.Get(), F_DUPFD_CLOEXEC, 0));
  if (old != nullptr) CopyPermissions(file.Get(), *old);
  if (!WriteAll(file.Get(), contents) || !SynchronizeFile(file.Get()) || !file.Close() ||
      renameat(folder, temporary.name.c_str(), folder, place.name.c_str()) != 0) {
    const Replaced failure = Failure();
    unlinkat(folder, temporary.name.c_str(), 0);
    return failure;
  }
  if (SynchronizeFile(folder)) return {.synchronized = true};
  // fsync(2): EBADF means that the folder was opened without read permission, EINVAL that the file
  // system cannot flush folders.
  if (errno == EBADF || errno == EINVAL) return {};
  return Failure();
}

// Replaces a file. The replacement of a private file must never be readable by others, not even
// temporarily.
Replaced Write(const Place& place, const Existing& old, std::string_view contents) {
  const mode_t mode = old.isRegular || old.isLink ? kPrivateFileMode : kDefaultFileMode;
  return Write(place, mode, old.isRegular ? &old.status : nullptr, contents);
}

bool IsFolder(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

// Creates a folder and its parents. Returns true if the folder exists afterwards.
bool CreateFolders(const std::string& path, mode_t mode) {
  if (IsFolder(path)) return true;
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash + 1 == path.size()) return false;
  if (slash != 0 && !CreateFolders(path.substr(0, slash), mode)) return false;
  // Another process may create the folder at the same time.
  return mkdir(path.c_str(), mode) == 0 || IsFolder(path);
}

}  // namespace

bool PosixFileStore::CreateFolder(const std::string& path) {
  return CreateFolders(path, kDefaultFolderMode);
}

std::optional<std::string> PosixFileStore::Read(const std::string& path, std::size_t limit) {
  const Place place = OpenPlace(path);
  struct stat status {};
  if (!place.folder.IsOpen()) return std::nullopt;
  const UniqueFd file = OpenLinkedRegular(place, status);
  if (!file.IsOpen()) return std::nullopt;
  return ReadOpen(file.Get(), status, limit);
}

Checked PosixFileStore::ReadChecked(const std::string& path, std::size_t limit) {
  Place place = OpenPlace(path);
  if (!place.folder.IsOpen()) return {.error = errno};
  Tighten(place);
  struct stat status {};
  const UniqueFd file = OpenRegular(place, status);
  if (!file.IsOpen()) return {.error = errno};
  Checked checked = Judge(place, status);
  checked.contents = ReadOpen(file.Get(), status, limit);
  if (!checked.contents) checked.error = EIO;
  return checked;
}

Replaced PosixFileStore::Replace(const std::string& path, std::string_view contents) {
  const Place place = OpenPlace(path);
  if (!place.folder.IsOpen()) return Failure();
  return Write(place, FindExisting(place), contents);
}

Replaced PosixFileStore::ReplaceChecked(const std::string& path, std::string_view contents) {
  const Place place = OpenPlace(path);
  if (!place.folder.IsOpen()) return Failure();
  const Existing old = FindExisting(place);
  if (old.isLink) return {.error = ELOOP};
  if (old.exists && !old.isRegular) {
    return {.error = S_ISDIR(old.status.st_mode) ? EISDIR : kNotRegular};
  }
  return Write(place, old, contents);
}

Replaced PosixFileStore::Update(const std::string& path, const Change& change) try {
  const Place place = OpenPlace(path);
  if (!place.folder.IsOpen()) return Failure();
  Existing old;
  const UniqueFd file = OpenLinkedRegular(place, old.status);
  if (!file.IsOpen()) {
    if (errno != ENOENT) return Failure();
    return Write(place, FindExisting(place), change({}));
  }
  old.exists = old.isRegular = true;
  const auto contents = ReadOpen(file.Get(), old.status, std::numeric_limits<std::size_t>::max());
  if (!contents) return {.error = EIO};
  return Write(place, old, change(*contents));
} catch (const std::bad_alloc&) {
  return {.error = ENOMEM};
}

bool PosixFileStore::SynchronizeEntries(const std::string& path, std::chrono::milliseconds limit) {
  return RunWithLimit(limit, [path] { return posix::SynchronizeEntries(path); });
}

FileStore::Created PosixFileStore::CreateNew(const std::string& path, std::string_view contents) {
  if (Exists(path)) return Created::kExists;
  const Place place = OpenPlace(path);
  if (!place.folder.IsOpen() || place.name.empty()) return Created::kFailed;
  const int folder = place.folder.Get();
  Temporary temporary = CreateTemporary(folder, place.name, kDefaultFileMode);
  UniqueFd& file = temporary.file;
  if (!file.IsOpen()) return Created::kFailed;
  const UniqueFd lock(fcntl(file.Get(), F_DUPFD_CLOEXEC, 0));  // see Write
  const bool written =
      WriteAll(file.Get(), contents) && SynchronizeFile(file.Get()) && file.Close();
  Created created = written ? Publish(folder, temporary.name, place.name) : Created::kFailed;
  unlinkat(folder, temporary.name.c_str(), 0);
  if (created == Created::kYes && !SynchronizeFile(folder) && errno != EBADF && errno != EINVAL) {
    created = Created::kFailed;
  }
  return created;
}

bool PosixFileStore::CreatePrivateFolder(const std::string& path) {
  return CreateFolders(path, S_IRWXU);
}

std::shared_ptr<GrowingFile> PosixFileStore::OpenGrowing(const std::string& path, bool fresh) {
  return PosixGrowingFile::Open(path, fresh);
}

Replaced PosixFileStore::ReplacePrivate(const std::string& path, std::string_view contents) {
  const Place place = OpenPlace(path);
  if (!place.folder.IsOpen()) return Failure();
  return Write(place, kPrivateFileMode, nullptr, contents);
}

bool PosixFileStore::MayReplace(const std::string& path) {
  const Place place = OpenPlace(path);
  return place.folder.IsOpen() && faccessat(place.folder.Get(), ".", W_OK | X_OK, AT_EACCESS) == 0;
}

std::vector<FileStore::Entry> PosixFileStore::List(const std::string& folder) {
  std::vector<Entry> entries;
  std::error_code error;
  for (std::filesystem::directory_iterator item(folder, error), end; !error && item != end;
       item.increment(error)) {
    std::error_code missing;  // another process may delete the file
    const auto status = item->symlink_status(missing);
    const auto bytes = item->file_size(missing);
    if (!missing && std::filesystem::is_regular_file(status)) {
      entries.push_back({item->path().filename().string(), bytes});
    }
  }
  std::ranges::sort(entries, {}, &Entry::name);
  return entries;
}

bool PosixFileStore::Exists(const std::string& path) {
  struct stat found {};
  return lstat(path.c_str(), &found) == 0;
}

bool PosixFileStore::Remove(const std::string& path) {
  return unlink(path.c_str()) == 0;
}

std::size_t PosixFileStore::RemoveUnfinished(const std::string& folder) {
  const Place place = OpenPlace(folder + "/");
  std::size_t removed = 0;
  for (const std::string& name : NamesIn(place)) {
    if (IsTemporaryName(name) && RemoveUnlocked(place.folder.Get(), name)) ++removed;
  }
  return removed;
}

bool PosixFileStore::IsSameFile(const std::string& path, const std::string& other) {
  struct stat one {};
  struct stat two {};
  if (stat(path.c_str(), &one) == 0 && stat(other.c_str(), &two) == 0) {
    return one.st_dev == two.st_dev && one.st_ino == two.st_ino;
  }
  std::error_code error;
  const auto resolved = std::filesystem::weakly_canonical(path, error);
  return !error && resolved == std::filesystem::weakly_canonical(other, error) && !error;
}

std::string PosixFileStore::Owner(const std::string& path) {
  struct stat found {};
  const bool exists = lstat(path.c_str(), &found) == 0;
  if ((!exists || found.st_uid == geteuid()) &&
      stat(path.substr(0, path.rfind('/') + 1).c_str(), &found) != 0) {
    return {};
  }
  return UserName(found.st_uid);
}

}  // namespace quillet::platform::posix
