#include "tests/macos/fakes/Objects.h"

#include <gtest/gtest.h>

#include <set>

namespace quillet::macos_tests {
namespace {

std::set<const Object*>& Live() {
  static auto& live = *new std::set<const Object*>;
  return live;
}

Object* Find(CFTypeRef reference, const char* what) {
  auto* const object = static_cast<Object*>(const_cast<void*>(reference));
  if (Live().contains(object)) return object;
  ADD_FAILURE() << what << " of an object that is gone";
  return nullptr;
}

}  // namespace

Object::Object() {
  Live().insert(this);
}

Object::~Object() {
  Live().erase(this);
}

Array::~Array() {
  for (const CFTypeRef element : elements) CFRelease(element);
}

void Array::Add(CFTypeRef element) {
  elements.push_back(CFRetain(element));
}

Dictionary::~Dictionary() {
  for (const auto& [key, value] : values_) CFRelease(value);
}

void Dictionary::Set(const std::string& key, CFTypeRef value) {
  CFRetain(value);
  const auto [place, is_new] = values_.emplace(key, value);
  if (is_new) return;
  CFRelease(place->second);
  place->second = value;
}

CFTypeRef Dictionary::Get(const std::string& key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? nullptr : found->second;
}

std::string Dictionary::Text(const std::string& key) const {
  const CFTypeRef value = Get(key);
  return value == nullptr ? "" : As<String>(value).text;
}

std::size_t LiveObjects() {
  return Live().size();
}

std::vector<std::string>& Calls() {
  static auto& calls = *new std::vector<std::string>;
  return calls;
}

void Called(const std::string& call) {
  Calls().push_back(call);
}

}  // namespace quillet::macos_tests

using quillet::macos_tests::Find;

extern "C" {

CFTypeRef CFRetain(CFTypeRef reference) {
  if (auto* const object = Find(reference, "Retain")) ++object->references;
  return reference;
}

void CFRelease(CFTypeRef reference) {
  auto* const object = Find(reference, "Release");
  if (object != nullptr && --object->references == 0) delete object;
}

}  // extern "C"
