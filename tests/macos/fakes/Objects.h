#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace quillet::macos_tests {

// The objects that the stand-ins for macOS's frameworks hand out, with retain counts that are held
// to: releasing what is gone fails the test, and what is left over is counted. One thread.

/// Something with a retain count, which begins at one.
class Object {
 public:
  Object();
  virtual ~Object();
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  int references = 1;
};

/// A string of Core Foundation or Foundation.
class String final : public Object {
 public:
  explicit String(std::string value) : text(std::move(value)) {}
  const std::string text;
};

/// An array; it holds its elements.
class Array final : public Object {
 public:
  ~Array() override;
  void Add(CFTypeRef element);
  std::vector<CFTypeRef> elements;
};

/// A dictionary; it holds its values. All keys are strings.
class Dictionary final : public Object {
 public:
  ~Dictionary() override;
  void Set(const std::string& key, CFTypeRef value);
  CFTypeRef Get(const std::string& key) const;
  /// The text under a key, empty when there is none.
  std::string Text(const std::string& key) const;

 private:
  std::map<std::string, CFTypeRef> values_;
};

/// A run loop's source of news.
class Source final : public Object {};

/// The object behind a reference, which must be of that kind and still be there.
template <typename Kind>
Kind& As(CFTypeRef reference) {
  return dynamic_cast<Kind&>(*static_cast<Object*>(const_cast<void*>(reference)));
}

/// The reference that stands for an object.
inline CFTypeRef ReferenceTo(Object& object) {
  return static_cast<void*>(&object);
}

/// How many objects there are that nobody has let go.
std::size_t LiveObjects();

/// The names of the functions that were called, in order, some with what they were called with.
std::vector<std::string>& Calls();

/// Adds to Calls().
void Called(const std::string& call);

}  // namespace quillet::macos_tests
