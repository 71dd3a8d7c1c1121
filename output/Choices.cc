#include "output/Choices.h"

#include <array>

namespace quillet {
namespace {

// Invisible characters stand beside their names as the sample line shows them.
constexpr std::array<std::string_view, 5> kDataDelimiters = {
    "Nothing", "Tab  →", "Space  ␣", "Comma  ,", "Semicolon  ;",
};
constexpr std::array<std::string_view, 5> kRecordDelimiters = {
    "Nothing", "Line feed (LF)  ↓", "Carriage return (CR)  ←", "Tab  →", "New line (CR LF)  ⏎",
};
constexpr std::array<std::string_view, 2> kSerialPositions = {
    "First in the line",
    "Last in the line",
};
constexpr std::array<std::string_view, 6> kOrders = {
    "Symbology, Data, Time", "Symbology, Time, Data", "Data, Symbology, Time",
    "Data, Time, Symbology", "Time, Symbology, Data", "Time, Data, Symbology",
};
constexpr std::array<std::string_view, 4> kDestinations = {
    "A file",
    "Quillet's window only",
    "The application in front",
    "An application that Quillet opens",
};

}  // namespace

std::span<const std::string_view> DataDelimiterTitles() {
  return kDataDelimiters;
}
std::span<const std::string_view> RecordDelimiterTitles() {
  return kRecordDelimiters;
}
std::span<const std::string_view> SerialPositionTitles() {
  return kSerialPositions;
}
std::span<const std::string_view> OrderTitles() {
  return kOrders;
}
std::span<const std::string_view> DestinationTitles() {
  return kDestinations;
}

}  // namespace quillet
