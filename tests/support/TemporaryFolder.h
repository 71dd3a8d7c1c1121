#pragma once

#include <stdlib.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::test {

inline std::optional<std::string> FileContents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

inline void PutFile(const std::string& path, std::string_view contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

/// A new folder that every user can read. The destructor removes the folder and its contents.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_(std::filesystem::temp_directory_path() / "quillet-test-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp");
    chmod(path_.c_str(), 0755);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    chmod(path_.c_str(), 0755);  // restores the mode, which a test may have changed
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

  /// Writes a file in the folder and returns its path.
  std::string Put(std::string_view name, std::string_view contents) const {
    const std::string file = *this / name;
    PutFile(file, contents);
    return file;
  }

  /// Returns the names of the files in the folder.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::string path_;
};

}  // namespace quillet::test
