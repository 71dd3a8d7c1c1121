#pragma once

#include <cstdint>

namespace quillet {

// Values of the setting `destination`. Any other value means the frontmost application.
inline constexpr std::int32_t kToFile = 0;
inline constexpr std::int32_t kToView = 1;
inline constexpr std::int32_t kToFrontmostApplication = 2;
inline constexpr std::int32_t kToNamedApplication = 3;

}  // namespace quillet
