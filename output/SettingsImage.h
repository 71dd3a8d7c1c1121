#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "device/Settings.h"

namespace quillet {

/// The settings as the settings file holds them: fixed positions, a zero byte at the end.
using SettingsImage = std::array<char, 1024>;

inline constexpr std::size_t kApplicationNamePosition = 256;
inline constexpr std::size_t kFileNamePosition = 384;

/// The longest name, in bytes, that is read back.
inline constexpr std::size_t kLongestName = 127;

/// Writes the switches and numbers into positions 0 to 13 and filler up to position 255. Numbers
/// are written as they are, as the character that many places behind "0".
void WriteChoices(const Settings& settings, SettingsImage& image);

/// Reads the switches and numbers. Any other character than "1" is an off switch; a character that
/// is no digit gives the number that it is away from "0".
void ReadChoices(const SettingsImage& image, Settings& settings);

/// Writes a name and a carriage return behind it; what stood further back stays. A name of more
/// than kLongestName bytes keeps to its area and is read back as empty.
void WriteName(SettingsImage& image, std::size_t position, std::string_view name);

/// The name at a position: the characters before the first carriage return, empty when there is
/// none within 128 characters.
std::string ReadName(const SettingsImage& image, std::size_t position);

}  // namespace quillet
