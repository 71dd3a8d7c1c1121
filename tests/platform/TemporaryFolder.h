#pragma once

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillet::test {

/// A folder of its own for one test, removed with everything in it. Every user may look into it.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_(std::filesystem::temp_directory_path() / "quillet-test-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("mkdtemp");
    chmod(path_.c_str(), 0755);
  }
  ~TemporaryFolder() {
    chmod(path_.c_str(), 0755);  // a test may have closed it
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& Path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  /// The names in the folder.
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
