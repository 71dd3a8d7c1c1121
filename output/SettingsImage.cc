#include "output/SettingsImage.h"

#include <algorithm>
#include <cstdint>

namespace quillet {
namespace {

constexpr char kFiller = '0';
constexpr char kNameEnd = '\r';
constexpr std::size_t kNameArea = 128;

using platform::SettingsValues;

// Describes one setting: its field in `Settings`, its index in the SettingsImage and its control in
// the settings window. A flag has a check box; a number has a list.
struct Setting {
  Word<std::uint8_t> Settings::*flag = nullptr;
  Word<std::int32_t> Settings::*number = nullptr;
  std::size_t place = 0;
  bool SettingsValues::*box = nullptr;
  std::int32_t SettingsValues::*choice = nullptr;
};

// ReadChoices sets the fields in this order. Other threads can observe the order.
constexpr Setting kSettings[] = {
    {.flag = &Settings::bAttachSerial, .place = 0, .box = &SettingsValues::attachserial},
    {.flag = &Settings::bAttachTimestamp, .place = 1, .box = &SettingsValues::attachtimestamp},
    {.flag = &Settings::bAttachType, .place = 2, .box = &SettingsValues::attachtype},
    {.number = &Settings::datadelimiter, .place = 3, .choice = &SettingsValues::datadelimiter},
    {.number = &Settings::recorddelimiter, .place = 4, .choice = &SettingsValues::recorddelimiter},
    {.number = &Settings::sn_position, .place = 11, .choice = &SettingsValues::sn_position},
    {.number = &Settings::dataorder, .place = 12, .choice = &SettingsValues::dataorder},
    {.flag = &Settings::bSyncClock, .place = 5, .box = &SettingsValues::syncclock},
    {.flag = &Settings::bClearMemory, .place = 6, .box = &SettingsValues::clearmemory},
    {.flag = &Settings::bBurstSync, .place = 8, .box = &SettingsValues::burstsync},
    {.flag = &Settings::bAutoSync, .place = 9, .box = &SettingsValues::autosync},
    {.flag = &Settings::bAppendData, .place = 10, .box = &SettingsValues::appenddata},
    {.flag = &Settings::bNonEnglish, .place = 13, .box = &SettingsValues::nonenglish},
    {.number = &Settings::destination, .place = 7, .choice = &SettingsValues::destination},
};

}  // namespace

void WriteChoices(const Settings& settings, SettingsImage& image) {
  std::fill_n(image.begin(), kApplicationNamePosition, kFiller);
  for (const Setting& each : kSettings) {
    const std::int32_t number =
        each.flag ? std::int32_t{settings.*each.flag != 0} : std::int32_t{settings.*each.number};
    image[each.place] = static_cast<char>(kFiller + number);
  }
}

void ReadChoices(const SettingsImage& image, Settings& settings) {
  for (const Setting& each : kSettings) {
    const char character = image[each.place];
    if (each.flag) {
      settings.*each.flag = static_cast<std::uint8_t>(character == '1');
    } else {
      settings.*each.number = static_cast<signed char>(character) - kFiller;
    }
  }
}

SettingsValues ShownValues(const Settings& settings) {
  SettingsValues values;
  for (const Setting& each : kSettings) {
    if (each.flag) {
      values.*each.box = settings.*each.flag != 0;
    } else {
      values.*each.choice = settings.*each.number;
    }
  }
  return values;
}

void StoreValues(const SettingsValues& values, const Settings& stored, Settings& settings) {
  for (const Setting& each : kSettings) {
    if (each.flag) {
      settings.*each.flag = static_cast<std::uint8_t>(values.*each.box);
    } else {
      const std::int32_t selected = values.*each.choice;
      settings.*each.number = selected < 0 ? std::int32_t{stored.*each.number} : selected;
    }
  }
}

void WriteName(SettingsImage& image, std::size_t position, std::string_view name) {
  char* end = std::copy_n(name.data(), std::min(name.size(), kLongestName), &image[position]);
  *end = name.size() <= kLongestName ? kNameEnd : kFiller;
}

std::string ReadName(const SettingsImage& image, std::size_t position) {
  const std::string_view area(&image[position], kNameArea);
  const std::size_t length = area.find(kNameEnd);
  return length == area.npos ? std::string() : std::string(area.substr(0, length));
}

}  // namespace quillet
