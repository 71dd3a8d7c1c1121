#pragma once

#include <span>
#include <string_view>

namespace quillet {

// What each choice of the settings window is called, as users read it. The position of a title is
// the number that is stored.

std::span<const std::string_view> DataDelimiterTitles();
std::span<const std::string_view> RecordDelimiterTitles();
std::span<const std::string_view> SerialPositionTitles();
std::span<const std::string_view> OrderTitles();
std::span<const std::string_view> DestinationTitles();

}  // namespace quillet
