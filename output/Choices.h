#pragma once

#include <string_view>

#include "platform/SettingsForm.h"

namespace quillet {

// The titles of the choices in the settings window. The index of a title is the number stored in
// the settings file. The name of an invisible character is followed by the symbol that the sample
// line shows for it.

inline constexpr std::string_view kDataDelimiterTitles[] = {
    "Nothing", "Tab  →", "Space  ␣", "Comma  ,", "Semicolon  ;",
};
inline constexpr std::string_view kRecordDelimiterTitles[] = {
    "Nothing", "Line feed (LF)  ↓", "Carriage return (CR)  ←", "Tab  →", "New line (CR LF)  ⏎",
};
inline constexpr std::string_view kSerialPositionTitles[] = {"Start of line", "End of line"};
inline constexpr std::string_view kOrderTitles[] = {
    "Symbology, barcode, time", "Symbology, time, barcode", "Barcode, symbology, time",
    "Barcode, time, symbology", "Time, symbology, barcode", "Time, barcode, symbology",
};
inline constexpr std::string_view kDestinationTitles[] = {
    "A file",
    "Quillet's window only",
    "The active application",
    "An application that Quillet opens",
};

inline constexpr platform::ChoiceTitles kChoices[] = {
    {&platform::SettingsValues::datadelimiter, kDataDelimiterTitles},
    {&platform::SettingsValues::recorddelimiter, kRecordDelimiterTitles},
    {&platform::SettingsValues::sn_position, kSerialPositionTitles},
    {&platform::SettingsValues::dataorder, kOrderTitles},
    {&platform::SettingsValues::destination, kDestinationTitles},
};

}  // namespace quillet
