#include "platform/posix/PosixFileStore.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>

#include "base/Retry.h"
#include "base/UniqueFd.h"
#include "base/Utf8.h"

namespace quillet::platform::posix {

namespace {

constexpr std::string_view kTemporaryMark = ".quillet-";
constexpr std::size_t kRandomLetters = 12;
/// What the temporary name has beside the target's name, the leading dot included.
constexpr std::size_t kTemporaryExtra = 1 + kTemporaryMark.size() + kRandomLetters;
/// Names to try before giving up; with 60 random bits the second is never needed.
constexpr int kNamesToTry = 16;
constexpr mode_t kPermissionBits = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t kDefaultFileMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

/// A folder that is looked up once, so that everything done in it meets the same folder even when
/// its path leads elsewhere in the meantime.
int OpenFolder(const std::string& path) {
  const auto openWith = [&](int access) {
    return RetryOnSignal([&] { return open(path.c_str(), access | O_DIRECTORY | O_CLOEXEC); });
  };
  const int folder = openWith(O_RDONLY);
  if (folder >= 0 || errno != EACCES) return folder;
    // Files can be made in a folder that may be written and not listed.
#ifdef O_PATH
  return openWith(O_PATH);
#else
  return openWith(O_SEARCH);
#endif
}

std::string RandomLetters() {
  constexpr std::string_view kAlphabet = "abcdefghijklmnopqrstuvwxyz234567";
  std::array<unsigned char, kRandomLetters> random{};
  if (getentropy(random.data(), random.size()) != 0) return {};
  std::string letters;
  for (const unsigned char byte : random) letters += kAlphabet[byte % kAlphabet.size()];
  return letters;
}

/// How many bytes of the target's name the temporary name has room for.
std::size_t RoomForTargetName(int folder) {
  constexpr long kUsualLimit = 255;
  const long stated = fpathconf(folder, _PC_NAME_MAX);
  const auto limit = static_cast<std::size_t>(stated < 0 ? kUsualLimit : stated);
  return limit - std::min(limit, kTemporaryExtra);
}

/// A file beside the one to be replaced. It is removed unless it was renamed.
class TemporaryFile {
 public:
  /// @param folder  descriptor of the folder, which outlives this object
  /// @param target  name of the file to be replaced
  TemporaryFile(int folder, const std::string& target, mode_t mode)
      : folder_(folder), file_(Create(target, mode)) {}

  ~TemporaryFile() {
    if (present_) unlinkat(folder_, name_.c_str(), 0);
  }

  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  bool Exists() const { return file_.IsOpen(); }

  /// Takes over the group and the permissions of the file that is to be replaced. Those of the
  /// group are for that group alone, and somebody else's file does not decide who may write to
  /// ours.
  bool TakeOver(const struct stat& old) {
    mode_t mode = old.st_mode & kPermissionBits;
    struct stat own {};
    if (fstat(file_.Get(), &own) != 0) return false;
    if (own.st_gid != old.st_gid && fchown(file_.Get(), own.st_uid, old.st_gid) != 0) {
      mode &= ~static_cast<mode_t>(S_IRWXG);
    }
    if (own.st_uid != old.st_uid) mode &= ~static_cast<mode_t>(S_IWOTH);
    return fchmod(file_.Get(), mode) == 0;
  }

  bool Write(std::string_view contents) {
    while (!contents.empty()) {
      const ssize_t written =
          RetryOnSignal([&] { return write(file_.Get(), contents.data(), contents.size()); });
      if (written < 0) return false;
      contents.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
  }

  bool Synchronize() {
#ifdef F_FULLFSYNC
    // On macOS fsync() leaves the bytes in the drive's cache (fsync(2)); it is used where a file
    // system does not support F_FULLFSYNC.
    if (fcntl(file_.Get(), F_FULLFSYNC) == 0) return true;
#endif
    return RetryOnSignal([&] { return fsync(file_.Get()); }) == 0;
  }

  bool RenameTo(const std::string& target) {
    if (!file_.Close()) return false;
    present_ = renameat(folder_, name_.c_str(), folder_, target.c_str()) != 0;
    return !present_;
  }

 private:
  int Create(const std::string& target, mode_t mode) {
    const std::string_view kept = Utf8Prefix(target, RoomForTargetName(folder_));
    for (int attempt = 0; attempt < kNamesToTry; ++attempt) {
      const std::string letters = RandomLetters();
      if (letters.empty()) return -1;
      name_.assign(1, '.');
      name_.append(kept).append(kTemporaryMark).append(letters);
      // O_EXCL alone refuses symbolic links too (open(3p)); O_NOFOLLOW says it again for the
      // reader.
      const int file = RetryOnSignal([&] {
        return openat(folder_, name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      mode);
      });
      present_ = file >= 0;
      if (present_ || errno != EEXIST) return file;
    }
    return -1;
  }

  int folder_;
  std::string name_;
  bool present_ = false;
  UniqueFd file_;
};

}  // namespace

bool PosixFileStore::CreateFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  // The result is asked of the file system and not of the call, which may have met a folder that
  // another process was making.
  return std::filesystem::is_directory(path, error);
}

std::optional<std::string> PosixFileStore::Read(const std::string& path, std::size_t limit) try {
  const UniqueFd file(RetryOnSignal(
      [&] { return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  struct stat status {};
  if (!file.IsOpen() || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  // One byte more than the file is said to have, so that its end is met without growing.
  const std::size_t expected = static_cast<std::size_t>(status.st_size) + 1;
  constexpr std::size_t kLeastStep = 4096;
  std::string contents;
  std::size_t used = 0;
  while (used < limit) {
    if (used == contents.size()) {
      contents.resize(std::min(limit, std::max({expected, kLeastStep, 2 * used})));
    }
    const ssize_t got = RetryOnSignal(
        [&] { return read(file.Get(), contents.data() + used, contents.size() - used); });
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    used += static_cast<std::size_t>(got);
  }
  contents.resize(used);
  return contents;
} catch (const std::exception&) {
  return std::nullopt;  // no memory, or more than a string can hold
}

bool PosixFileStore::Replace(const std::string& path, std::string_view contents) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos || slash + 1 == path.size()) return false;
  const std::string name = path.substr(slash + 1);
  const UniqueFd folder(OpenFolder(path.substr(0, slash + 1)));
  if (!folder.IsOpen()) return false;

  struct stat old {};
  const bool replacesLink =
      fstatat(folder.Get(), name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(old.st_mode);
  // The new file stands for what a link led to: what was read there, to be added to, must not
  // become readable by more than it was.
  const bool replacesFile =
      fstatat(folder.Get(), name.c_str(), &old, 0) == 0 && S_ISREG(old.st_mode);
  // What replaces a private file must at no instant be readable by others. For a new file the
  // kernel takes the creation mask off the mode by itself; asking for the mask would mean to
  // change it for all threads (umask(3p)).
  TemporaryFile temporary(folder.Get(), name,
                          replacesFile || replacesLink ? S_IRUSR | S_IWUSR : kDefaultFileMode);
  if (!temporary.Exists()) return false;
  if (replacesFile && !temporary.TakeOver(old)) return false;
  if (!temporary.Write(contents) || !temporary.Synchronize() || !temporary.RenameTo(name)) {
    return false;
  }
  // Writes the new name to the device. A failure is ignored: the file is already replaced, and some
  // file systems cannot synchronize a folder.
  RetryOnSignal([&] { return fsync(folder.Get()); });
  return true;
}

}  // namespace quillet::platform::posix
