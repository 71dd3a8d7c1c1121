#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace quillet::test {

/// One implementation of an interface and how to set it up for a test.
template <class Harness>
struct Implementation {
  const char* name;
  std::unique_ptr<Harness> (*make)();
};

/// Base class of a contract suite: what an interface promises, checked on the fake and on every
/// backend that can run here, so that the two cannot drift apart. `Harness` gives the test the
/// implementation and plays its user or its device.
template <class Harness>
class Contract : public testing::TestWithParam<Implementation<Harness>> {
 protected:
  const std::unique_ptr<Harness> harness_ = this->GetParam().make();
};

/// The parameters of a suite. Each class derives from `Harness` and has a kName.
template <class Harness, class... Harnesses>
auto Implementations() {
  return testing::Values(Implementation<Harness>{
      Harnesses::kName,
      []() -> std::unique_ptr<Harness> { return std::make_unique<Harnesses>(); }}...);
}

inline constexpr auto kNameOf = [](const auto& info) { return std::string(info.param.name); };

}  // namespace quillet::test
