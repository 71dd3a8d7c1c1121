#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "device/Settings.h"
#include "platform/SettingsForm.h"

namespace quillet {

/// The settings as the settings file holds them: fixed positions, a zero byte at the end.
using SettingsImage = std::array<char, 1024>;

inline constexpr std::size_t kApplicationNamePosition = 256;
inline constexpr std::size_t kFileNamePosition = 384;

/// The longest name, in bytes, that is read back.
inline constexpr std::size_t kLongestName = 127;

/// Writes the flags and numbers into positions 0 to 13, and filler up to position 255. A number is
/// written as the character with the code of "0" plus the number.
void WriteChoices(const Settings& settings, SettingsImage& image);

/// Reads the flags and numbers. A flag is set if its character is "1". A number is the code of its
/// character minus that of "0".
void ReadChoices(const SettingsImage& image, Settings& settings);

/// The flags and numbers as the settings window shows them.
platform::SettingsValues ShownValues(const Settings& settings);

/// Stores the values of the settings window's controls, in their order.
/// @param values    as the form returns them
/// @param stored    has the number for a choice without a selected item
/// @param settings  receives the flags and numbers; may be `stored`
void StoreValues(const platform::SettingsValues& values, const Settings& stored,
                 Settings& settings);

/// Writes a name and a carriage return after it; the rest of the area keeps its characters. A name
/// of more than kLongestName bytes is cut there and read back as empty.
void WriteName(SettingsImage& image, std::size_t position, std::string_view name);

/// The name at a position: the characters before the first carriage return. Empty if there is none
/// within 128 characters.
std::string ReadName(const SettingsImage& image, std::size_t position);

}  // namespace quillet
