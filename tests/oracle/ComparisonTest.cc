#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>

#include "tests/oracle/Comparison.h"

namespace quillet::oracle {
namespace {

constexpr std::int64_t kUsualCases = 100000;
constexpr std::int64_t kUsualRandomState = 1;

std::int64_t FromEnvironment(const char* name, std::int64_t otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr ? std::atoll(value) : otherwise;
}

// The program and the plain implementation on the same records.
class ComparisonTest : public ::testing::TestWithParam<Layout> {
 protected:
  void Run(void (Comparison::*compare)(std::int64_t)) {
    const std::int64_t cases = FromEnvironment("QUILLET_ORACLE_CASES", kUsualCases);
    const std::int64_t randomState =
        FromEnvironment("QUILLET_ORACLE_RANDOM_STATE", kUsualRandomState);
    ASSERT_GT(cases, 0);
    const auto begin = std::chrono::steady_clock::now();
    (comparison_.*compare)(cases);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    const Figures& figures = comparison_.figures();
    std::cout << "Random state " << randomState << ": " << Summary(figures) << ", " << taken.count()
              << " s\n";

    EXPECT_EQ(figures.differences, 0);
    for (const std::string& example : figures.examples) ADD_FAILURE() << example;
    EXPECT_GE(figures.lines, cases);
    if (cases < kUsualCases) return;  // too few to have met everything
    EXPECT_EQ(std::count(figures.codes.begin(), figures.codes.end(), 0), 0);
    EXPECT_EQ(std::count(figures.orders.begin(), figures.orders.end(), 0), 0);
    EXPECT_GT(figures.nothing, 0);
    EXPECT_GT(figures.foreign, 0);
    EXPECT_EQ(figures.cut > 0, GetParam() == Layout::k300Series);
  }

  Comparison comparison_{GetParam(), static_cast<std::uint64_t>(FromEnvironment(
                                         "QUILLET_ORACLE_RANDOM_STATE", kUsualRandomState))};
};

TEST_P(ComparisonTest, RecordsBecomeTheSameLines) {
  Run(&Comparison::CompareRecords);
}

TEST_P(ComparisonTest, BurstsBecomeTheSameLines) {
  Run(&Comparison::CompareBursts);
}

TEST_P(ComparisonTest, ABurstMayFillTheBufferButNotRunOutOfIt) {
  comparison_.CompareFullBuffer(false);
  EXPECT_EQ(comparison_.figures().ended, 0);
  const std::int64_t whole = comparison_.figures().lines;
  comparison_.CompareFullBuffer(true);
  EXPECT_EQ(comparison_.figures().ended, 1);
  EXPECT_EQ(comparison_.figures().lines, 2 * whole - 1);
  EXPECT_EQ(comparison_.figures().differences, 0);
  for (const std::string& example : comparison_.figures().examples) ADD_FAILURE() << example;
}

INSTANTIATE_TEST_SUITE_P(Layouts, ComparisonTest,
                         ::testing::Values(Layout::kOlder, Layout::k300Series),
                         [](const auto& layout) {
                           return layout.param == Layout::kOlder ? "Older" : "Of300Series";
                         });

}  // namespace
}  // namespace quillet::oracle
