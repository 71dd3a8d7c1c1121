#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>

namespace quillet::test {

/// The name of one implementation of an interface, and a function that creates its harness.
template <class Harness>
struct Implementation {
  const char* name;
  std::unique_ptr<Harness> (*make)();

  friend void PrintTo(const Implementation& self, std::ostream* out) { *out << self.name; }
};

/// Base class of a contract suite. The tests check that an interface's fake and each backend that
/// runs on this system fulfil the interface's contract. The harness creates the implementation and
/// acts as its user or device.
template <class Harness>
class Contract : public testing::TestWithParam<Implementation<Harness>> {
 protected:
  const std::unique_ptr<Harness> harness_ = this->GetParam().make();
};

/// Returns one parameter for each of the `Harnesses`, which derive from `Harness` and define kName.
template <class Harness, class... Harnesses>
auto Implementations() {
  return testing::Values(Implementation<Harness>{
      Harnesses::kName,
      []() -> std::unique_ptr<Harness> { return std::make_unique<Harnesses>(); }}...);
}

inline constexpr auto kNameOf = [](const auto& info) { return std::string(info.param.name); };

}  // namespace quillet::test
