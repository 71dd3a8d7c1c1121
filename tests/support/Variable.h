#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace quillet::test {

/// Sets an environment variable. The destructor restores its previous value.
class Variable {
 public:
  Variable(const char* name, const std::string& value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    setenv(name, value.c_str(), 1);
  }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;
  ~Variable() {
    if (before_) {
      setenv(name_, before_->c_str(), 1);
    } else {
      unsetenv(name_);
    }
  }

 private:
  const char* const name_;
  std::optional<std::string> before_;
};

}  // namespace quillet::test
