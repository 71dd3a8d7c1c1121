#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "device/Settings.h"
#include "platform/SettingsForm.h"

namespace quillet {

/// The contents of the settings file: fields at fixed positions, and a NUL at the end.
using SettingsImage = std::array<char, 1024>;

inline constexpr std::size_t kApplicationNamePosition = 256;
inline constexpr std::size_t kFileNamePosition = 384;
inline constexpr std::size_t kLongestName = 127;  ///< maximum length of a name in bytes

/// Writes the flags and numbers to positions 0 to 13 and "0" to positions 14 to 255. A number n is
/// written as the character '0' + n.
void WriteChoices(const Settings& settings, SettingsImage& image);

/// Reads the flags and numbers. A flag is set if its character is '1'. A number is its character
/// minus '0'.
void ReadChoices(const SettingsImage& image, Settings& settings);

/// Returns the flags and numbers in `settings` as values of the settings window.
platform::SettingsValues ShownValues(const Settings& settings);

/// Converts the values of the settings window to flags and numbers.
/// @param values    the values of the window
/// @param stored    provides the number for a list without a selected item
/// @param settings  receives the flags and numbers; may be the same object as `stored`
void StoreValues(const platform::SettingsValues& values, const Settings& stored,
                 Settings& settings);

/// Writes a name and a carriage return at `position`. A name longer than kLongestName is truncated
/// and followed by "0" instead; ReadName then returns an empty name.
void WriteName(SettingsImage& image, std::size_t position, std::string_view name);

/// Returns the text from `position` to the next carriage return, or an empty string if the next 128
/// characters contain no carriage return.
std::string ReadName(const SettingsImage& image, std::size_t position);

}  // namespace quillet
