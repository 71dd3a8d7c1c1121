#include "output/SettingsImage.h"

#include <algorithm>
#include <cstdint>

namespace quillet {
namespace {

constexpr char kFiller = '0';
constexpr char kNameEnd = '\r';
constexpr std::size_t kNameArea = 128;

struct Switch {
  std::size_t position;
  Word<std::uint8_t> Settings::*field;
};

constexpr Switch kSwitches[] = {
    {0, &Settings::bAttachSerial}, {1, &Settings::bAttachTimestamp}, {2, &Settings::bAttachType},
    {5, &Settings::bSyncClock},    {6, &Settings::bClearMemory},     {8, &Settings::bBurstSync},
    {9, &Settings::bAutoSync},     {10, &Settings::bAppendData},     {13, &Settings::bNonEnglish},
};

struct Number {
  std::size_t position;
  Word<std::int32_t> Settings::*field;
};

constexpr Number kNumbers[] = {
    {3, &Settings::datadelimiter}, {4, &Settings::recorddelimiter}, {7, &Settings::destination},
    {11, &Settings::sn_position},  {12, &Settings::dataorder},
};

}  // namespace

void WriteChoices(const Settings& settings, SettingsImage& image) {
  std::fill_n(image.begin(), kApplicationNamePosition, kFiller);
  for (const Switch& entry : kSwitches) {
    if (settings.*entry.field) image[entry.position] = '1';
  }
  for (const Number& entry : kNumbers) {
    image[entry.position] = static_cast<char>(kFiller + settings.*entry.field);
  }
}

void ReadChoices(const SettingsImage& image, Settings& settings) {
  for (const Switch& entry : kSwitches) {
    settings.*entry.field = static_cast<std::uint8_t>(image[entry.position] == '1');
  }
  for (const Number& entry : kNumbers) {
    settings.*entry.field = static_cast<signed char>(image[entry.position]) - kFiller;
  }
}

void WriteName(SettingsImage& image, std::size_t position, std::string_view name) {
  const auto area = image.begin() + static_cast<std::ptrdiff_t>(position);
  if (name.size() <= kLongestName) {
    *std::copy(name.begin(), name.end(), area) = kNameEnd;
    return;
  }
  *std::copy_n(name.begin(), kLongestName, area) = kFiller;
}

std::string ReadName(const SettingsImage& image, std::size_t position) {
  const auto area = image.begin() + static_cast<std::ptrdiff_t>(position);
  const auto end = std::find(area, area + kNameArea, kNameEnd);
  if (end == area + kNameArea) return {};
  return std::string(area, end);
}

}  // namespace quillet
